// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Included by every fuzzer.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Called with each input in turn; returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the fuzzer if `holds` is false: the input has found a fault.
inline void Demand(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "fuzzer: not so: %s\n", what);
    std::abort();
}
