// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "indexpages.h"

#include "recordfile.h"
#include "report.h"
#include "store/bytes.h"
#include "store/indexfile.h"
#include "store/indexpage.h"

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
    if (UnpackPage(bytes, m_keyLength, m_file.Count(), page))
        return Content::Whole;
    // The links are invalid, but the items may be sound: read the page as a leaf, without
    // links. The links are restored then, since they show whether it really is one.
    std::vector<std::uint8_t> leaf(bytes, bytes + length);
    PutUint32(leaf.data() + 4, 0);
    for (int i = 0; i < pageItems; ++i)
        PutUint32(leaf.data() + 8 + i * Stride() + 4, 0);
    if (!UnpackPage(leaf.data(), m_keyLength, m_file.Count(), page))
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

TreeWalk::TreeWalk(IndexPages& pages, const std::vector<bool>& isFree)
    : m_pages(pages), m_isFree(isFree), m_isVisited(std::max(pages.Count(), 1u))
{
}

bool TreeWalk::Run(std::uint32_t root)
{
    if (root != 0)
        Follow(root, 1);
    return m_isWhole && IsEverythingTaken();
}

void TreeWalk::Follow(std::uint32_t number, int level)
{
    IndexPage page;
    const bool isThere = level <= deepestTree && number > 0 && number < m_pages.Count()
        && !m_isVisited[number] && m_pages.Read(number, &page) == IndexPages::Content::Whole;
    if (!isThere || m_pages.HasLostItems(number))
        m_isWhole = false;
    if (!isThere)
        return;
    m_isVisited[number] = true;
    m_levels = std::max(m_levels, level);
    ++m_pageCount;
    const bool isLeaf = page.leftmost == 0;
    if (isLeaf && m_leafLevel == 0)
        m_leafLevel = level;
    if (isLeaf && m_leafLevel != level)
        m_isWhole = false;
    for (int i = 0; i <= page.count; ++i) {
        if (i > 0)
            TakeItem(page.items[i]);
        if (!isLeaf)
            Follow(page.Child(i), level + 1);
    }
}

void TreeWalk::TakeItem(const IndexItem& item)
{
    IndexEntry entry{ item.key, item.record };
    if (IsUnused(item) || (!m_entries.empty() && !Before(m_entries.back(), entry)))
        m_isWhole = false;
    if (!IsUnused(item))
        m_entries.push_back(std::move(entry));
}

bool TreeWalk::HasItem(const IndexItem& item) const
{
    const IndexEntry entry{ item.key, item.record };
    const auto [first, last] = std::equal_range(m_entries.begin(), m_entries.end(), entry, Before);
    return std::any_of(first, last, [&entry](const IndexEntry& e) { return e.key == entry.key; });
}

// An interrupted change may leave a page outside the tree. Its items are in the tree too,
// except those that were being deleted. If instead a part of the tree were missing, at
// least 25 items would be outside; if the tree is empty, a single one.
bool TreeWalk::IsEverythingTaken()
{
    int others = 0;
    for (std::uint32_t number = 1; number < m_pages.Count(); ++number) {
        IndexPage page;
        if (m_isVisited[number] || m_isFree[number])
            continue;
        const IndexPages::Content content = m_pages.Read(number, &page);
        if (content == IndexPages::Content::Unreadable)
            return false;
        if (content == IndexPages::Content::Empty)
            continue;
        for (int i = 1; i <= page.count; ++i)
            others += !HasItem(page.items[i]);
    }
    return others < (m_pageCount == 0 ? 1 : pageOrder);
}

namespace
{

// The key lengths for which the file consists of whole pages.
std::vector<int> PossibleKeyLengths(std::int64_t fileSize)
{
    std::vector<int> lengths;
    for (int length = 1; length <= longestKey; ++length)
        if (fileSize > 0 && fileSize % PackedLength(length) == 0)
            lengths.push_back(length);
    return lengths;
}

// Whether the header counts as many pages as the file has. A new index counts none.
bool HeaderAgrees(const DataFileHeader& header, std::int64_t pages)
{
    return header.recordCount == pages || (header.recordCount == 0 && pages == 1);
}

// The lengths that the header confirms; without any, those with which the whole file is
// sound.
std::vector<int> BorneOut(const std::string& path, const std::vector<int>& lengths)
{
    RecordFile file(path, headerLength);
    DataFileHeader header;
    std::vector<int> agreed;
    std::vector<int> sound;
    for (const int length : lengths) {
        if (file.ReadHeader(&header)
            && HeaderAgrees(header, file.FileSize() / PackedLength(length)))
            agreed.push_back(length);
        else if (CheckIndex(path, length, true).empty())
            sound.push_back(length);
    }
    return agreed.empty() ? sound : agreed;
}

} // namespace

int KeyLengthOf(const std::string& path)
{
    const std::vector<int> possible = PossibleKeyLengths(RecordFile(path, headerLength).FileSize());
    const std::vector<int> sure = BorneOut(path, possible);
    if (sure.size() == 1)
        return sure.front();
    std::string text = "the key length cannot be determined from " + path + ": give --key-length";
    for (std::size_t i = 0; i < possible.size(); ++i)
        text += (i == 0 ? "; its size would fit " : ", ") + Number(possible[i]);
    throw WrongUsage(text);
}

} // namespace DbTool
