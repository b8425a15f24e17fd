// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "gzip.h"

#include <new>
#include <regex>
#include <sstream>
#include <zlib.h>

namespace
{

const int kGzipWindow = 15 + 16; // the largest window, in gzip's format
const int kMemory = 8; // zlib's own default

} // namespace

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
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemory,
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
