// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "recordfile.h"

#include "report.h"
#include "store/bytes.h"

#include <cstdlib>
#include <memory>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace DbTool
{

void RequireFile(const std::string& path)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0 || ::access(path.c_str(), R_OK) != 0)
        throw Trouble::Because("cannot read " + path);
    if (!S_ISREG(status.st_mode))
        throw Trouble("cannot read " + path + ": not a regular file");
}

std::string RealPath(const std::string& path)
{
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
    return real ? real.get() : path;
}

RecordFile::RecordFile(const std::string& path, int recordLength)
    : m_blocks((RequireFile(path), path), recordLength)
{
    if (!m_blocks)
        throw Trouble::Because("cannot read " + path);
    if (m_blocks.count() > INT32_MAX)
        throw Trouble("cannot read " + path + ": it has more records than there are numbers");
}

bool RecordFile::ReadHeader(DataFileHeader* header)
{
    const std::uint8_t* const record = Read(0);
    if (record)
        *header = ReadDataFileHeader(record);
    return record != nullptr;
}

std::vector<bool> RecordFile::FreeChain()
{
    std::vector<bool> isFree(count());
    DataFileHeader header;
    if (!ReadHeader(&header) || !HasVersion(header))
        return isFree;
    for (std::int32_t at = header.firstFree; at > 0 && std::uint32_t(at) < count();) {
        const std::uint8_t* const record = Read(std::uint32_t(at));
        const std::int32_t next = record ? GetInt32(record) : 0;
        if (next == 0 || isFree[std::size_t(at)])
            break;
        isFree[std::size_t(at)] = true;
        at = next;
    }
    return isFree;
}

bool HasVersion(const DataFileHeader& header)
{
    return strncasecmp(header.version, VERSION, sizeof header.version) == 0;
}

} // namespace DbTool
