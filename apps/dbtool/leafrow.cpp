// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "leafrow.h"

#include "indexpages.h"
#include "report.h"

#include <algorithm>
#include <map>

using namespace Agent;

namespace DbTool
{

void LeafRow::AddPage(std::uint32_t number, bool isLeaf, const std::vector<IndexEntry>& items)
{
    m_leafCount += isLeaf;
    const auto notBefore = [](const IndexEntry& a, const IndexEntry& b) { return !Before(a, b); };
    if (std::adjacent_find(items.begin(), items.end(), notBefore) != items.end())
        m_disordered.insert(number);
    for (const IndexEntry& item : items)
        m_places.push_back({ item, isLeaf ? number : 0 });
}

// Makes one entry of all places with the same item.
void LeafRow::Sort()
{
    std::sort(m_places.begin(), m_places.end(), [](const Place& a, const Place& b) {
        if (Before(a.entry, b.entry) || Before(b.entry, a.entry))
            return Before(a.entry, b.entry);
        return a.entry.key != b.entry.key ? a.entry.key < b.entry.key : a.leaf < b.leaf;
    });
    for (Place& place : m_places) {
        const bool isNew = m_entries.empty() || m_entries.back().record != place.entry.record
            || m_entries.back().key != place.entry.key;
        if (isNew) {
            m_entries.push_back(std::move(place.entry));
            m_leaves.emplace_back();
        }
        if (place.leaf != 0)
            m_leaves.back().push_back(place.leaf);
    }
    m_places.clear();
}

bool LeafRow::ShareLeaf(std::size_t a, std::size_t b) const
{
    const Leaves& other = m_leaves[b];
    return std::any_of(m_leaves[a].begin(), m_leaves[a].end(), [&other](std::uint32_t leaf) {
        return std::find(other.begin(), other.end(), leaf) != other.end();
    });
}

std::string LeafRow::Name(std::size_t rank) const
{
    return "'" + Escaped(m_entries[rank].key) + "'";
}

// The items of a leaf are next to each other in the row. If they are not, the leaf has a
// damaged key, or is mixed from two pages, or another page's damaged key is between them.
// A page with items out of order is reported as well: damage may have made some of them
// equal, which the row does not show.
void LeafRow::FindDoubts(Gaps* found) const
{
    struct Stretch {
        std::size_t last;
        bool isBroken;
    };
    std::map<std::uint32_t, Stretch> stretches;
    for (std::size_t rank = 0; rank < m_leaves.size(); ++rank)
        for (const std::uint32_t leaf : m_leaves[rank]) {
            const auto [at, isNew] = stretches.try_emplace(leaf, Stretch{ rank, false });
            at->second.isBroken = at->second.isBroken || (!isNew && at->second.last + 1 < rank);
            at->second.last = rank;
        }
    std::set<std::uint32_t> doubtful = m_disordered;
    for (const auto& [leaf, stretch] : stretches)
        if (stretch.isBroken)
            doubtful.insert(leaf);
    for (const std::uint32_t page : doubtful)
        found->doubts.push_back("the items of page " + Number(page)
                                + " do not follow each other: a key in it or between them may be "
                                  "damaged");
}

// Reports what is missing before the item `next`; the index after the last item means the
// end of the row. A leaf has to be between two inner items, and at both ends of the row.
void LeafRow::Compare(std::size_t next, Gaps* found) const
{
    const bool isFirst = next == 0;
    const bool isEnd = next == m_entries.size();
    const bool noLeafBefore = isFirst || m_leaves[next - 1].empty();
    const bool noLeafAfter = isEnd || m_leaves[next].empty();
    const std::string where = isFirst ? "before " + Name(next)
        : isEnd                       ? "after " + Name(next - 1)
                                      : "between " + Name(next - 1) + " and " + Name(next);
    if (noLeafBefore && noLeafAfter) {
        found->gaps.push_back("the items of at least one page " + where + ", " + Number(pageOrder)
                              + " or more");
        found->items += pageOrder;
    } else if (!noLeafBefore && !noLeafAfter && !ShareLeaf(next - 1, next)) {
        found->gaps.push_back("at least one item " + where);
        ++found->items;
    }
}

LeafRow::Gaps LeafRow::Run()
{
    Gaps found;
    Sort();
    FindDoubts(&found);
    for (std::size_t next = 0; !m_entries.empty() && next <= m_entries.size(); ++next)
        Compare(next, &found);
    return found;
}

} // namespace DbTool
