// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpmessage.h"

#include "gzip.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <strings.h>

namespace http = boost::beast::http;

namespace
{

const std::size_t kLongestTarget = 8 * 1024;
const std::size_t kWorthPacking = 1400; // what fits one packet anyway

// The status that the parser's error stands for.
int StatusOf(const boost::beast::error_code& error)
{
    return error ? 400 : 200;
}

// A field's name or value, where it begins and ends.
std::string Text(boost::beast::string_view text)
{
    return { text.data(), text.size() };
}

bool SendFile(Connection& connection, const HttpReply& reply)
{
    off_t at = reply.first;
    return connection.sendFile(reply.file.fd(), at, std::size_t(reply.length));
}

std::string Head(const HttpReply& reply, std::size_t length)
{
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + ' '
        + Text(http::obsolete_reason(http::int_to_status(unsigned(reply.status)))) + "\r\n";
    for (const auto& [name, value] : reply.headers)
        head.append(name).append(": ").append(value).append("\r\n");
    if (reply.status != 304)
        head += "Content-Length: " + std::to_string(length) + "\r\n";
    return head += "Connection: close\r\n\r\n";
}

// Only what is made here: an archive is packed already.
void Pack(const HttpRequest& request, HttpReply& reply)
{
    if (reply.body.size() < kWorthPacking)
        return;
    reply.add("Vary", "Accept-Encoding");
    if (!AcceptsGzip(request.header("Accept-Encoding")))
        return;
    reply.body = Gzip(reply.body);
    reply.add("Content-Encoding", "gzip");
}

} // namespace

std::size_t HttpRequest::count(const std::string& name) const
{
    return std::size_t(std::count_if(headers.begin(), headers.end(), [&name](const auto& header) {
        return strcasecmp(header.first.c_str(), name.c_str()) == 0;
    }));
}

std::string HttpRequest::header(const std::string& name) const
{
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0)
            return value;
    }
    return {};
}

void HttpReply::add(const std::string& name, const std::string& value)
{
    headers.emplace_back(name, value);
}

void HttpReply::setBody(std::string text, const char* type)
{
    body = std::move(text);
    add("Content-Type", type);
}

int ReadRequest(Connection& connection, HttpRequest& request)
{
    http::request_parser<http::empty_body> parser;
    parser.header_limit(Connection::largestRequest);
    std::string text; // what the parser has not taken yet
    std::array<char, 4096> block;
    boost::beast::error_code error = http::error::need_more;
    bool any = false;
    while (!parser.is_header_done() && error == http::error::need_more) {
        const std::size_t got = connection.read(block.data(), block.size());
        if (got == 0)
            return any ? 400 : 0;
        any = true;
        text.append(block.data(), got);
        text.erase(0, parser.put(boost::asio::buffer(text), error));
    }
    const auto& message = parser.get();
    request.method = Text(message.method_string());
    request.target = Text(message.target());
    for (const auto& field : message)
        request.headers.emplace_back(Text(field.name_string()), Text(field.value()));
    return request.target.size() > kLongestTarget ? 414 : StatusOf(error);
}

bool WriteReply(Connection& connection, const HttpRequest& request, HttpReply& reply)
{
    if (!reply.file)
        Pack(request, reply);
    const std::size_t length = reply.file ? std::size_t(reply.length) : reply.body.size();
    const std::string head = Head(reply, length);
    const bool alone = request.method == "HEAD" || length == 0;
    if (!connection.write(head.data(), head.size(), !alone) || alone)
        return alone;
    return reply.file ? SendFile(connection, reply)
                      : connection.write(reply.body.data(), reply.body.size(), false);
}
