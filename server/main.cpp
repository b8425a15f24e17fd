// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-storeserver: serves a store kept as plain files.

#include "server/functions.h"
#include "server/pool.h"
#include "server/store.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <httplib.h>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <thread>

namespace
{

const char usage[] = R"(Usage: pakmart-storeserver [OPTION]... STORE

Serves the store in the folder STORE over HTTP until it is interrupted, and
prints the address it listens on.

  --port N           the port; 0 takes a free one (default: 8080)
  --listen ADDRESS   the address to listen on (default: 127.0.0.1)
  --public-url URL   what clients call this server (default: what they asked)
  --help             show this text
  --version          show the version

Exit status: 0 stopped, 1 the store or the address cannot be used, 2 usage.
)";

struct Options {
    std::string store, listen = "127.0.0.1", publicUrl;
    int port = 8080;
};

[[noreturn]] void UsageError(const std::string& what)
{
    std::cerr << "pakmart-storeserver: " << what << "\nTry 'pakmart-storeserver --help'.\n";
    std::exit(2);
}

int PortNumber(const std::string& text)
{
    char* end = nullptr;
    const long port = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || port < 0 || port > 65535)
        UsageError("not a port: " + text);
    return int(port);
}

Options ReadOptions(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = [&]() -> std::string {
            if (i + 1 >= argc)
                UsageError("no value behind " + word);
            return argv[++i];
        };
        if (word == "--help") {
            std::fputs(usage, stdout);
            std::exit(0);
        } else if (word == "--version") {
            std::puts("pakmart-storeserver " PAKMART_VERSION);
            std::exit(0);
        } else if (word == "--port") {
            options.port = PortNumber(value());
        } else if (word == "--listen") {
            options.listen = value();
        } else if (word == "--public-url") {
            options.publicUrl = value();
        } else if (word[0] == '-' || !options.store.empty()) {
            UsageError("what is " + word + "?");
        } else {
            options.store = word;
        }
    }
    if (options.store.empty())
        UsageError("no store");
    return options;
}

// The address that a client knows us by: what it asked for, if that can only be
// a host and a port.
std::string AddressFor(const httplib::Request& request, const Options& options)
{
    if (!options.publicUrl.empty())
        return options.publicUrl;
    const std::string host = request.get_header_value("Host");
    const bool sane = !host.empty() && host.size() < 256
        && host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                  ".-:[]")
            == host.npos;
    return "http://" + (sane ? host : options.listen + ':' + std::to_string(options.port));
}

void ServeFunctions(httplib::Server& server, const Store& store, const Options& options)
{
    server.Get("/getagentapi.php", [&](const httplib::Request& request, httplib::Response& reply) {
        reply.set_content(OkReply(Directory(AddressFor(request, options))), "text/xml");
    });
    for (const Function& function : Functions()) {
        server.Get(function.path, [&](const httplib::Request& request, httplib::Response& reply) {
            std::string text;
            try {
                text
                    = OkReply(function.answer(store, request.target, AddressFor(request, options)));
            } catch (const FunctionError& error) {
                text = FailedReply(error.what());
            } catch (const StoreError& error) {
                std::cerr << "pakmart-storeserver: " << error.what() << std::endl;
                text = FailedReply("The store is out of order. Please try again later.");
            }
            reply.set_content(text, "text/xml");
        });
    }
}

// Files go out in pieces, so that their size does not matter; ranges are the
// HTTP library's.
void ServePool(httplib::Server& server, const Pool& pool)
{
    server.Get("/repo/(.*)", [&](const httplib::Request& request, httplib::Response& reply) {
        const std::string path = pool.Find(request.matches[1]);
        auto file = std::make_shared<std::ifstream>(path, std::ios::binary | std::ios::ate);
        if (path.empty() || !*file) {
            reply.status = 404;
            reply.set_content("There is no such file in the pool.\n", "text/plain");
            return;
        }
        const auto size = std::size_t(file->tellg());
        if (size == 0) {
            reply.set_content("", "application/octet-stream");
            return;
        }
        reply.set_content_provider(
            size, "application/octet-stream",
            [file](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                char block[64 * 1024];
                file->clear();
                file->seekg(std::streamoff(offset));
                file->read(block, std::streamsize(std::min(length, sizeof block)));
                return file->gcount() > 0 && sink.write(block, std::size_t(file->gcount()));
            });
    });
}

// Everything a request needs is there; what is wrong is said before listening.
void CheckStore(const Store& store, const Pool& pool)
{
    store.Products();
    store.Sources();
    pool.Index();
}

} // namespace

int main(int argc, char** argv)
{
    Options options = ReadOptions(argc, argv);
    const Store store(options.store);
    const Pool pool(options.store + "/pool");
    try {
        CheckStore(store, pool);
    } catch (const StoreError& error) {
        std::cerr << "pakmart-storeserver: " << error.what() << '\n';
        return 1;
    }
    // Every thread leaves the signals to this one, which waits for them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    httplib::Server server;
    ServeFunctions(server, store, options);
    ServePool(server, pool);
    const bool bound = options.port == 0
        ? (options.port = server.bind_to_any_port(options.listen)) > 0
        : server.bind_to_port(options.listen, options.port);
    if (!bound) {
        std::cerr << "pakmart-storeserver: cannot listen on " << options.listen << '\n';
        return 1;
    }
    std::cout << "listening on http://" << options.listen << ':' << options.port << '/'
              << std::endl;
    std::thread serving([&server] { server.listen_after_bind(); });
    int signal = 0;
    sigwait(&signals, &signal);
    while (!server.is_running())
        std::this_thread::yield();
    server.stop();
    serving.join();
    return 0;
}
