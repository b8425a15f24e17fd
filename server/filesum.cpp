// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "filesum.h"

#include "sha256.h"

#include <apt-pkg/aptconfiguration.h>
#include <apt-pkg/error.h>
#include <apt-pkg/fileutl.h>
#include <unistd.h>
#include <vector>

namespace
{

bool AddAll(FileFd& bytes, Sha256& hash, unsigned long long& size)
{
    std::vector<char> block(64 * 1024);
    unsigned long long count = 0;
    while (bytes.Read(block.data(), block.size(), &count)) {
        if (count == 0)
            return true;
        hash.Add(block.data(), count);
        size += count;
    }
    return false;
}

// The package library makes its list of packers when it is first used, for all threads: two that do
// that at once would crash.
void PreparePackers()
{
    static const auto packers = APT::Configuration::getCompressors();
}

FileSum Sum(const Agent::Descriptor& file, FileFd::CompressMode mode)
{
    PreparePackers();
    FileFd bytes;
    Sha256 hash;
    FileSum sum;
    const bool read = file && lseek(file.Get(), 0, SEEK_SET) == 0
        && bytes.OpenDescriptor(dup(file.Get()), FileFd::ReadOnly, mode, true)
        && AddAll(bytes, hash, sum.size);
    _error->Discard();
    if (!read)
        return {};
    sum.sha256 = hash.Digits();
    return sum;
}

} // namespace

FileSum SumOf(const Agent::Descriptor& file)
{
    return Sum(file, FileFd::None);
}

FileSum UnpackedSumOf(const Agent::Descriptor& file)
{
    return Sum(file, FileFd::Gzip);
}
