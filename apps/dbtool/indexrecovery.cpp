// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "indexrecovery.h"

#include "report.h"
#include "store/bytes.h"
#include "store/indexfile.h"
#include "store/indexpage.h"

#include <algorithm>

namespace DbTool
{

namespace
{

bool IsZero(const std::uint8_t* begin, const std::uint8_t* end)
{
    return std::all_of(begin, end, [](std::uint8_t byte) { return byte == 0; });
}

// Deleted pages and fresh ones have nothing behind their first word.
bool IsEmpty(const std::uint8_t* bytes, int length)
{
    return IsZero(bytes + 4, bytes + length);
}

int Stride(int keyLength)
{
    return keyLength == longestKey ? int(sizeof(IndexItem)) : keyLength + 9;
}

// A page with too few items and something behind them once had more of them.
bool HasLostItems(const std::uint8_t* bytes, int keyLength)
{
    return bytes[0] < pageOrder
        && !IsZero(bytes + 8 + bytes[0] * Stride(keyLength), bytes + PackedLength(keyLength));
}

// Turns a page into a leaf, so that its items can be read where its children
// make no sense.
void ClearChildren(std::vector<std::uint8_t>* page, int keyLength)
{
    PutUint32(page->data() + 4, 0);
    for (int i = 0; i < pageItems; ++i)
        PutUint32(page->data() + 8 + i * Stride(keyLength) + 4, 0);
}

} // namespace

IndexRecovery::IndexRecovery(RecordFile& pages, int keyLength)
    : m_pages(pages), m_keyLength(keyLength),
      m_hasHeader(pages.ReadHeader(&m_header) && HasVersion(m_header)), m_isFree(pages.FreeChain())
{
}

IndexRecovery::Content IndexRecovery::ReadPage(std::uint32_t number, IndexPage* page)
{
    const std::uint8_t* const bytes = m_pages.Read(number);
    const int length = PackedLength(m_keyLength);
    if (!bytes || IsEmpty(bytes, length) || bytes[0] == 0 || bytes[0] > pageItems)
        return Content::Nothing;
    if (HasLostItems(bytes, m_keyLength))
        m_short.insert(number);
    if (UnpackPage(bytes, m_keyLength, m_pages.count(), page))
        return Content::Whole;
    std::vector<std::uint8_t> leaf(bytes, bytes + length);
    ClearChildren(&leaf, m_keyLength);
    const bool hasItems = UnpackPage(leaf.data(), m_keyLength, m_pages.count(), page);
    return hasItems ? Content::ItemsOnly : Content::Nothing;
}

bool IndexRecovery::IsEmptyPage(std::uint32_t number)
{
    const std::uint8_t* const bytes = m_pages.Read(number);
    return bytes && IsEmpty(bytes, PackedLength(m_keyLength));
}

void IndexRecovery::TakeItems(const IndexPage& page)
{
    for (int i = 1; i <= page.count; ++i) {
        const IndexItem& item = page.items[i];
        const bool isUnused = item.record == 0 && item.key[0] == 0;
        if (!isUnused && m_taken.emplace(item.key, item.record).second)
            m_entries.push_back({ item.key, item.record });
    }
}

void IndexRecovery::Follow(std::uint32_t number, int level)
{
    if (level > deepestTree || number >= m_pages.count() || m_isVisited[number]) {
        m_treeIsWhole = false;
        return;
    }
    IndexPage page;
    const Content content = ReadPage(number, &page);
    if (content != Content::Whole || m_short.count(number) > 0)
        m_treeIsWhole = false;
    if (content == Content::Nothing)
        return;
    m_isVisited[number] = true;
    m_levels = std::max(m_levels, level);
    ++m_pagesInTree;
    TakeItems(page);
    for (int i = 0; i <= page.count && page.leftmost != 0; ++i)
        Follow(page.Child(i), level + 1);
}

// Begins anew.
bool IndexRecovery::FollowFrom(std::uint32_t root)
{
    m_isVisited.assign(std::max(m_pages.count(), 1u), false);
    m_entries.clear();
    m_taken.clear();
    m_treeIsWhole = true;
    m_levels = 0;
    m_pagesInTree = 0;
    if (root != 0)
        Follow(root, 1);
    return m_treeIsWhole && IsEverythingTaken();
}

bool IndexRecovery::FollowHeader()
{
    return FollowFrom(m_hasHeader ? std::uint32_t(m_header.rootPage) : 0) && m_hasHeader;
}

// A page outside the tree is what an interrupted change left, with items that
// are in the tree too, but for those that were being deleted. Were a part of the
// tree missing, it would be 25 items at least, or, were it all, one.
bool IndexRecovery::IsEverythingTaken()
{
    int others = 0;
    for (std::uint32_t number = 1; number < m_pages.count(); ++number) {
        IndexPage page;
        if (m_isVisited[number] || m_isFree[number])
            continue;
        if (ReadPage(number, &page) == Content::Nothing) {
            if (!IsEmptyPage(number))
                return false;
            continue;
        }
        for (int i = 1; i <= page.count; ++i)
            others += m_taken.count({ page.items[i].key, page.items[i].record }) == 0;
    }
    return others < (m_pagesInTree == 0 ? 1 : pageOrder);
}

// The one page that is no other one's child, or 0.
std::uint32_t IndexRecovery::OnlyTop()
{
    std::vector<bool> isChild(std::max(m_pages.count(), 1u));
    std::vector<std::uint32_t> readable;
    for (std::uint32_t number = 1; number < m_pages.count(); ++number) {
        IndexPage page;
        if (m_isFree[number] || ReadPage(number, &page) != Content::Whole)
            continue;
        readable.push_back(number);
        for (int i = 0; i <= page.count; ++i)
            isChild[page.Child(i)] = true;
    }
    std::uint32_t top = 0;
    for (const std::uint32_t number : readable) {
        if (isChild[number])
            continue;
        if (top != 0)
            return 0;
        top = number;
    }
    return top;
}

void IndexRecovery::TakeOtherPages()
{
    for (std::uint32_t number = 1; number < m_pages.count(); ++number) {
        if (m_isVisited[number] || m_isFree[number])
            continue;
        IndexPage page;
        if (ReadPage(number, &page) != Content::Nothing) {
            TakeItems(page);
            continue;
        }
        if (!IsEmptyPage(number))
            m_losses.push_back("page " + Number(number) + " cannot be read; it may hold up to "
                               + Number(pageItems) + " items");
    }
}

void IndexRecovery::TellShortPages()
{
    for (const std::uint32_t number : m_short)
        m_losses.push_back("page " + Number(number)
                           + " has fewer items than it must have, and seems to have lost some");
}

bool IndexRecovery::IsCutOff(std::string* why)
{
    if (!m_hasHeader)
        *why = "the header cannot be read, and nothing else tells whether pages are missing at "
               "the end of the file";
    else if (m_header.recordCount > std::int32_t(m_pages.count()))
        *why = "the header counts " + Count(m_header.recordCount, "record") + ", the file has only "
            + Number(m_pages.count());
    else if (m_pages.rest() > 0)
        *why = "the last page is not whole";
    return !why->empty();
}

RecoveredIndex IndexRecovery::Run()
{
    if (FollowHeader())
        return { std::move(m_entries), true, {} };
    const std::uint32_t top = OnlyTop();
    if (top != 0 && FollowFrom(top))
        return { std::move(m_entries), true, {} };
    TakeOtherPages();
    TellShortPages();
    std::string why;
    if (IsCutOff(&why))
        m_losses.push_back(why);
    return { std::move(m_entries), false, std::move(m_losses) };
}

} // namespace DbTool
