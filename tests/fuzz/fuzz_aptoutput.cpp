// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The output of the package front end: the library parses any bytes as the reference
// does.

#include "fuzzer.h"
#include "tests/install/comparewithreference.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    const ParsedOutput parsed(bytes);
    const QString difference = DifferenceFromReference(parsed, bytes);
    Demand(difference.isEmpty(), qPrintable(difference));
    return 0;
}
