// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The log of requests, a line for each, in the common log format or as an object of JSON:
//
//     192.0.2.7 - - [23/Nov/2026:12:00:00 +0000] "GET /getagentapi.php HTTP/1.1" 200 1024
//     {"time":"2026-11-23T12:00:00Z","client":"192.0.2.7","method":"GET",
//      "target":"/getagentapi.php","status":200,"bytes":1024,"microseconds":312}
//
// A client cannot forge a line: its bytes outside of printable ASCII, quotation marks and
// backslashes are written as \xHH.

#pragma once

#include "base/descriptor.h"
#include "httpmessage.h"

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

struct LoggedRequest {
    std::string address; // of the client
    const HttpRequest& request; // without a method: it was not understood
    int status;
    std::size_t bytes; // of the content that were sent
    std::chrono::steady_clock::duration taken; // from the connection on
};

class AccessLog
{
public:
    // Appends to the file, which is made if it is missing. Throws StoreError.
    AccessLog(const std::string& path, bool isJson);

    void Add(const LoggedRequest& entry);

    // Opens the file by its name again, after it was renamed. Keeps the old one, with a
    // message, if that fails.
    void Reopen();

private:
    const std::string m_path;
    const bool m_isJson;
    std::mutex m_mutex;
    Agent::Descriptor m_file;
    bool m_hasFailed = false;
};
