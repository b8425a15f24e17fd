// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A request, read in pieces as they come, and the reply to it.

#pragma once

#include "content.h"
#include "storefile.h"

#include <cstddef>
#include <memory>
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
    int version = 11; // of HTTP, times ten
    std::vector<std::pair<std::string, std::string>> headers;

    std::size_t Count(const std::string& name) const;
    // The first value of a header, in whatever case its name is written; empty for none.
    std::string Header(const std::string& name) const;
};

struct HttpReply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::shared_ptr<const Content> content;
    bool isShared = false; // the content is kept for other clients, too
    bool isPacked = false; // its packed form is sent
    // A part of a file, which is sent instead of the content if it is open.
    Descriptor file;
    off_t first = 0;
    off_t length = 0;

    void Add(const std::string& name, const std::string& value);
    void Drop(const std::string& name);
    void SetBody(std::string text, const char* type);
    void SetShared(std::shared_ptr<const Content> kept, const char* type);
    const std::string& Body() const; // empty without content
};

// The head of a request, put together from what comes.
class RequestReader
{
public:
    static constexpr std::size_t largest = 64 * 1024; // bytes

    RequestReader();
    ~RequestReader();
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    void Add(const char* data, std::size_t size);
    void End(); // no more comes

    // Whether there is a request now, or never will be.
    bool IsDone() const;
    bool IsEmpty() const; // nothing has come
    // The client has sent its request and nothing more.
    bool IsWhole() const;

    // The request, and the status that it deserves by its form: 200, 400, or 414 for a target
    // over 8 KB.
    int Take(HttpRequest& request) const;

private:
    struct Parser;
    const std::unique_ptr<Parser> m_parser;
};

// Fills `head`, and compresses the content if the client accepts that and it is worthwhile.
// Returns the length of the content to send after it: 0 for the method HEAD.
std::size_t PrepareReply(const HttpRequest& request, HttpReply& reply, std::string& head);
