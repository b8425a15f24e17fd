// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/notesreader.h"

#include "db/dbrecord.h"

#include <algorithm>
#include <fcntl.h>

namespace Agent
{

namespace
{

constexpr std::int64_t windowLength = 1 << 17;

} // namespace

NotesReader::NotesReader(const std::string& path, StoreFiles& files)
    : m_heap(path.c_str(), O_RDONLY, 0, &files), m_size(m_heap ? m_heap.Size() : 0)
{
}

std::string_view NotesReader::View(std::int64_t offset)
{
    const std::uint8_t* const bytes = offset < 0 ? nullptr : At(offset, blockHeaderLength);
    if (!bytes)
        return {};
    const BlockHeader header{ bytes[0], bytes[1], std::uint16_t(bytes[2] | bytes[3] << 8),
                              GetInt32(bytes + 4) };
    if (header.status != blockInUse || !IsSoundBlock(header, offset, m_size)
        || TextLength(header) <= 0)
        return {};
    const auto length = std::size_t(TextLength(header));
    const std::uint8_t* const text = At(offset + blockHeaderLength, std::int64_t(length));
    return text ? std::string_view(reinterpret_cast<const char*>(text), length)
                : std::string_view();
}

// `length` bytes of the heap; null if there are fewer.
const std::uint8_t* NotesReader::At(std::int64_t offset, std::int64_t length)
{
    const bool isHere
        = offset >= m_first && offset + length <= m_first + std::int64_t(m_window.size());
    return isHere || Load(offset, length) ? m_window.data() + (offset - m_first) : nullptr;
}

bool NotesReader::Load(std::int64_t offset, std::int64_t length)
{
    const std::int64_t size = std::min(m_size - offset, std::max(length, windowLength));
    m_window.clear();
    if (size < length)
        return false;
    m_window.resize(std::size_t(size));
    m_first = offset;
    if (m_heap.ReadAt(off_t(offset), m_window.data(), m_window.size()))
        return true;
    m_window.clear();
    return false;
}

} // namespace Agent
