// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpserver.h"

#include "agentfunction.h"
#include "connection.h"
#include "listener.h"
#include "poolfile.h"
#include "storeerror.h"
#include "text.h"

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <sys/socket.h>
#include <thread>

namespace
{

const std::size_t kThreads = 64;
const std::size_t kMostConnections = 512; // those that wait for a thread included
const char xmlType[] = "text/xml; charset=UTF-8";

} // namespace

HttpServer::HttpServer(Store& store, const ServerOptions& options)
    : m_store(store), m_options(options)
{
    signal(SIGPIPE, SIG_IGN); // a client may go away at any time
}

int HttpServer::bind()
{
    m_listener = Listen(m_options.listen, m_options.port, int(kMostConnections));
    m_port = m_listener ? PortOf(m_listener) : 0;
    return m_port;
}

bool HttpServer::serve()
{
    boost::asio::thread_pool threads(kThreads);
    bool accepting = true;
    while (accepting) {
        takePlace(); // beyond the most, new connections stay with the kernel
        const int socket = acceptOne();
        accepting = socket >= 0;
        if (accepting)
            boost::asio::post(threads, [this, socket] { converse(socket); });
    }
    threads.join();
    return m_stopping;
}

void HttpServer::stop()
{
    m_stopping = true;
    shutdown(m_listener.fd(), SHUT_RDWR);
}

// The next connection; -1 when none will come any more. Where descriptors or memory
// are short, those that are being served give some back soon.
int HttpServer::acceptOne()
{
    while (!m_stopping) {
        const int socket = accept4(m_listener.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket >= 0)
            return socket;
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        else if (errno == EBADF || errno == EINVAL)
            return -1;
    }
    return -1;
}

void HttpServer::takePlace()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_free.wait(lock, [this] { return m_taken < kMostConnections; });
    ++m_taken;
}

void HttpServer::leavePlace()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_taken;
    m_free.notify_one();
}

void HttpServer::converse(int socket)
{
    try {
        Connection connection(socket);
        HttpRequest request;
        HttpReply reply;
        reply.status = ReadRequest(connection, request);
        if (reply.status == 200)
            handle(request, reply);
        if (reply.status >= 400 && reply.body.empty())
            reply.setBody(reply.status == 400 ? "This request cannot be understood.\n"
                                              : "There is nothing here.\n",
                          "text/plain");
        if (reply.status != 0) {
            log(request, reply.status);
            WriteReply(connection, request, reply);
        }
    } catch (const std::exception& error) { // memory, most likely: this client gets nothing
        std::cerr << std::string("pakmart-storeserver: a request failed: ") + error.what() + '\n';
    }
    leavePlace();
}

void HttpServer::log(const HttpRequest& request, int status) const
{
    if (m_options.verbose)
        std::cerr << request.method + ' ' + Quoted(request.target) + ' ' + std::to_string(status)
                + '\n';
}

// The address of the server as this client sees it.
std::string HttpServer::address(const HttpRequest& request) const
{
    if (!m_options.publicUrl.empty())
        return m_options.publicUrl;
    const std::string host = request.header("Host");
    if (host.empty() && request.count("Host") <= 1)
        return "http://" + m_options.listen + ':' + std::to_string(m_port);
    if (request.count("Host") > 1 || !IsHost(host))
        throw RequestError("The request names no host that could be: " + Quoted(host) + '.');
    return "http://" + host;
}

void HttpServer::handle(const HttpRequest& request, HttpReply& reply)
{
    const auto mark = std::min(request.target.find('?'), request.target.size());
    std::string path;
    if (request.method != "GET" && request.method != "HEAD") {
        reply.add("Allow", "GET, HEAD");
        reply.status = 405;
    } else if (!DecodePercent(request.target.substr(0, mark), path)) {
        reply.status = 400;
    } else if (path.rfind("/pool/", 0) == 0) {
        ServePoolFile(m_store.poolFolder(), path.substr(6), request, reply);
    } else {
        callFunction(path, request.target.substr(std::min(mark + 1, request.target.size())),
                     request, reply);
    }
}

void HttpServer::callFunction(const std::string& path, const std::string& query,
                              const HttpRequest& request, HttpReply& reply)
{
    AgentFunction::Handler handler = nullptr;
    const std::string folder = AgentFunction::path();
    if (path == "/getagentapi.php") {
        handler = AnswerDirectory;
    } else if (path.rfind(folder, 0) == 0) {
        const auto function = AgentFunction::all().find(path.substr(folder.size()));
        if (function != AgentFunction::all().end())
            handler = function->second;
    }
    if (!handler) {
        reply.status = 404;
        return;
    }
    try {
        const Query parameters(query);
        const std::string here = address(request);
        reply.setBody(Answer(handler, { parameters, here, m_store }), xmlType);
    } catch (const RequestError& error) {
        reply.status = 400;
        reply.setBody(FailedReply(error.what()), xmlType);
    }
}
