// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "filesum.h"

#include <apt-pkg/error.h>
#include <apt-pkg/fileutl.h>
#include <apt-pkg/hashes.h>
#include <unistd.h>

namespace
{

FileSum Sum(const Agent::Descriptor& file, FileFd::CompressMode mode)
{
    FileFd bytes;
    Hashes hashes(Hashes::SHA256SUM);
    const bool read = file && lseek(file.Get(), 0, SEEK_SET) == 0
        && bytes.OpenDescriptor(dup(file.Get()), FileFd::ReadOnly, mode, true)
        && hashes.AddFD(bytes);
    _error->Discard();
    if (!read)
        return {};
    const HashStringList sums = hashes.GetHashStringList();
    return { sums.FileSize(), sums.find("SHA256")->HashValue() };
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
