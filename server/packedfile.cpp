// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packedfile.h"

#include "base/text.h"
#include "storefile.h"

#include <apt-pkg/error.h>
#include <apt-pkg/fileutl.h>
#include <cstdint>
#include <fstream>
#include <sys/stat.h>

using namespace Agent;

namespace
{

// Throws apt's error messages in one line.
[[noreturn]] void FailWithAptError(const std::string& file)
{
    std::string text, line;
    while (!_error->empty()) {
        _error->PopMessage(line);
        text += ": " + line;
    }
    throw StoreError(file + text);
}

// apt reads a truncated gzip file without an error. But the last four bytes of a gzip file
// are the size of its content, which is compared here.
void CheckGzipSize(const std::string& file, std::size_t size)
{
    std::ifstream packed(file, std::ios::binary);
    unsigned char end[4] = {};
    packed.seekg(-4, std::ios::end).read(reinterpret_cast<char*>(end), sizeof end);
    const std::uint32_t told = end[0] | end[1] << 8 | end[2] << 16 | std::uint32_t(end[3]) << 24;
    if (!packed || told != std::uint32_t(size))
        throw StoreError(file + ": the file is cut short, or packed in several pieces");
}

} // namespace

std::string ReadPackedFile(const std::string& file, std::size_t largest)
{
    struct stat info = {};
    if (stat(file.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
        throw StoreError(file + ": this is not a regular file");
    FileFd packed;
    if (!packed.Open(file, FileFd::ReadOnly, FileFd::Extension))
        FailWithAptError(file);
    std::string text;
    const std::size_t step = 1024 * 1024;
    for (unsigned long long got = step; got > 0;) {
        const std::size_t have = text.size();
        text.resize(have + step);
        if (!packed.Read(&text[have], step, &got))
            FailWithAptError(file);
        text.resize(have + got);
        if (text.size() > largest)
            throw StoreError(file + ": there is more in this file than "
                             + std::to_string(largest / 1024 / 1024) + " MB");
    }
    if (EndsWith(file, ".gz"))
        CheckGzipSize(file, text.size());
    return text;
}
