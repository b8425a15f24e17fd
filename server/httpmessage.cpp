// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpmessage.h"

#include "base/text.h"
#include "storefile.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <regex>
#include <sstream>
#include <strings.h>

namespace http = boost::beast::http;

using namespace Agent;

namespace
{

using Size = std::string::size_type;

const Size mostParameters = 512;
const std::size_t longestTarget = 8 * 1024;
const std::size_t worthPacking = 1400; // bytes that fit into one packet anyway

std::string Decoded(const std::string& text)
{
    std::string result;
    if (!DecodePercent(text, result))
        throw RequestError("There is an incomplete percent escape in " + Quoted(text) + '.');
    if (result.find('\0') != std::string::npos)
        throw RequestError("There is a zero byte in " + Quoted(text) + '.');
    return result;
}

// Whether a client that sends this Accept-Encoding accepts gzip. Nothing else is offered:
// stronger compression takes minutes for a large catalog.
bool AcceptsGzip(const std::string& acceptEncoding)
{
    static const std::regex coding(R"(\s*(?:x-)?gzip\s*(?:;\s*q\s*=\s*([0-9.]+)\s*)?)",
                                   std::regex::icase);
    std::istringstream codings(acceptEncoding.substr(0, 1024));
    std::string one;
    while (std::getline(codings, one, ',')) {
        std::smatch match;
        if (std::regex_match(one, match, coding))
            return !match[1].matched || std::strtod(match.str(1).c_str(), nullptr) > 0;
    }
    return false;
}

// The status code for an error of the parser.
int StatusOf(const boost::beast::error_code& error)
{
    return error ? 400 : 200;
}

// A field's name or value as a string.
std::string Text(boost::beast::string_view text)
{
    return { text.data(), text.size() };
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

// Compresses only generated replies: archives are compressed already.
void Pack(const HttpRequest& request, HttpReply& reply)
{
    if (reply.Body().size() < worthPacking)
        return;
    reply.Add("Vary", "Accept-Encoding");
    if (reply.status == 304 || !AcceptsGzip(request.Header("Accept-Encoding")))
        return;
    reply.isPacked = true;
    reply.Add("Content-Encoding", "gzip");
}

} // namespace

Query::Query(const std::string& text)
{
    for (Size start = 0; start < text.size();) {
        const Size end = std::min(text.find('&', start), text.size());
        const std::string parameter = text.substr(start, end - start);
        start = end + 1;
        if (parameter.empty())
            continue;
        if (m_parameters.size() == mostParameters)
            throw RequestError("The request has more than 512 parameters.");
        const Size equals = std::min(parameter.find('='), parameter.size());
        const std::string raw = parameter.substr(std::min(equals + 1, parameter.size()));
        m_parameters.push_back({ Decoded(parameter.substr(0, equals)), { Decoded(raw), raw } });
    }
}

std::vector<Query::Value> Query::Values(const std::string& name) const
{
    std::vector<Value> result;
    for (const Parameter& parameter : m_parameters) {
        if (parameter.name == name)
            result.push_back(parameter.value);
    }
    return result;
}

std::size_t HttpRequest::Count(const std::string& name) const
{
    return std::size_t(std::count_if(headers.begin(), headers.end(), [&name](const auto& header) {
        return strcasecmp(header.first.c_str(), name.c_str()) == 0;
    }));
}

std::string HttpRequest::Header(const std::string& name) const
{
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0)
            return value;
    }
    return {};
}

void HttpReply::Add(const std::string& name, const std::string& value)
{
    headers.emplace_back(name, value);
}

void HttpReply::Drop(const std::string& name)
{
    headers.erase(std::remove_if(headers.begin(), headers.end(),
                                 [&name](const auto& one) { return one.first == name; }),
                  headers.end());
}

void HttpReply::SetBody(std::string text, const char* type)
{
    content = std::make_shared<const Content>(std::move(text));
    Add("Content-Type", type);
}

void HttpReply::SetShared(std::shared_ptr<const Content> kept, const char* type)
{
    content = std::move(kept);
    isShared = true;
    Add("Content-Type", type);
}

const std::string& HttpReply::Body() const
{
    static const std::string none;
    return !content ? none : isPacked ? content->Packed() : content->Plain();
}

// A body is not read, since no function takes one.
struct RequestReader::Parser {
    http::request_parser<http::empty_body> parser;
    boost::beast::error_code error = http::error::need_more;
    std::string text; // bytes that the parser has not consumed: it takes complete lines only
    std::size_t received = 0;
    bool hasEnded = false;

    bool HasBody() const { return parser.chunked() || parser.content_length().value_or(0) > 0; }
};

RequestReader::RequestReader() : m_parser(std::make_unique<Parser>())
{
    m_parser->parser.header_limit(largest);
}

RequestReader::~RequestReader() = default;

void RequestReader::Add(const char* data, std::size_t size)
{
    m_parser->received += size;
    m_parser->text.append(data, size);
    m_parser->text.erase(
        0, m_parser->parser.put(boost::asio::buffer(m_parser->text), m_parser->error));
    if (m_parser->received >= largest)
        End();
}

void RequestReader::End()
{
    m_parser->hasEnded = true;
}

bool RequestReader::IsDone() const
{
    return m_parser->hasEnded || m_parser->parser.is_header_done()
        || m_parser->error != http::error::need_more;
}

bool RequestReader::IsEmpty() const
{
    return m_parser->received == 0;
}

bool RequestReader::IsWhole() const
{
    return m_parser->parser.is_header_done() && !m_parser->HasBody() && m_parser->text.empty();
}

int RequestReader::Take(HttpRequest& request) const
{
    const auto& message = m_parser->parser.get();
    request.method = Text(message.method_string());
    request.target = Text(message.target());
    request.version = int(message.version());
    for (const auto& field : message)
        request.headers.emplace_back(Text(field.name_string()), Text(field.value()));
    if (request.target.size() > longestTarget)
        return 414;
    return m_parser->parser.is_header_done() ? StatusOf(m_parser->error) : 400;
}

std::size_t PrepareReply(const HttpRequest& request, HttpReply& reply, std::string& head)
{
    if (reply.status >= 400 && reply.Body().empty())
        reply.SetBody(reply.status == 400 ? "This request cannot be understood.\n"
                                          : "There is nothing here.\n",
                      "text/plain");
    if (!reply.file)
        Pack(request, reply);
    const std::size_t length = reply.file ? std::size_t(reply.length) : reply.Body().size();
    head = Head(reply, length);
    return request.method == "HEAD" || reply.status == 304 ? 0 : length;
}
