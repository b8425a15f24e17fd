// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "poolfile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <string_view>

namespace
{

struct Range {
    off_t first = 0;
    off_t last = 0; // inclusive
};

std::string HttpDate(time_t when)
{
    tm parts = {};
    gmtime_r(&when, &parts);
    std::array<char, 64> text{};
    const auto length = strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return { text.data(), length };
}

// -1 for what is no date.
time_t ParseHttpDate(const std::string& text)
{
    tm parts = {};
    const char* end = strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return end && !*end ? timegm(&parts) : -1;
}

// Whether a part may be sent: not when the client's part is of another file.
bool MayContinue(const HttpRequest& request, const std::string& modified)
{
    return request.count("If-Range") == 0 || request.header("If-Range") == modified;
}

// A number of a range: -1 where it is left out, -2 for what is not one.
off_t RangeNumber(std::string_view text)
{
    off_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty())
        return -1;
    return error == std::errc() && end == text.data() + text.size() && text[0] != '-' ? number : -2;
}

// Whether one satisfiable range is asked for, and which. Several ranges, and what
// is not a range, are answered with the whole file, as the protocol allows.
enum class Part { Whole, One, None };
Part WantedPart(std::string_view header, off_t size, Range& range)
{
    const std::string_view unit = "bytes=";
    const auto dash = header.find('-');
    if (header.substr(0, unit.size()) != unit || dash == std::string_view::npos)
        return Part::Whole;
    const off_t first = RangeNumber(header.substr(unit.size(), dash - unit.size()));
    const off_t last = RangeNumber(header.substr(dash + 1));
    if (first == -2 || last == -2 || (first == -1 && last == -1) || (last >= 0 && last < first))
        return Part::Whole;
    if (first == -1) { // the last bytes, as many as that
        range = { std::max<off_t>(0, size - last), size - 1 };
        return last > 0 && size > 0 ? Part::One : Part::None;
    }
    range = { first, last < 0 ? size - 1 : std::min<off_t>(last, size - 1) };
    return first < size ? Part::One : Part::None;
}

} // namespace

void ServePoolFile(const std::string& pool, const std::string& path, const HttpRequest& request,
                   HttpReply& reply)
{
    struct stat info = {};
    FileHandle file = OpenBelow(pool, path, info);
    if (!file) {
        reply.status = 404;
        return;
    }
    const std::string modified = HttpDate(info.st_mtime);
    reply.add("Last-Modified", modified);
    reply.add("Accept-Ranges", "bytes");
    const time_t since = ParseHttpDate(request.header("If-Modified-Since"));
    if (since >= info.st_mtime) {
        reply.status = 304;
        return;
    }
    Range range{ 0, info.st_size - 1 };
    const Part part = MayContinue(request, modified)
        ? WantedPart(request.header("Range"), info.st_size, range)
        : Part::Whole;
    const std::string size = std::to_string(info.st_size);
    reply.status = part == Part::Whole ? 200 : part == Part::One ? 206 : 416;
    if (part == Part::One)
        reply.add("Content-Range",
                  "bytes " + std::to_string(range.first) + '-' + std::to_string(range.last) + '/'
                      + size);
    if (part == Part::None) {
        reply.add("Content-Range", "bytes */" + size);
        return;
    }
    reply.add("Content-Type", "application/octet-stream");
    reply.file = std::move(file);
    reply.first = range.first;
    reply.length = range.last - range.first + 1;
}
