// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "treewalk.h"

#include "store/indexfile.h"

#include <algorithm>

using namespace Agent;

namespace DbTool
{

TreeWalk::TreeWalk(IndexPages& pages, const std::vector<bool>& isFree)
    : m_pages(pages), m_isFree(isFree), m_isVisited(std::max(pages.count(), 1u))
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
    const bool isThere = level <= deepestTree && number > 0 && number < m_pages.count()
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
    for (std::uint32_t number = 1; number < m_pages.count(); ++number) {
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

} // namespace DbTool
