// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/recordreader.h"

#include "db/dblayouts.h"

#include <algorithm>

namespace Agent
{

RecordReader::RecordReader(const std::string& folder, const DbLayout& layout,
                           std::vector<TextField> texts)
    : m_blocks(folder + layout.fileName, layout.recordLength), m_texts(std::move(texts))
{
}

std::int32_t RecordReader::Count() const
{
    return std::int32_t(std::min<std::int64_t>(m_blocks.count(), INT32_MAX));
}

const std::uint8_t* RecordReader::Live(std::int32_t number)
{
    std::uint8_t* const record = number > 0 && number < Count() ? m_blocks.Read(number) : nullptr;
    if (!record || !IsLive(record))
        return nullptr;
    for (const TextField text : m_texts)
        EndText(record, text);
    return record;
}

} // namespace Agent
