// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpserver.h"

#include "base/text.h"
#include "functions.h"
#include "httpmessage.h"
#include "pool.h"
#include "signedpool.h"
#include "storefile.h"

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>

using namespace Agent;

namespace
{

const std::size_t threadCount = 64;
const int mostWaiting = 448; // connections for which no thread is free
const char xmlType[] = "text/xml; charset=UTF-8";

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses Find(const std::string& address, int port)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const std::string service = std::to_string(port);
    if (getaddrinfo(address.c_str(), service.c_str(), &hints, &found) != 0)
        found = nullptr;
    return { found, freeaddrinfo };
}

// Accepted connections inherit the options. A port that another server uses is not taken.
Descriptor ListenAt(const addrinfo& address, int waiting)
{
    Descriptor socket(
        ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol));
    const int yes = 1;
    if (!socket || setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0
        || setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes) != 0
        || bind(socket.Get(), address.ai_addr, address.ai_addrlen) != 0
        || listen(socket.Get(), waiting) != 0)
        return Descriptor();
    return socket;
}

// Listens on an address of this machine (a name or a number) and on `port`, or on a free
// port for 0; up to `waiting` connections may be pending. On failure the handle is empty and
// errno is set; it is 0 if the address does not belong to this machine.
Descriptor Listen(const std::string& address, int port, int waiting)
{
    const Addresses addresses = Find(address, port);
    errno = 0;
    for (const addrinfo* one = addresses.get(); one; one = one->ai_next) {
        Descriptor socket = ListenAt(*one, waiting);
        if (socket)
            return socket;
    }
    return Descriptor();
}

int PortOf(const Descriptor& listener)
{
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    if (getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return 0;
    const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
    return ntohs(address.ss_family == AF_INET6 ? v6->sin6_port : v4->sin_port);
}

} // namespace

HttpServer::HttpServer(Store& store, const ServerOptions& options, SignedPool* signedPool)
    : m_store(store), m_signedPool(signedPool), m_options(options)
{
    signal(SIGPIPE, SIG_IGN); // a client may disconnect at any time
}

int HttpServer::Bind()
{
    m_listener = Listen(m_options.listen, m_options.port, mostWaiting);
    m_port = m_listener ? PortOf(m_listener) : 0;
    return m_port;
}

// Each thread accepts its own connections: handing a connection from one thread to another
// would take longer than a small reply. While all threads are busy, connections wait in the
// kernel.
bool HttpServer::Serve()
{
    boost::asio::thread_pool threads(threadCount);
    for (std::size_t i = 0; i < threadCount; ++i)
        boost::asio::post(threads, [this] {
            for (int socket; (socket = AcceptOne()) >= 0;)
                Converse(socket);
        });
    threads.join();
    return m_stopping;
}

void HttpServer::Stop()
{
    m_stopping = true;
    shutdown(m_listener.Get(), SHUT_RDWR);
}

// The next connection, or -1 after stop(). If descriptors or memory run out, it waits: the
// connections that are being served release some soon.
int HttpServer::AcceptOne()
{
    while (!m_stopping) {
        const int socket
            = accept4(m_listener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket >= 0)
            return socket;
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        else if (errno == EBADF || errno == EINVAL)
            return -1;
    }
    return -1;
}

void HttpServer::Converse(int socket)
{
    try {
        Connection connection(socket);
        HttpRequest request;
        HttpReply reply;
        reply.status = ReadRequest(connection, request);
        if (reply.status == 200)
            Handle(request, reply);
        if (reply.status >= 400 && reply.body.empty())
            reply.SetBody(reply.status == 400 ? "This request cannot be understood.\n"
                                              : "There is nothing here.\n",
                          "text/plain");
        if (reply.status != 0) {
            Log(request, reply.status);
            WriteReply(connection, request, reply);
        }
    } catch (const std::exception& error) { // probably out of memory: no reply to this client
        std::cerr << std::string("pakmart-storeserver: a request failed: ") + error.what() + '\n';
    }
}

void HttpServer::Log(const HttpRequest& request, int status) const
{
    if (m_options.verbose)
        std::cerr << request.method + ' ' + Quoted(request.target) + ' ' + std::to_string(status)
                + '\n';
}

// The address of the server as this client sees it.
std::string HttpServer::Address(const HttpRequest& request) const
{
    if (!m_options.publicUrl.empty())
        return m_options.publicUrl;
    const std::string host = request.Header("Host");
    if (host.empty() && request.Count("Host") <= 1)
        return "http://" + m_options.listen + ':' + std::to_string(m_port);
    if (request.Count("Host") > 1 || !IsHost(host))
        throw RequestError("The request names an invalid host: " + Quoted(host) + '.');
    return "http://" + host;
}

void HttpServer::Handle(const HttpRequest& request, HttpReply& reply)
{
    const auto mark = std::min(request.target.find('?'), request.target.size());
    std::string path;
    if (request.method != "GET" && request.method != "HEAD") {
        reply.Add("Allow", "GET, HEAD");
        reply.status = 405;
    } else if (!DecodePercent(request.target.substr(0, mark), path)) {
        reply.status = 400;
    } else if (BeginsWith(path, "/pool/")) {
        if (!m_signedPool || !m_signedPool->Serve(path.substr(6), reply))
            ServePoolFile(m_store.PoolFolder(), path.substr(6), request, reply);
    } else {
        CallFunction(path, request.target.substr(std::min(mark + 1, request.target.size())),
                     request, reply);
    }
}

void HttpServer::CallFunction(const std::string& path, const std::string& query,
                              const HttpRequest& request, HttpReply& reply)
{
    const Handler handler = FindFunction(path);
    if (!handler) {
        reply.status = 404;
        return;
    }
    try {
        const Query parameters(query);
        const std::string here = Address(request);
        reply.SetBody(Answer(handler, { parameters, here, m_store, m_signedPool != nullptr }),
                      xmlType);
    } catch (const RequestError& error) {
        reply.status = 400;
        reply.SetBody(FailedReply(error.what()), xmlType);
    }
}
