// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpserver.h"

#include "base/text.h"
#include "freshness.h"
#include "functions.h"
#include "httpmessage.h"
#include "listener.h"
#include "pictures.h"
#include "pool.h"
#include "signedpool.h"
#include "statuspages.h"
#include "storefile.h"

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <new>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

using namespace Agent;

namespace
{

const std::size_t threadCount = 32; // of each of the two kinds
const int mostPending = 1024; // connections that are not accepted yet
const std::size_t mostConnections = 2048;
const std::size_t mostWeight = 256 * 1024 * 1024; // bytes of replies that clients wait for
const std::size_t fewestConnections = 64; // even if the system gives few descriptors
const std::size_t otherDescriptors = 256;
const int tooMany = 429;
const int busy = 503;
const char xmlType[] = "text/xml; charset=UTF-8";

// A client on the same network sends its request right after the connection: it is served
// at once then, by the thread that has accepted it.
void WaitBriefly(const Descriptor& socket)
{
    pollfd wait{ socket.Get(), POLLIN, 0 };
    poll(&wait, 1, 1);
}

// What has come is read, so that the connection is not reset before the client has the reply.
void TurnAway(const Descriptor& socket)
{
    static const char text[] = "HTTP/1.1 429 Too Many Requests\r\nContent-Type: text/plain\r\n"
                               "Retry-After: 5\r\nConnection: close\r\n\r\n"
                               "There are too many connections from this address.\n";
    std::array<char, 4096> block;
    send(socket.Get(), text, sizeof text - 1, MSG_NOSIGNAL);
    recv(socket.Get(), block.data(), block.size(), 0);
}

HttpReply Busy()
{
    HttpReply reply;
    reply.status = busy;
    reply.Add("Retry-After", "2");
    reply.SetBody("The server is busy.\n", "text/plain");
    return reply;
}

// A connection takes two descriptors: itself and a file.
std::size_t MostConnections()
{
    const rlim_t wanted = 2 * mostConnections + otherDescriptors;
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return fewestConnections;
    rlimit more = limit;
    more.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, wanted));
    if (setrlimit(RLIMIT_NOFILE, &more) == 0)
        limit = more;
    const rlim_t room = std::min(limit.rlim_cur, wanted);
    return std::max<std::size_t>(fewestConnections,
                                 room > otherDescriptors ? (room - otherDescriptors) / 2 : 0);
}

} // namespace

HttpServer::HttpServer(Store& store, PersonalData& personal, const ServerOptions& options,
                       SignedPool* signedPool, AccessLog* log)
    : m_store(store), m_personal(personal), m_signedPool(signedPool), m_log(log),
      m_options(options), m_guests(std::size_t(options.perAddress)),
      m_waiting(MostConnections(), mostWeight)
{
    if (!options.certificate.empty())
        m_tls.emplace(options.certificate, options.key);
    signal(SIGPIPE, SIG_IGN); // a client may disconnect at any time
}

int HttpServer::Bind()
{
    m_listener = Listen(m_options.listen, m_options.port, mostPending);
    m_port = m_listener ? PortOf(m_listener) : 0;
    return m_port;
}

// Half of the threads accept connections and go on with them at once: handing a connection
// from one thread to another would take longer than a small reply. The other half resumes
// those whose clients were waited for. While all are busy, connections wait in the kernel.
bool HttpServer::Serve()
{
    boost::asio::thread_pool acceptors(threadCount), resumers(threadCount);
    for (std::size_t i = 0; i < threadCount; ++i) {
        boost::asio::post(acceptors, [this] {
            while (auto conversation = AcceptOne())
                GoOn(std::move(conversation));
        });
        boost::asio::post(resumers, [this] {
            while (auto conversation = m_waiting.Next())
                GoOn(std::move(conversation));
        });
    }
    acceptors.join();
    m_waiting.Close();
    resumers.join();
    return m_stopping;
}

void HttpServer::Stop()
{
    m_stopping = true;
    shutdown(m_listener.Get(), SHUT_RDWR);
}

// The next connection, or null after Stop(). If descriptors or memory run out, it waits: the
// connections that are being served release some soon.
std::unique_ptr<Conversation> HttpServer::AcceptOne()
{
    while (!m_stopping) {
        sockaddr_storage address = {};
        socklen_t size = sizeof address;
        Descriptor socket(accept4(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), &size,
                                  SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (socket) {
            if (auto conversation = Welcome(std::move(socket), address))
                return conversation;
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        } else if (errno == EBADF || errno == EINVAL) {
            return nullptr;
        }
    }
    return nullptr;
}

std::unique_ptr<Transport> HttpServer::MakeTransport(Descriptor socket) const
{
    return m_tls ? m_tls->Accept(std::move(socket))
                 : std::make_unique<Transport>(std::move(socket));
}

// Null if this client has as many connections as it may, or there is no memory for it.
std::unique_ptr<Conversation> HttpServer::Welcome(Descriptor socket,
                                                  const sockaddr_storage& address)
try {
    std::string text = AddressText(address);
    const bool isProxy = text == m_options.proxy;
    std::shared_ptr<void> place = isProxy ? nullptr : m_guests.Admit(address);
    if (!isProxy && !place) {
        if (!m_tls)
            TurnAway(socket);
        if (m_log)
            m_log->Add({ text, {}, tooMany, 0, {} });
        m_metrics.AddRequest("other", tooMany, 0);
        return nullptr;
    }
    WaitBriefly(socket);
    return std::make_unique<Conversation>(MakeTransport(std::move(socket)), std::move(place),
                                          std::move(text),
                                          [this](const Conversation& ended) { Log(ended); });
} catch (const std::bad_alloc&) {
    return nullptr;
}

void HttpServer::GoOn(std::unique_ptr<Conversation> conversation)
{
    try {
        const auto wants = conversation->Advance(
            [this, &from = conversation->Address()](const HttpRequest& request, HttpReply& reply) {
                Answer(request, from, reply);
            });
        if (wants != Conversation::Wants::Nothing)
            m_waiting.Park(std::move(conversation), wants);
    } catch (const std::exception& error) { // probably out of memory: no reply to this client
        std::cerr << std::string("pakmart-storeserver: a request failed: ") + error.what() + '\n';
    }
}

// A proxy adds the client that it has seen at the end; what is before that, anybody may have
// written.
std::string HttpServer::ClientOf(const Conversation& conversation) const
{
    const HttpRequest& request = conversation.Request();
    const char header[] = "X-Forwarded-For";
    if (conversation.Address() != m_options.proxy || request.Count(header) != 1)
        return conversation.Address();
    const std::string clients = request.Header(header);
    const std::string last = clients.substr(clients.find_last_of(", ") + 1);
    return IsAddress(last) ? last : conversation.Address();
}

void HttpServer::Log(const Conversation& conversation)
{
    const HttpRequest& request = conversation.Request();
    if (conversation.Status() != 0)
        m_metrics.AddRequest(KindOf(request.target), conversation.Status(),
                             conversation.BodySent());
    if (m_options.verbose && conversation.Status() != 0)
        std::cerr << request.method + ' ' + Quoted(request.target) + ' '
                + std::to_string(conversation.Status()) + '\n';
    if (m_log && conversation.Status() != 0)
        m_log->Add({ ClientOf(conversation), request, conversation.Status(),
                     conversation.BodySent(), Conversation::Clock::now() - conversation.Begun() });
}

// The address of the server as this client sees it.
std::string HttpServer::Address(const HttpRequest& request) const
{
    if (!m_options.publicUrl.empty())
        return m_options.publicUrl;
    const std::string host = request.Header("Host");
    if (host.empty() && request.Count("Host") <= 1)
        return SchemeOf(m_options) + m_options.listen + ':' + std::to_string(m_port);
    if (request.Count("Host") > 1 || !IsHost(host))
        throw RequestError("The request names an invalid host: " + Quoted(host) + '.');
    return SchemeOf(m_options) + host;
}

void HttpServer::Answer(const HttpRequest& request, const std::string& address, HttpReply& reply)
{
    const auto begin = Conversation::Clock::now();
    Handle(request, address, reply);
    m_metrics.AddAnswer(KindOf(request.target), Conversation::Clock::now() - begin);
}

void HttpServer::Handle(const HttpRequest& request, const std::string& address, HttpReply& reply)
{
    const auto mark = std::min(request.target.find('?'), request.target.size());
    std::string path;
    if (request.method != "GET" && request.method != "HEAD") {
        reply.Add("Allow", "GET, HEAD");
        reply.status = 405;
    } else if (!DecodePercent(request.target.substr(0, mark), path)) {
        reply.status = 400;
    } else if (BeginsWith(path, "/pool/")) {
        if (m_signedPool && m_signedPool->Serve(path.substr(6), reply))
            AllowKeeping(request, reply);
        else
            ServePoolFile(m_store.PoolFolder(), path.substr(6), request, reply);
    } else if (BeginsWith(path, "/pictures/")) {
        ServePicture(m_store.Folder(), path.substr(10), request, reply);
    } else if (IsStatusPath(path) && IsWatcher(address, m_options.monitor, request)) {
        ServeStatus(path, m_store, m_personal, m_metrics, reply);
    } else {
        CallFunction(path, request.target.substr(std::min(mark + 1, request.target.size())),
                     request, reply);
    }
}

// False if a part of the store is broken, which may be one that the reply does not need.
bool HttpServer::ReplyShared(const std::string& path, const std::function<std::string()>& answer,
                             HttpReply& reply)
try {
    reply.SetShared(m_kept.Get(path, m_store.GetState(), answer), xmlType);
    return true;
} catch (const StoreError&) {
    return false;
}

void HttpServer::CallFunction(const std::string& path, const std::string& query,
                              const HttpRequest& request, HttpReply& reply)
{
    const Function function = FindFunction(path);
    if (!function.IsIn(m_store)) {
        reply.status = 404;
        return;
    }
    try {
        const Query parameters(query);
        const std::string here = Address(request);
        const std::time_t date = m_signedPool ? m_signedPool->Date() : 0;
        const auto answer = [&] {
            return ::Answer(function.handler,
                            { parameters, here, m_store, m_personal, m_signedPool != nullptr });
        };
        if (!function.isSameForAll || !ReplyShared(path, answer, reply))
            reply.SetBody(answer(), xmlType);
        const bool isAnyHost = m_options.publicUrl.empty();
        if (m_signedPool && !m_signedPool->Cover({ here + request.target, isAnyHost, date }, reply))
            reply = Busy();
        else if (function.isPersonal)
            ForbidKeeping(reply);
        else
            AllowKeeping(request, reply);
    } catch (const RequestError& error) {
        reply.status = 400;
        reply.SetBody(FailedReply(error.what()), xmlType);
    } catch (const AwayError& error) {
        std::cerr << std::string("pakmart-storeserver: ") + error.what() + '\n';
        reply = Busy();
    }
}
