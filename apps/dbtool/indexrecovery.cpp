// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "indexrecovery.h"

#include "indexpages.h"
#include "report.h"

#include <algorithm>
#include <map>

using namespace Agent;

namespace DbTool
{

namespace
{

std::vector<IndexEntry> ItemsOf(const IndexPage& page)
{
    std::vector<IndexEntry> items;
    for (int i = 1; i <= page.count; ++i)
        if (!IsUnused(page.items[i]))
            items.push_back({ page.items[i].key, page.items[i].record });
    return items;
}

// If some links are invalid, the majority decides: a leaf has none.
bool IsLeaf(const IndexPage& page)
{
    int children = page.leftmost != 0;
    int places = 1;
    for (int i = 1; i <= page.count; ++i) {
        children += page.items[i].child != 0;
        places += !IsUnused(page.items[i]);
    }
    return 2 * children < places;
}

// The number of invalid links: any link in a leaf, and in an inner page a missing one or
// one that leads out of the file. Such a slot is not as it was written.
int CountMisfits(const IndexPage& page, std::uint32_t pages)
{
    const bool isLeaf = IsLeaf(page);
    const auto fits = [isLeaf, pages](std::uint32_t child) {
        return isLeaf ? child == 0 : child != 0 && child < pages;
    };
    int misfits = !fits(page.leftmost);
    for (int i = 1; i <= page.count; ++i)
        misfits += !fits(page.items[i].child);
    return misfits;
}

} // namespace

IndexRecovery::IndexRecovery(RecordFile& file, int keyLength)
    : m_file(file), m_pages(file, keyLength),
      m_hasHeader(file.ReadHeader(&m_header) && HasVersion(m_header))
{
}

// The tree is used only if it is provably complete. Otherwise its links cannot be trusted:
// every page in the file is read by itself, the items are sorted, and LeafRow shows from
// their order where some are missing. That brings back items of pages that the tree no
// longer reaches, and perhaps some that were deleted recently.
RecoveredIndex IndexRecovery::Run()
{
    const std::vector<bool> isFree = m_file.FreeChain();
    TreeWalk tree(m_pages, isFree);
    RecoveredIndex found;
    if (m_hasHeader && tree.Run(std::uint32_t(m_header.rootPage)))
        found = { tree.TakeEntries(), true, {}, 0, {} };
    else
        found = GatherPages();
    AddWhatFollows(&found);
    return found;
}

RecoveredIndex IndexRecovery::GatherPages()
{
    RecoveredIndex found{};
    LeafRow row;
    for (std::uint32_t number = 1; number < m_pages.Count(); ++number)
        GatherPage(number, &row, &found);
    LeafRow::Gaps gaps = row.Run();
    found.entries = row.TakeEntries();
    found.lost += gaps.items;
    found.losses.insert(found.losses.end(), gaps.gaps.begin(), gaps.gaps.end());
    found.doubts.insert(found.doubts.end(), gaps.doubts.begin(), gaps.doubts.end());
    AddCut(row.LeafCount(), &found);
    return found;
}

void IndexRecovery::GatherPage(std::uint32_t number, LeafRow* row, RecoveredIndex* found)
{
    IndexPage page;
    const IndexPages::Content content = m_pages.Read(number, &page);
    if (content == IndexPages::Content::Empty)
        return;
    if (content == IndexPages::Content::Unreadable) {
        AddUnreadable(number, found);
        return;
    }
    const std::vector<IndexEntry> items = ItemsOf(page);
    AddShort(number, page.count, int(items.size()), found);
    row->AddPage(number, IsLeaf(page), items);
    if (const int misfits = CountMisfits(page, m_pages.Count()); misfits > 0)
        found->doubts.push_back("page " + Number(number) + " has " + Count(misfits, "link")
                                + " to pages that cannot be: the items beside them may be damaged");
}

void IndexRecovery::AddUnreadable(std::uint32_t number, RecoveredIndex* found)
{
    std::string text = "page " + Number(number) + " cannot be read; it may hold up to "
        + Number(pageItems) + " items";
    const std::vector<IndexEntry> slots = m_pages.Slots(number, 1);
    if (!slots.empty())
        text += ", perhaps " + Names(slots);
    found->losses.push_back(text);
}

void IndexRecovery::AddShort(std::uint32_t number, int claimed, int real, RecoveredIndex* found)
{
    const std::string name = "page " + Number(number);
    // Either the count is wrong or items are gone; nothing shows which.
    if (real < claimed)
        found->losses.push_back(name + " counts " + Count(claimed, "item") + " and has only "
                                + Number(real));
    if (m_pages.HasLostItems(number)) {
        std::string text = name + " has fewer items than it must have, and seems to have lost some";
        const std::vector<IndexEntry> slots = m_pages.Slots(number, claimed + 1);
        if (!slots.empty())
            text += ": " + Names(slots);
        found->losses.push_back(text);
        found->lost += std::int64_t(slots.size());
    }
}

// The items in the slots after a page's last item that continue its order and are in no
// other page. Either the page's count is damaged, or an older program left them there when
// it deleted them; nothing shows which.
std::vector<IndexEntry> IndexRecovery::FittingSlots(std::uint32_t number, const IndexPage& page,
                                                    const std::vector<IndexEntry>& entries)
{
    std::vector<IndexEntry> fitting;
    IndexEntry last{ page.items[page.count].key, page.items[page.count].record };
    const auto next = std::upper_bound(entries.begin(), entries.end(), last, Before);
    for (const IndexEntry& slot : m_pages.Slots(number, page.count + 1)) {
        if (!Before(last, slot) || (next != entries.end() && !Before(slot, *next)))
            break;
        fitting.push_back(slot);
        last = slot;
    }
    return fitting;
}

void IndexRecovery::AddWhatFollows(RecoveredIndex* found)
{
    for (std::uint32_t number = 1; number < m_pages.Count(); ++number) {
        IndexPage page;
        const IndexPages::Content content = m_pages.Read(number, &page);
        const bool hasItems
            = content == IndexPages::Content::Whole || content == IndexPages::Content::ItemsOnly;
        if (!hasItems || m_pages.HasLostItems(number) || !IsLeaf(page))
            continue;
        const std::vector<IndexEntry> more = FittingSlots(number, page, found->entries);
        if (more.empty())
            continue;
        found->losses.push_back("page " + Number(number) + " counts " + Count(page.count, "item")
                                + ", but what follows them would fit: " + Names(more));
        found->lost += std::int64_t(more.size());
    }
}

// Whether pages may be missing at the end of the file.
void IndexRecovery::AddCut(std::size_t leaves, RecoveredIndex* found) const
{
    if (!m_hasHeader) {
        // A tree of several leaves without a gap is complete.
        if (leaves < 2 || !found->losses.empty())
            found->losses.push_back("the header cannot be read, and nothing else shows whether "
                                    "pages are missing at the end of the file");
        return;
    }
    if (m_header.recordCount > std::int32_t(m_pages.Count()))
        found->losses.push_back("the header counts " + Count(m_header.recordCount, "record")
                                + ", the file has only " + Number(m_pages.Count()));
    else if (m_file.Rest() > 0)
        found->losses.push_back("the last page is not whole");
    if (found->entries.empty() && m_header.rootPage != 0)
        found->losses.push_back("the header has a root page, but no item can be read");
}

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
