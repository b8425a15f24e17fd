// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "accesslog.h"

#include "base/text.h"
#include "personaldata.h"
#include "storefile.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace
{

Descriptor Open(const std::string& path)
{
    return Descriptor(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640));
}

std::string CommonTime()
{
    // Not strftime, whose months depend on the locale.
    static const std::array<const char*, 12> months{ "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec" };
    const std::time_t now = std::time(nullptr);
    std::tm utc = {};
    gmtime_r(&now, &utc);
    std::array<char, 64> day{}, rest{};
    std::strftime(day.data(), day.size(), "%d", &utc);
    std::strftime(rest.data(), rest.size(), "%Y:%H:%M:%S +0000", &utc);
    return std::string(day.data()) + '/' + months[std::size_t(utc.tm_mon)] + '/' + rest.data();
}

std::string Escaped(const std::string& text)
{
    static const char digits[] = "0123456789abcdef";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (Agent::IsPrintable(c) && c != '"' && c != '\\')
            result += c;
        else
            result.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
    }
    return result;
}

std::string RequestLine(const HttpRequest& request)
{
    if (request.method.empty())
        return "-";
    return Escaped(request.method) + ' ' + Escaped(request.target) + " HTTP/"
        + std::to_string(request.version / 10) + '.' + std::to_string(request.version % 10);
}

std::string CommonLine(const LoggedRequest& entry)
{
    return entry.address + " - - [" + CommonTime() + "] \"" + RequestLine(entry.request) + "\" "
        + std::to_string(entry.status) + ' ' + (entry.bytes > 0 ? std::to_string(entry.bytes) : "-")
        + '\n';
}

// The texts are escaped as in the other format; what is left of that is valid in JSON but for the
// backslashes.
std::string JsonText(const std::string& text)
{
    std::string result = "\"";
    for (const char c : Escaped(text)) {
        result += c;
        if (c == '\\')
            result += c;
    }
    return result + '"';
}

std::string JsonLine(const LoggedRequest& entry)
{
    const auto taken = std::chrono::duration_cast<std::chrono::microseconds>(entry.taken);
    return "{\"time\":" + JsonText(TimeText(std::time(nullptr)))
        + ",\"client\":" + JsonText(entry.address) + ",\"method\":" + JsonText(entry.request.method)
        + ",\"target\":" + JsonText(entry.request.target) + ",\"status\":"
        + std::to_string(entry.status) + ",\"bytes\":" + std::to_string(entry.bytes)
        + ",\"microseconds\":" + std::to_string(taken.count()) + "}\n";
}

} // namespace

AccessLog::AccessLog(const std::string& path, bool isJson)
    : m_path(path), m_isJson(isJson), m_file(Open(path))
{
    if (!m_file)
        throw StoreError(path + ": " + std::strerror(errno));
}

// One call for a line, so that lines of several servers are not mixed either.
void AccessLog::Add(const LoggedRequest& entry)
{
    const std::string line = m_isJson ? JsonLine(entry) : CommonLine(entry);
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool isWritten = write(m_file.Get(), line.data(), line.size()) == ssize_t(line.size());
    if (!isWritten && !m_hasFailed)
        std::cerr << "pakmart-storeserver: " + m_path
                + ": requests cannot be logged: " + std::strerror(errno) + '\n';
    m_hasFailed = !isWritten;
}

void AccessLog::Reopen()
{
    Descriptor file = Open(m_path);
    if (!file) {
        std::cerr << "pakmart-storeserver: " + m_path + ": " + std::strerror(errno) + '\n';
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file = std::move(file);
}
