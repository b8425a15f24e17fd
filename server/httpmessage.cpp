// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpmessage.h"

#include "base/text.h"
#include "storefile.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <cerrno>
#include <new>
#include <poll.h>
#include <regex>
#include <sstream>
#include <strings.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

namespace http = boost::beast::http;

using namespace Agent;

namespace
{

using Size = std::string::size_type;

const Size mostParameters = 512;
const std::size_t longestTarget = 8 * 1024;
const std::size_t worthPacking = 1400; // bytes that fit into one packet anyway
const int gzipWindow = 15 + 16; // the largest window, in gzip's format
const int gzipMemory = 8; // zlib's own default

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

std::string Gzip(const std::string& text)
{
    z_stream stream = {};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, gzipMemory,
                     Z_DEFAULT_STRATEGY)
        != Z_OK)
        throw std::bad_alloc();
    std::string packed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = uInt(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = uInt(packed.size());
    deflate(&stream, Z_FINISH); // all at once, since there is room for the worst case
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
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

bool SendFile(Connection& connection, const HttpReply& reply)
{
    off_t at = reply.first;
    return connection.SendFile(reply.file.Get(), at, std::size_t(reply.length));
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
    if (reply.body.size() < worthPacking)
        return;
    reply.Add("Vary", "Accept-Encoding");
    if (!AcceptsGzip(request.Header("Accept-Encoding")))
        return;
    reply.body = Gzip(reply.body);
    reply.Add("Content-Encoding", "gzip");
}

bool HasBody(const http::request_parser<http::empty_body>& parser)
{
    return parser.chunked() || parser.content_length().value_or(0) > 0;
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

void HttpReply::SetBody(std::string text, const char* type)
{
    body = std::move(text);
    Add("Content-Type", type);
}

// Reads until the end of the headers; a body is not read, since no function takes one. The
// parser consumes complete lines only, so the rest is kept and passed again with the next
// bytes. 0 if the client closes without having sent anything.
int ReadRequest(Connection& connection, HttpRequest& request)
{
    http::request_parser<http::empty_body> parser;
    parser.header_limit(Connection::largestRequest);
    std::string text; // bytes that the parser has not consumed yet
    std::array<char, 4096> block;
    boost::beast::error_code error = http::error::need_more;
    bool any = false;
    while (!parser.is_header_done() && error == http::error::need_more) {
        const std::size_t got = connection.Read(block.data(), block.size());
        if (got == 0)
            return any ? 400 : 0;
        any = true;
        text.append(block.data(), got);
        text.erase(0, parser.put(boost::asio::buffer(text), error));
    }
    const auto& message = parser.get();
    if (parser.is_header_done() && !HasBody(parser) && text.empty())
        connection.SetRequestIsWhole();
    request.method = Text(message.method_string());
    request.target = Text(message.target());
    for (const auto& field : message)
        request.headers.emplace_back(Text(field.name_string()), Text(field.value()));
    return request.target.size() > longestTarget ? 414 : StatusOf(error);
}

// The head is held back until the content follows, so that a small reply is one packet.
bool WriteReply(Connection& connection, const HttpRequest& request, HttpReply& reply)
{
    if (!reply.file)
        Pack(request, reply);
    const std::size_t length = reply.file ? std::size_t(reply.length) : reply.body.size();
    const std::string head = Head(reply, length);
    const bool alone = request.method == "HEAD" || length == 0;
    if (!connection.Write(head.data(), head.size(), !alone) || alone)
        return alone;
    return reply.file ? SendFile(connection, reply)
                      : connection.Write(reply.body.data(), reply.body.size(), false);
}

namespace
{

const std::chrono::seconds longestRequest(5);
const int longestWrite = 10000; // ms for which a client may read nothing
const std::chrono::seconds farewell(1); // for the client to close its side

using Clock = std::chrono::steady_clock;

// The remaining milliseconds, for poll.
int TimeUntil(Clock::time_point deadline)
{
    using namespace std::chrono;
    return std::max(0, int(duration_cast<milliseconds>(deadline - Clock::now()).count()));
}

bool WaitFor(int socket, short event, int milliseconds)
{
    pollfd wait{ socket, event, 0 };
    int count = 0;
    do {
        count = poll(&wait, 1, milliseconds);
    } while (count < 0 && errno == EINTR);
    return count > 0;
}

// Calls `attempt` until it has moved bytes or failed, waiting for the socket in between.
template <class Attempt>
ssize_t When(int socket, short event, int milliseconds, const Attempt& attempt)
{
    for (;;) {
        const ssize_t moved = attempt();
        if (moved >= 0 || (errno != EAGAIN && errno != EINTR))
            return moved;
        if (errno == EAGAIN && !WaitFor(socket, event, milliseconds))
            return -1;
    }
}

} // namespace

Connection::Connection(int socket) : m_socket(socket), m_deadline(Clock::now() + longestRequest) { }

// If a socket is closed with unread bytes, the connection is reset and the reply is lost. A
// client that has sent its whole request is not waited for: the kernel sends the reply.
Connection::~Connection()
{
    if (!m_requestIsWhole || IsAnythingUnread())
        ReadTheRest();
    close(m_socket);
}

bool Connection::IsAnythingUnread() const
{
    char next;
    return recv(m_socket, &next, sizeof next, MSG_PEEK) > 0;
}

// Reads and discards what the client still sends. One that sends slowly does not get more
// time.
void Connection::ReadTheRest()
{
    shutdown(m_socket, SHUT_WR);
    const auto end = Clock::now() + farewell;
    std::array<char, 4096> rest;
    std::size_t left = largestRequest;
    while (left > 0 && WaitFor(m_socket, POLLIN, TimeUntil(end))) {
        const ssize_t got = recv(m_socket, rest.data(), rest.size(), 0);
        if (got <= 0)
            break;
        left -= std::min(left, std::size_t(got));
    }
}

// The deadline is that of the whole request, so a client cannot extend it by sending slowly.
std::size_t Connection::Read(char* data, std::size_t size)
{
    const std::size_t room = std::min(size, largestRequest - m_received);
    if (room == 0 || TimeUntil(m_deadline) == 0)
        return 0;
    const ssize_t got = When(m_socket, POLLIN, TimeUntil(m_deadline),
                             [this, data, room] { return recv(m_socket, data, room, 0); });
    m_received += got > 0 ? std::size_t(got) : 0;
    return got > 0 ? std::size_t(got) : 0;
}

bool Connection::Write(const char* data, std::size_t size, bool more)
{
    const int flags = MSG_NOSIGNAL | (more ? MSG_MORE : 0);
    while (size > 0) {
        const ssize_t sent = When(m_socket, POLLOUT, longestWrite, [this, data, size, flags] {
            return send(m_socket, data, size, flags);
        });
        if (sent <= 0)
            return false;
        data += sent;
        size -= std::size_t(sent);
    }
    return true;
}

// Also fails if the file has become shorter in the meantime.
bool Connection::SendFile(int file, off_t from, std::size_t size)
{
    while (size > 0) {
        const ssize_t sent = When(m_socket, POLLOUT, longestWrite,
                                  [&] { return sendfile(m_socket, file, &from, size); });
        if (sent <= 0)
            return false;
        size -= std::size_t(sent);
    }
    return true;
}
