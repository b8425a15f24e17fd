// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The log of requests, a line for each, in the common log format:
//
//     192.0.2.7 - - [23/Nov/2026:12:00:00 +0000] "GET /getagentapi.php HTTP/1.1" 200 1024
//
// A client cannot forge a line: its bytes outside of printable ASCII, quotation marks and
// backslashes are written as \xHH.

#pragma once

#include "base/descriptor.h"
#include "httpmessage.h"

#include <cstddef>
#include <mutex>
#include <string>

class AccessLog
{
public:
    // Appends to the file, which is made if it is missing. Throws StoreError.
    explicit AccessLog(const std::string& path);

    // `bytes` of the content were sent. A request without a method was not understood.
    void Add(const std::string& address, const HttpRequest& request, int status, std::size_t bytes);

    // Opens the file by its name again, after it was renamed. Keeps the old one, with a
    // message, if that fails.
    void Reopen();

private:
    const std::string m_path;
    std::mutex m_mutex;
    Agent::Descriptor m_file;
    bool m_hasFailed = false;
};
