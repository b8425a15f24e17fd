// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/recordreader.h"

#include "db/dblayouts.h"

#include <algorithm>
#include <fcntl.h>

namespace
{

constexpr std::int32_t perBlock = 256;

} // namespace

RecordReader::RecordReader(const std::string& folder, const DbLayout& layout,
                           std::vector<TextField> texts)
    : m_file((folder + layout.fileName).c_str(), O_RDONLY, 0), m_length(layout.recordLength),
      m_texts(std::move(texts))
{
    struct stat status;
    m_readable = m_file && storeFiles().Status(m_file.descriptor(), &status) == 0
        && S_ISREG(status.st_mode);
    if (m_readable)
        m_count = std::int32_t(std::min<std::int64_t>(m_file.Size() / m_length, INT32_MAX));
}

const std::uint8_t* RecordReader::Live(std::int32_t number)
{
    if (number < 1 || number >= m_count)
        return nullptr;
    const std::int32_t first = number / perBlock * perBlock;
    if (first != m_first && !Load(first))
        return nullptr;
    std::uint8_t* const record
        = m_block.data() + std::size_t(number - first) * std::size_t(m_length);
    if (!IsLive(record))
        return nullptr;
    for (const TextField text : m_texts)
        EndText(record, text);
    return record;
}

bool RecordReader::Load(std::int32_t first)
{
    const std::int32_t records = std::min(perBlock, m_count - first);
    m_block.resize(std::size_t(records) * std::size_t(m_length));
    const bool read = m_file.ReadAt(off_t(first) * m_length, m_block.data(), m_block.size());
    m_first = read ? first : -1;
    return read;
}
