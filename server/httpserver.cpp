// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpserver.h"

#include "agentfunction.h"
#include "connection.h"
#include "poolfile.h"
#include "storeerror.h"
#include "text.h"

#include <condition_variable>
#include <iostream>
#include <mutex>

namespace
{

const std::size_t kThreads = 64;
const std::size_t kMostConnections = 512; // those that wait for a thread included
const char xmlType[] = "text/xml; charset=UTF-8";

// The library's thread pool, with a bound on what waits for a thread: beyond
// it, new connections stay with the kernel.
class BoundedPool : public httplib::TaskQueue
{
public:
    void enqueue(std::function<void()> task) override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_free.wait(lock, [this] { return m_taken < kMostConnections; });
        ++m_taken;
        m_threads.enqueue([this, task] {
            task();
            const std::lock_guard<std::mutex> done(m_mutex);
            --m_taken;
            m_free.notify_one();
        });
    }
    void shutdown() override { m_threads.shutdown(); }

private:
    std::mutex m_mutex;
    std::condition_variable m_free;
    std::size_t m_taken = 0;
    httplib::ThreadPool m_threads{ kThreads };
};

void LogRequest(const httplib::Request& request, const httplib::Response& response)
{
    std::cerr << request.method + ' ' + Quoted(request.target) + ' '
            + std::to_string(response.status) + '\n';
}

void SayMissing(const httplib::Request&, httplib::Response& response)
{
    if (response.body.empty() && response.status >= 400)
        response.set_content("There is nothing here.\n", "text/plain");
}

} // namespace

HttpServer::HttpServer(Store& store, const ServerOptions& options)
    : m_store(store), m_options(options)
{
    new_task_queue = [] { return new BoundedPool; };
    set_payload_max_length(0);
    // Not the library's own choice, which lets two servers share a port.
    set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    set_tcp_nodelay(true);
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        handle(request, response);
        return HandlerResponse::Handled;
    });
    set_error_handler(httplib::Server::Handler(SayMissing));
    if (m_options.verbose)
        set_logger(LogRequest);
}

int HttpServer::bind()
{
    if (m_options.port == 0)
        m_port = std::max(0, bind_to_any_port(m_options.listen));
    else if (bind_to_port(m_options.listen, m_options.port))
        m_port = m_options.port;
    // The library lets five clients wait to be accepted; the next one would
    // have to try again after a second.
    if (m_port != 0)
        ::listen(svr_sock_, int(kMostConnections));
    return m_port;
}

bool HttpServer::process_and_close_socket(socket_t socket)
{
    Connection connection(socket);
    bool closed = false;
    return process_request(connection, true, closed, nullptr);
}

// The address of the server as this client sees it.
std::string HttpServer::address(const httplib::Request& request) const
{
    if (!m_options.publicUrl.empty())
        return m_options.publicUrl;
    if (request.get_header_value_count("Host") == 0)
        return "http://" + m_options.listen + ':' + std::to_string(m_port);
    const std::string host = request.get_header_value("Host");
    if (request.get_header_value_count("Host") > 1 || !IsHost(host))
        throw RequestError("The request names no host that could be: " + Quoted(host) + '.');
    return "http://" + host;
}

void HttpServer::handle(const httplib::Request& request, httplib::Response& response)
{
    const auto mark = std::min(request.target.find('?'), request.target.size());
    std::string path;
    if (request.method != "GET" && request.method != "HEAD") {
        response.set_header("Allow", "GET, HEAD");
        response.status = 405;
    } else if (!DecodePercent(request.target.substr(0, mark), path)) {
        response.status = 400;
    } else if (path.rfind("/pool/", 0) == 0) {
        ServePoolFile(m_store.poolFolder(), path.substr(6), request, response);
    } else {
        callFunction(path, request.target.substr(std::min(mark + 1, request.target.size())),
                     request, response);
    }
    // The library would cut ranges out of the reply without looking at its
    // size; what is to be sent in part has been cut by now.
    const_cast<httplib::Request&>(request).ranges.clear();
}

void HttpServer::callFunction(const std::string& path, const std::string& query,
                              const httplib::Request& request, httplib::Response& response)
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
        response.status = 404;
        return;
    }
    try {
        const Query parameters(query);
        const std::string here = address(request);
        response.status = 200;
        // Not by set_content, which would copy what may be a whole catalog.
        response.body = Answer(handler, { parameters, here, m_store });
        response.set_header("Content-Type", xmlType);
    } catch (const RequestError& error) {
        response.status = 400;
        response.set_content(FailedReply(error.what()), xmlType);
    }
}
