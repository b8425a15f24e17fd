// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "recordreader.h"

#include "report.h"
#include "store/bytes.h"

#include <algorithm>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

void RequireFile(const std::string& path)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0 || ::access(path.c_str(), R_OK) != 0)
        throw Trouble::Because("cannot read " + path);
    if (!S_ISREG(status.st_mode))
        throw Trouble("cannot read " + path + ": not a regular file");
}

RecordReader::RecordReader(const std::string& path, int recordLength)
    : m_file((RequireFile(path), path.c_str()), O_RDONLY, 0),
      m_length(std::max(recordLength, headerLength)), m_size(m_file ? m_file.Size() : -1),
      m_record(std::size_t(m_length))
{
    if (m_size < 0)
        throw Trouble::Because("cannot read " + path);
    if (m_size / m_length > INT32_MAX)
        throw Trouble("cannot read " + path + ": it has more records than there are numbers");
}

const std::uint8_t* RecordReader::Read(std::uint32_t number)
{
    const bool done = number < count()
        && m_file.ReadAt(off_t(number) * m_length, m_record.data(), m_record.size());
    return done ? m_record.data() : nullptr;
}

bool RecordReader::ReadHeader(DataFileHeader* header)
{
    const std::uint8_t* const record = Read(0);
    if (record)
        *header = ReadDataFileHeader(record);
    return record != nullptr;
}

std::vector<bool> RecordReader::FreeChain()
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
