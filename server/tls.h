// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// HTTPS: connections that are encrypted with TLS 1.2 or later.

#pragma once

#include "transport.h"

#include <memory>
#include <string>

// The server's certificate and key.
class TlsContext
{
public:
    // `certificate` is a PEM file with the server's certificate first and those of its issuers
    // after it, `key` one with its private key, without a passphrase. Throws StoreError if they
    // cannot be read or do not belong together.
    TlsContext(const std::string& certificate, const std::string& key);
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    // The handshake is a part of reading the request, with its limit of time.
    std::unique_ptr<Transport> Accept(Agent::Descriptor socket) const;

private:
    struct Context;
    const std::unique_ptr<Context> m_context;
};
