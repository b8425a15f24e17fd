// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/recordblocks.h"

#include "store/datafile.h"

#include <algorithm>
#include <fcntl.h>

namespace Agent
{

namespace
{

constexpr std::int64_t blockLength = 1 << 20;
// A read at most this many records after the last one counts as following it: between the
// leaves of a tree there are other pages.
constexpr std::int64_t near = 8;

std::int64_t SizeOf(const OpenStoreFile& file)
{
    struct stat status;
    const bool isFile = file && file.Status(&status) == 0 && S_ISREG(status.st_mode);
    return isFile ? status.st_size : -1;
}

} // namespace

bool RecordBlocks::IsSameFile(const RecordBlocks& other) const
{
    struct stat ours, others;
    return m_file && other.m_file && m_file.Status(&ours) == 0 && other.m_file.Status(&others) == 0
        && ours.st_dev == others.st_dev && ours.st_ino == others.st_ino;
}

// Without O_NONBLOCK, a pipe in place of the file would block the program.
RecordBlocks::RecordBlocks(const std::string& path, int recordLength, StoreFiles* files)
    : m_file(path.c_str(), O_RDONLY | O_NONBLOCK, 0, files),
      m_length(std::max(recordLength, headerLength)), m_size(SizeOf(m_file))
{
}

std::uint8_t* RecordBlocks::Read(std::int64_t number)
{
    if (number < 0 || number >= Count())
        return nullptr;
    if (number >= m_first && number < m_blockEnd)
        return m_block.data() + std::size_t((number - m_first) * m_length);
    const bool follows = number >= m_next && number - m_next < near;
    std::uint8_t* const record = follows ? ReadBlock(number) : nullptr;
    return record ? record : ReadSingle(number);
}

// Null if any part of the block cannot be read; its records are then tried one by one.
std::uint8_t* RecordBlocks::ReadBlock(std::int64_t first)
{
    const std::int64_t records
        = std::min(std::max<std::int64_t>(blockLength / m_length, 1), Count() - first);
    m_block.resize(std::size_t(records * m_length));
    m_first = first;
    m_blockEnd = first;
    if (!m_file.ReadAt(first * m_length, m_block.data(), m_block.size()))
        return nullptr;
    m_next = m_blockEnd = first + records;
    return m_block.data();
}

std::uint8_t* RecordBlocks::ReadSingle(std::int64_t number)
{
    m_single.resize(std::size_t(m_length));
    m_next = number + 1;
    const bool done = m_file.ReadAt(number * m_length, m_single.data(), m_single.size());
    return done ? m_single.data() : nullptr;
}

} // namespace Agent
