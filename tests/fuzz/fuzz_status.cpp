// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The reader of dpkg's status file: whatever the bytes, it ends, and its values are in
// range.

#include "tests/fuzz/fuzzedfile.h"

#include "db/cdpkg.h"

#include <memory>

namespace
{

// Each empty line ends a stanza, and a line that begins with a zero byte looks empty, so
// there cannot be more stanzas than such lines.
std::size_t Ends(const std::uint8_t* data, std::size_t size)
{
    return std::size_t(std::count(data, data + size, std::uint8_t('\n'))
                       + std::count(data, data + size, std::uint8_t(0)));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::size_t ends = Ends(data, size);
    const std::string path = FuzzedInput(data, size).file("status");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"),
                                                               std::fclose);
    Demand(file != nullptr, "the file can be read");
    CDpkgInfo info;
    std::size_t stanzas = 0;
    for (; info.LoadPackageFromFile(file.get()); info.clear()) {
        ++stanzas;
        Demand(info.GetStatus() == 0 || info.GetStatus() == 1, "a status is 0 or 1");
        Demand(info.m_nPriority >= 0 && info.m_nPriority <= 5, "a priority is 0 to 5");
        Demand(info.m_depends.empty() && info.m_conflicts.empty(), "no relation is kept");
        const CDpkgInfo copy = info;
        Demand(copy.GetName() == info.GetName(), "a copy is the same");
        Demand(info.GetName().size() < 2048, "no line is longer than the reader's");
    }
    Demand(stanzas <= ends, "each stanza has an end of its own");
    return 0;
}
