// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A request and its reply, read from a connection and sent to it.

#pragma once

#include "storefile.h"

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

// A request that cannot be answered; the text goes to the client.
class RequestError : public std::runtime_error
{
    using runtime_error::runtime_error;
};

// The values of a query like "?app_id[]=1&app_id[]=2", in order.
//
// Names and values are percent-decoded; a '+' is a plus sign, since package
// files have it in their names and the agent does not escape it.
class Query
{
public:
    struct Value {
        std::string decoded;
        std::string raw; // as it came
    };

    // `text` is what follows the '?'. Throws RequestError when it has more than
    // 512 parameters, or a broken escape or a zero byte in one.
    explicit Query(const std::string& text);

    std::vector<Value> Values(const std::string& name) const;

private:
    struct Parameter {
        std::string name;
        Value value;
    };
    std::vector<Parameter> m_parameters;
};

struct HttpRequest {
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;

    std::size_t Count(const std::string& name) const;
    // The first value of a header, in whatever case its name is written; empty for none.
    std::string Header(const std::string& name) const;
};

struct HttpReply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    // A part of a file, which is sent instead of the body if it is open.
    Descriptor file;
    off_t first = 0;
    off_t length = 0;

    void Add(const std::string& name, const std::string& value);
    void SetBody(std::string text, const char* type);
};

// One client's connection, with limits on the size and the time of its requests.
class Connection
{
public:
    static constexpr std::size_t largestRequest = 64 * 1024;

    explicit Connection(int socket); // takes it over; it must not block
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // The next bytes of the request; 0 when no more come, or no more are taken.
    std::size_t Read(char* data, std::size_t size);

    // The request has been read to its end, so the client has nothing more to send.
    void SetRequestIsWhole() { m_requestIsWhole = true; }

    // Sends all of it. `more` holds a last, small packet back until more data follows.
    bool Write(const char* data, std::size_t size, bool more);
    bool SendFile(int file, off_t from, std::size_t size);

private:
    bool IsAnythingUnread() const;
    void ReadTheRest();

    const int m_socket;
    const std::chrono::steady_clock::time_point m_deadline; // for the request to be there
    std::size_t m_received = 0;
    bool m_requestIsWhole = false;
};

// The result of reading: 200, 400, or 414 for a target over 8 KB. 0 when the client
// has sent nothing.
int ReadRequest(Connection& connection, HttpRequest& request);

// Sends head and content, for the method HEAD without the content. The content is
// compressed if the client accepts that and it is worthwhile.
bool WriteReply(Connection& connection, const HttpRequest& request, HttpReply& reply);
