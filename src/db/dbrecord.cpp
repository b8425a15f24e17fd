// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/dbrecord.h"

#include "db/dblayouts.h"
#include "store/indexpage.h"

#include <algorithm>
#include <cstring>

namespace Agent
{

std::size_t CutLength(const char* text, std::size_t most)
{
    const std::size_t length = strnlen(text, most + 1);
    if (length <= most)
        return length;
    const auto isInside = [text](std::size_t at) { return (text[at] & 0xc0) == 0x80; };
    std::size_t cut = most;
    while (cut > 0 && most - cut < 3 && isInside(cut))
        --cut;
    // Nothing begins that far back: the text is in another encoding.
    return isInside(cut) ? most : cut;
}

const char* SetText(std::uint8_t* record, TextField field, const char* text)
{
    std::uint8_t* const to = record + field.offset;
    const auto width = std::size_t(field.width);
    const std::size_t length = text ? CutLength(text, width - 1) : 0;
    if (length > 0)
        std::memmove(to, text, length);
    std::memset(to + length, 0, width - length);
    return GetText(record, field);
}

void EndText(std::uint8_t* record, TextField field)
{
    record[field.offset + field.width - 1] = 0;
}

bool SameText(const char* a, const char* b)
{
    return tacompkeys(a, b, 0, 0, 0) == 0;
}

RecordReader::RecordReader(const std::string& folder, const DbLayout& layout,
                           std::vector<TextField> texts, StoreFiles* files)
    : m_blocks(folder + layout.fileName, layout.recordLength, files), m_texts(std::move(texts))
{
}

std::int32_t RecordReader::Count() const
{
    return std::int32_t(std::min<std::int64_t>(m_blocks.Count(), INT32_MAX));
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
