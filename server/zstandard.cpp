// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "zstandard.h"

#include <new>
#include <zstd.h>

namespace
{

const int level = 9; // of 19

} // namespace

std::string Zstd(const std::string& text)
{
    std::string packed(ZSTD_compressBound(text.size()), '\0');
    const std::size_t size
        = ZSTD_compress(packed.data(), packed.size(), text.data(), text.size(), level);
    if (ZSTD_isError(size))
        throw std::bad_alloc();
    packed.resize(size);
    return packed;
}
