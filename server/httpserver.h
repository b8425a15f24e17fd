// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The HTTP side of the store server.
//
// Everything a client can make large is bounded: the connections (64 served at
// a time, 448 that wait), a request (64 KB, and 8 KB for its first line) and
// the time it may take (5 s). A connection is for one request.

#pragma once

#include "options.h"
#include "store.h"

#include <httplib.h>
#include <string>

class HttpServer : public httplib::Server
{
public:
    HttpServer(Store& store, const ServerOptions& options);

    // The port it is bound to; 0 when that failed, with errno.
    int bind();

private:
    bool process_and_close_socket(socket_t socket) override;
    void handle(const httplib::Request& request, httplib::Response& response);
    void callFunction(const std::string& path, const std::string& query,
                      const httplib::Request& request, httplib::Response& response);
    std::string address(const httplib::Request& request) const;

    Store& m_store;
    const ServerOptions m_options;
    int m_port = 0;
};
