// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "gzip.h"

#include <new>
#include <zlib.h>

namespace
{

const int window = 15 + 16; // the largest one, in gzip's format
const int memory = 8; // zlib's own default

} // namespace

std::string Gzip(const std::string& text)
{
    z_stream stream = {};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, window, memory, Z_DEFAULT_STRATEGY)
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
