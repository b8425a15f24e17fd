// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The HTTP side of the store server.
//
// Everything a client can make large has a limit: the connections (64 served at a
// time, 448 waiting), a request (64 KB, and 8 KB for its target) and its time (5 s).
// A connection serves one request.

#pragma once

#include "httpmessage.h"
#include "options.h"
#include "signedpool.h"
#include "store.h"

#include <atomic>
#include <string>

class HttpServer
{
public:
    // `signedPool` has the signed files; null if nothing is signed.
    HttpServer(Store& store, const ServerOptions& options, SignedPool* signedPool);

    // The port it is bound to; 0 when that failed, with errno.
    int Bind();

    // Serves until another thread calls stop(); the replies under way are finished
    // first. False when no more connections can be accepted.
    bool Serve();
    void Stop();

private:
    int AcceptOne();
    void Converse(int socket);
    void Log(const HttpRequest& request, int status) const;
    void Handle(const HttpRequest& request, HttpReply& reply);
    void CallFunction(const std::string& path, const std::string& query, const HttpRequest& request,
                      HttpReply& reply);
    std::string Address(const HttpRequest& request) const;

    Store& m_store;
    SignedPool* const m_signedPool;
    const ServerOptions m_options;
    Descriptor m_listener;
    int m_port = 0;
    std::atomic<bool> m_stopping{ false };
};
