// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The HTTP side of the store server.
//
// Everything a client can make large has a limit: its connections, a request (64 KB, and 8 KB
// for its target), its time (conversation.h), and all waiting connections (2,048).
// A connection serves one request.

#pragma once

#include "accesslog.h"
#include "conversation.h"
#include "guests.h"
#include "httpmessage.h"
#include "keptreplies.h"
#include "metrics.h"
#include "options.h"
#include "personaldata.h"
#include "signedpool.h"
#include "store.h"
#include "tls.h"
#include "waitingroom.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class HttpServer
{
public:
    // Throws StoreError if the certificate or the key cannot be used.
    // `signedPool` has the signed files; null if nothing is signed. `log` gets the requests;
    // it may be null too.
    HttpServer(Store& store, PersonalData& personal, const ServerOptions& options,
               SignedPool* signedPool, AccessLog* log);

    // The port it is bound to; 0 when that failed, with errno.
    int Bind();

    // Serves until another thread calls Stop(); the replies under way are finished
    // first. False when no more connections can be accepted.
    bool Serve();
    void Stop();

private:
    std::unique_ptr<Conversation> AcceptOne();
    std::unique_ptr<Conversation> Welcome(Descriptor socket, const sockaddr_storage& address);
    std::unique_ptr<Transport> MakeTransport(Descriptor socket) const;
    void GoOn(std::unique_ptr<Conversation> conversation);
    std::string ClientOf(const Conversation& conversation) const;
    void Log(const Conversation& conversation);
    void Answer(const HttpRequest& request, const std::string& address, HttpReply& reply);
    void Handle(const HttpRequest& request, const std::string& address, HttpReply& reply);
    void CallFunction(const std::string& path, const std::string& query, const HttpRequest& request,
                      HttpReply& reply);
    bool ReplyShared(const std::string& path, const std::function<std::string()>& answer,
                     HttpReply& reply);
    std::string Address(const HttpRequest& request) const;

    Store& m_store;
    PersonalData& m_personal;
    SignedPool* const m_signedPool;
    KeptReplies m_kept;
    Metrics m_metrics;
    AccessLog* const m_log;
    const ServerOptions m_options;
    std::optional<TlsContext> m_tls; // for HTTPS
    Guests m_guests;
    WaitingRoom m_waiting;
    Descriptor m_listener;
    int m_port = 0;
    std::atomic<bool> m_stopping{ false };
};
