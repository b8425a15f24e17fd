// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "poolfile.h"

#include "storefile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <httplib.h>
#include <unistd.h>

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
bool MayContinue(const httplib::Request& request, const std::string& modified)
{
    return !request.has_header("If-Range") || request.get_header_value("If-Range") == modified;
}

// Whether one satisfiable range is asked for, and which. Several ranges are
// answered with the whole file, as the protocol allows.
enum class Part { Whole, One, None };
Part WantedPart(const httplib::Ranges& ranges, off_t size, Range& range)
{
    if (ranges.size() != 1)
        return Part::Whole;
    const auto [first, last] = ranges.front();
    if (first < 0) { // the last so many bytes
        if (last <= 0 || size == 0)
            return last < 0 ? Part::Whole : Part::None;
        range = { std::max<off_t>(0, size - last), size - 1 };
        return Part::One;
    }
    if (last >= 0 && last < first)
        return Part::Whole; // means nothing
    range = { first, last < 0 ? size - 1 : std::min<off_t>(last, size - 1) };
    return first < size ? Part::One : Part::None;
}

void SendFile(const std::shared_ptr<FileHandle>& file, const Range& range, const char* type,
              httplib::Response& response)
{
    const auto length = std::size_t(range.last - range.first + 1);
    if (length == 0) {
        response.set_content("", type);
        return;
    }
    response.set_content_provider(
        length, type, [file, range](std::size_t offset, std::size_t left, httplib::DataSink& sink) {
            std::array<char, 65536> block;
            const std::size_t size = std::min(left, block.size());
            const ssize_t got = pread(file->fd(), block.data(), size, range.first + off_t(offset));
            if (got < 0 && errno == EINTR)
                return true;
            return got > 0 && sink.write(block.data(), std::size_t(got));
        });
}

} // namespace

void ServePoolFile(const std::string& pool, const std::string& path,
                   const httplib::Request& request, httplib::Response& response)
{
    struct stat info = {};
    const auto file = std::make_shared<FileHandle>(OpenBelow(pool, path, info));
    if (!*file) {
        response.status = 404;
        return;
    }
    const std::string modified = HttpDate(info.st_mtime);
    response.set_header("Last-Modified", modified);
    response.set_header("Accept-Ranges", "bytes");
    const time_t since = ParseHttpDate(request.get_header_value("If-Modified-Since"));
    if (since >= info.st_mtime) {
        response.status = 304;
        return;
    }
    Range range{ 0, info.st_size - 1 };
    const Part part = MayContinue(request, modified)
        ? WantedPart(request.ranges, info.st_size, range)
        : Part::Whole;
    const std::string size = std::to_string(info.st_size);
    response.status = part == Part::Whole ? 200 : part == Part::One ? 206 : 416;
    if (part == Part::One)
        response.set_header("Content-Range",
                            "bytes " + std::to_string(range.first) + '-'
                                + std::to_string(range.last) + '/' + size);
    if (part == Part::None)
        response.set_header("Content-Range", "bytes */" + size);
    else
        SendFile(file, range, "application/octet-stream", response);
}
