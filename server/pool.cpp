// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "pool.h"

#include "base/text.h"
#include "freshness.h"
#include "options.h"
#include "stanza.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <sstream>
#include <string_view>

using namespace Agent;

namespace
{

// Whether a Filename leads to a file below the repository's own folder.
bool IsInside(const std::string& fileName)
{
    const std::string path = '/' + fileName + '/';
    return fileName[0] != '/' && path.find("/../") == std::string::npos
        && fileName.find('\n') == std::string::npos && fileName.back() != '/';
}

// The names in a list of relations: "a (>= 1), b | c, d:any" has a, b and d.
void AddNames(const std::string& relations, std::vector<std::string>& names)
{
    for (std::string::size_type start = 0; start < relations.size();) {
        const auto end = std::min(relations.find(',', start), relations.size());
        const auto first = relations.find_first_not_of(" \t\n", start);
        start = end + 1;
        if (first >= end)
            continue;
        const auto last = std::min(relations.find_first_of(" \t\n(:|[<,", first), end);
        names.push_back(relations.substr(first, last - first));
    }
}

IndexedPackage IndexPackage(const Stanza& stanza, const std::string& path)
{
    IndexedPackage package{ stanza.text,
                            Required(stanza, "Package", path),
                            Required(stanza, "Version", path),
                            Optional(stanza, "Homepage"),
                            PositiveNumber(Optional(stanza, "Size")),
                            {} };
    for (const char* key : { "Pre-Depends", "Depends" })
        AddNames(Optional(stanza, key), package.dependencies);
    return package;
}

} // namespace

PackageIndex ParsePackageIndex(const std::string& text, const std::string& path)
{
    PackageIndex index;
    StanzaReader reader(text, path);
    Stanza stanza;
    while (reader.Next(stanza)) {
        IndexedPackage package = IndexPackage(stanza, path);
        const std::string& file = Required(stanza, "Filename", path);
        const int line = stanza.Find("Filename")->line;
        if (!IsInside(file))
            FailAt(path, line, "this file is not in the repository: " + Quoted(file));
        if (!index.emplace(file.substr(file.rfind('/') + 1), std::move(package)).second)
            FailAt(path, line, "a second package with the file " + Quoted(file));
    }
    return index;
}

void RequireSums(const PackageIndex& index, const std::string& path)
{
    for (const auto& [file, package] : index) {
        if (package.stanza.find("\nSHA256:") == std::string::npos)
            throw StoreError(path + ": the package " + Quoted(package.name)
                             + " has no SHA256, and cannot be signed");
    }
}

std::string TimestampOf(const std::string& packages)
{
    std::uint64_t hash = 14695981039346656037u; // FNV-1a
    for (const char c : packages)
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return std::to_string(hash);
}

std::string ParseLocation(const std::string& text, const std::string& path)
{
    const std::vector<Stanza> stanzas = ParseStanzas(text, path);
    if (stanzas.size() != 1 || stanzas[0].fields.size() != 1)
        FailAt(path, 1, "a location is one field, Archives");
    const std::string& address = Required(stanzas[0], "Archives", path);
    if (!IsServerUrl(address))
        FailAt(path, stanzas[0].line,
               Quoted(address) + " is not an address such as http://deb.debian.org/debian");
    return address;
}

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

// -1 for anything but a date.
time_t ParseHttpDate(const std::string& text)
{
    tm parts = {};
    const char* end = strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return end && !*end ? timegm(&parts) : -1;
}

// As nginx marks a file.
std::string MarkOf(const struct stat& info)
{
    std::ostringstream mark;
    mark << std::hex << '"' << info.st_mtime << '-' << info.st_size << '"';
    return mark.str();
}

// Whether a part may be sent: not if the client has the beginning of an older file.
bool MayContinue(const HttpRequest& request, const std::string& modified, const std::string& mark)
{
    const std::string known = request.Header("If-Range");
    return request.Count("If-Range") == 0 || known == modified || known == mark;
}

// A mark counts more than a date.
bool IsUnchanged(const HttpRequest& request, const struct stat& info, const std::string& mark)
{
    return request.Count("If-None-Match") != 0
        ? HasAlready(request, mark)
        : ParseHttpDate(request.Header("If-Modified-Since")) >= info.st_mtime;
}

// The name of an archive has its version, and a new one another name. Indexes change.
bool IsArchive(const std::string& path)
{
    return EndsWith(path, ".deb");
}

// A number of a range: -1 if it is missing, -2 if it is invalid.
off_t RangeNumber(std::string_view text)
{
    off_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty())
        return -1;
    return error == std::errc() && end == text.data() + text.size() && text[0] != '-' ? number : -2;
}

// Reads a Range header: "bytes=100-199", "bytes=100-" (from there on) or "bytes=-100" (the
// last 100). One: `range` is the part of the file to send. None: no byte of the file is in
// the range. Whole: several ranges or an invalid header, for which the protocol allows the
// whole file.
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
    if (first == -1) { // the last `last` bytes
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
    Descriptor file = OpenBelow(pool, path, info);
    if (!file) {
        reply.status = 404;
        return;
    }
    const std::string modified = HttpDate(info.st_mtime), mark = MarkOf(info);
    reply.Add("Last-Modified", modified);
    reply.Add("Accept-Ranges", "bytes");
    reply.Add("ETag", mark);
    reply.Add("Cache-Control", IsArchive(path) ? "public, max-age=86400" : "no-cache");
    if (IsUnchanged(request, info, mark)) {
        reply.status = 304;
        return;
    }
    Range range{ 0, info.st_size - 1 };
    const Part part = MayContinue(request, modified, mark)
        ? WantedPart(request.Header("Range"), info.st_size, range)
        : Part::Whole;
    const std::string size = std::to_string(info.st_size);
    reply.status = part == Part::Whole ? 200 : part == Part::One ? 206 : 416;
    if (part == Part::One)
        reply.Add("Content-Range",
                  "bytes " + std::to_string(range.first) + '-' + std::to_string(range.last) + '/'
                      + size);
    if (part == Part::None) {
        reply.Add("Content-Range", "bytes */" + size);
        return;
    }
    reply.Add("Content-Type", "application/octet-stream");
    reply.file = std::move(file);
    reply.first = range.first;
    reply.length = range.last - range.first + 1;
}
