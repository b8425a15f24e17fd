// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The records of a data file, or the pages of an index, read for a check: without the
// page cache, and without changing the file. Records that follow each other are read in
// one large block; a jump costs one small read.

#pragma once

#include "store/storefiles.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Agent
{

class RecordBlocks
{
public:
    // A record is never shorter than a header. A path that is not a regular file
    // has no records. The file system must outlive the object; null: the machine's.
    RecordBlocks(const std::string& path, int recordLength, StoreFiles* files = nullptr);

    // Whether it is a regular file that can be read.
    explicit operator bool() const { return m_size >= 0; }
    int RecordLength() const { return int(m_length); }
    // In bytes; -1 if it cannot be read.
    std::int64_t FileSize() const { return m_size; }
    // Whether both are open on one file, however it is named.
    bool IsSameFile(const RecordBlocks& other) const;
    // Whole records, the header included.
    std::int64_t Count() const { return m_size < 0 ? 0 : m_size / m_length; }

    // The record until the next call, or null if it cannot be read. The caller may
    // change the bytes: they are a copy.
    std::uint8_t* Read(std::int64_t number);

private:
    std::uint8_t* ReadBlock(std::int64_t first);
    std::uint8_t* ReadSingle(std::int64_t number);

    OpenStoreFile m_file;
    const std::int64_t m_length;
    const std::int64_t m_size;
    std::vector<std::uint8_t> m_block;
    std::int64_t m_first = 0; // record of the block
    std::int64_t m_blockEnd = 0; // and the one after the last of the block
    std::vector<std::uint8_t> m_single;
    std::int64_t m_next = 1; // the one after the last that was read from the file
};

} // namespace Agent
