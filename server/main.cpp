// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-storeserver: the reference store server.

#include "accesslog.h"
#include "httpserver.h"
#include "options.h"
#include "personalplace.h"
#include "signedpool.h"
#include "signer.h"
#include "store.h"
#include "storefile.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <optional>
#include <thread>
#include <unistd.h>
#include <utility>

namespace
{

// Blocks the signals that end the server in this thread and all later ones. Returns them.
sigset_t HoldSignals(bool isLogging)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : { SIGINT, SIGTERM, SIGHUP }) {
        if (number == SIGHUP && !isLogging)
            continue;
        sigaddset(&set, number);
        signal(number, SIG_DFL); // an ignored signal could not be waited for
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

// SIGHUP: the log was renamed.
void EndOnSignal(sigset_t set, HttpServer& server, AccessLog* log, std::chrono::seconds grace)
{
    int number = 0;
    while (sigwait(&set, &number) != 0 || number == SIGHUP) {
        if (number == SIGHUP)
            log->Reopen();
    }
    server.Stop();
    std::this_thread::sleep_for(grace);
    _exit(0);
}

std::string UrlOf(const ServerOptions& options, int port)
{
    const bool v6 = options.listen.find(':') != std::string::npos;
    return SchemeOf(options) + (v6 ? '[' + options.listen + ']' : options.listen) + ':'
        + std::to_string(port) + '/';
}

int Serve(const ServerOptions& options)
{
    Store store(options.store);
    store.Check();
    const auto personal = OpenPersonalData(options.personal, options.store);
    std::optional<Signer> signer;
    std::optional<SignedPool> signedPool;
    if (!options.signKey.empty()) {
        signer.emplace(options.signKey);
        // A database for several servers means several servers.
        signedPool.emplace(store, *signer, options.origin,
                           options.isSharedDate || !options.personal.postgresql.empty());
        signedPool->Check();
    }
    std::optional<AccessLog> log;
    if (!options.accessLog.empty())
        log.emplace(options.accessLog, options.isJsonLog);
    const sigset_t signals = HoldSignals(log.has_value());
    HttpServer server(store, *personal, options, signedPool ? &*signedPool : nullptr,
                      log ? &*log : nullptr);
    errno = 0;
    const int port = server.Bind();
    if (port == 0)
        throw StoreError(
            "cannot listen at " + UrlOf(options, options.port) + ": "
            + (errno ? std::strerror(errno) : "this is not an address of this machine"));
    std::thread(EndOnSignal, signals, std::ref(server), log ? &*log : nullptr,
                std::chrono::seconds(options.grace))
        .detach();
    std::cout << "listening on " << UrlOf(options, port) << std::endl;
    return server.Serve() ? 0 : 1;
}

using Command = int (*)(int argc, char** argv);

Command FindCommand(const char* name)
{
    static const std::pair<const char*, Command> commands[]
        = { { "import", ImportCommand }, { "check", CheckCommand },
            { "init", InitCommand },     { "add", AddCommand },
            { "export", ExportCommand }, { "personal", PersonalCommand } };
    for (const auto& [known, command] : commands) {
        if (std::strcmp(known, name) == 0)
            return command;
    }
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    if (const auto command = FindCommand(argc > 1 ? argv[1] : ""))
        return command(argc - 1, argv + 1);
    ServerOptions options;
    int status = 0;
    if (!ParseOptions(argc, argv, options, status))
        return status;
    try {
        return Serve(options);
    } catch (const StoreError& error) {
        std::cerr << "pakmart-storeserver: " << error.what() << '\n';
        return 1;
    }
}
