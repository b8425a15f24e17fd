// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "indexpages.h"

#include "report.h"
#include "store/bytes.h"

#include <algorithm>
#include <cstring>

using namespace Agent;

namespace DbTool
{

namespace
{

bool IsZero(const std::uint8_t* begin, const std::uint8_t* end)
{
    return std::all_of(begin, end, [](std::uint8_t byte) { return byte == 0; });
}

} // namespace

IndexPages::IndexPages(RecordFile& file, int keyLength) : m_file(file), m_keyLength(keyLength)
{
    if (const std::uint8_t* const bytes = file.Read(0))
        m_header.assign(bytes, bytes + headerLength);
}

int IndexPages::Stride() const
{
    return m_keyLength == longestKey ? int(sizeof(IndexItem)) : m_keyLength + 9;
}

bool IndexPages::IsHeader(const std::uint8_t* bytes) const
{
    return std::equal(m_header.begin(), m_header.end(), bytes);
}

IndexPages::Content IndexPages::Read(std::uint32_t number, IndexPage* page)
{
    const std::uint8_t* const bytes = m_file.Read(number);
    const int length = PackedLength(m_keyLength);
    if (!bytes)
        return Content::Unreadable;
    // Deleted and unused pages are zero after their first word.
    if (IsZero(bytes + 4, bytes + length))
        return Content::Empty;
    if (bytes[0] == 0 || bytes[0] > pageItems || IsHeader(bytes))
        return Content::Unreadable;
    if (UnpackPage(bytes, m_keyLength, m_file.count(), page))
        return Content::Whole;
    // The links are invalid, but the items may be sound: read the page as a leaf, without
    // links. The links are restored then, since they show whether it really is one.
    std::vector<std::uint8_t> leaf(bytes, bytes + length);
    PutUint32(leaf.data() + 4, 0);
    for (int i = 0; i < pageItems; ++i)
        PutUint32(leaf.data() + 8 + i * Stride() + 4, 0);
    if (!UnpackPage(leaf.data(), m_keyLength, m_file.count(), page))
        return Content::Unreadable;
    page->leftmost = GetUint32(bytes + 4);
    for (int i = 1; i <= page->count; ++i)
        page->items[i].child = GetUint32(bytes + 8 + (i - 1) * Stride() + 4);
    return Content::ItemsOnly;
}

std::vector<IndexEntry> IndexPages::Slots(std::uint32_t number, int first)
{
    std::vector<IndexEntry> entries;
    const std::uint8_t* const bytes = m_file.Read(number);
    for (int slot = first; bytes && slot <= pageItems; ++slot) {
        const int offset = 8 + (slot - 1) * Stride();
        const int room = std::min(m_keyLength + 1, PackedLength(m_keyLength) - offset - 8);
        const auto* const key = reinterpret_cast<const char*>(bytes) + offset + 8;
        const std::string text(key, strnlen(key, std::size_t(room)));
        const std::uint32_t record = GetUint32(bytes + offset);
        if (record != 0 && !text.empty() && int(text.size()) <= m_keyLength)
            entries.push_back({ text, record });
    }
    return entries;
}

bool IndexPages::HasLostItems(std::uint32_t number)
{
    const std::uint8_t* const bytes = m_file.Read(number);
    return bytes && bytes[0] < pageOrder
        && !IsZero(bytes + 8 + bytes[0] * Stride(), bytes + PackedLength(m_keyLength));
}

bool Before(const IndexEntry& a, const IndexEntry& b)
{
    return tacompkeys(a.key.c_str(), b.key.c_str(), a.record, b.record, 1) < 0;
}

std::string Names(const std::vector<IndexEntry>& entries)
{
    std::string text;
    for (std::size_t i = 0; i < entries.size(); ++i)
        text += (i == 0 ? "'" : ", '") + Escaped(entries[i].key) + "'";
    return text;
}

} // namespace DbTool
