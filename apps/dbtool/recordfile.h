// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The records of a data file or index, read without the least change to it.

#pragma once

#include "store/datafile.h"
#include "store/recordblocks.h"

#include <cstdint>
#include <string>
#include <vector>

namespace DbTool
{

using Agent::RecordBlocks;

// Throws Trouble unless the path is that of a file that can be read.
void RequireFile(const std::string& path);

// Where all links on the way lead; the path itself if there is nothing.
std::string RealPath(const std::string& path);

class RecordFile
{
public:
    // Throws Trouble as above.
    RecordFile(const std::string& path, int recordLength);

    int recordLength() const { return m_blocks.recordLength(); }
    std::int64_t fileSize() const { return m_blocks.fileSize(); }
    std::uint32_t count() const { return std::uint32_t(m_blocks.count()); }
    // Bytes after the last whole record.
    int rest() const { return int(fileSize() % recordLength()); }

    // The record, valid until the next call, or null if there is none.
    const std::uint8_t* Read(std::uint32_t number) { return m_blocks.Read(number); }

    // False if there is none.
    bool ReadHeader(DataFileHeader* header);

    // The deleted records, as far as their chain is sound.
    std::vector<bool> FreeChain();

private:
    RecordBlocks m_blocks;
};

// Whether a header has the version that every header has.
bool HasVersion(const DataFileHeader& header);

} // namespace DbTool
