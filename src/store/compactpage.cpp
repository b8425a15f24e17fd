// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/compactpage.h"

#include "store/soughtitem.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Agent
{

namespace
{

// Bytes are read and copied eight at a time, up to eight more than needed.
constexpr std::size_t step = wordSize;
// Up to this length, that stays within the key of an item.
constexpr std::size_t steppedLength = sizeof IndexItem::key - step;

// The key before the first one.
constexpr IndexItem noKey{};

// Extra space for later items when a leaf grows.
constexpr std::size_t slack = 64;

constexpr std::size_t cacheLine = 64;
// In heads; this is one KiB.
constexpr int usualLength = 128;

// Copies a part of a key of length `keyLength`. Usually it takes at most two steps, which
// need no call of memcpy.
void CopyKeyBytes(void* to, const void* from, std::size_t count, std::size_t keyLength)
{
    if (keyLength > steppedLength || count > 2 * step) {
        std::memcpy(to, from, count);
        return;
    }
    auto* target = static_cast<char*>(to);
    auto* source = static_cast<const char*>(from);
    std::memcpy(target, source, step);
    if (count > step)
        std::memcpy(target + step, source + step, step);
}

// Makes a key from the one before it, in whole words, since the processor stalls when it
// reads a word that was just written in parts.
void MakeKey(const char* before, int shared, const std::uint8_t* rest, int length, char* key)
{
    const int first = shared / int(step);
    const int last = (shared + length) / int(step);
    for (int word = 0; word < first; ++word)
        PutWord(key + word * int(step), GetWord(before + word * int(step)));
    const auto kept = unsigned(shared) % step;
    std::uint64_t bytes
        = FirstBytes(GetWord(before + first * int(step)), kept) | GetWord(rest) << 8 * kept;
    for (int word = first; word < last; ++word) {
        PutWord(key + word * int(step), bytes);
        bytes = GetWord(rest + (word + 1) * int(step) - shared);
    }
    PutWord(key + last * int(step), FirstBytes(bytes, unsigned(shared + length) % step));
}

// The sort key at the beginning of a head: a longer shared prefix sorts first, then the
// first byte of the rest decides.
std::uint16_t MakeOrder(int shared, int first)
{
    return std::uint16_t((UINT8_MAX - shared) << 8 | first);
}

std::uint16_t MakeOrder(int shared, const std::uint8_t* rest, int length)
{
    return MakeOrder(shared, length > 0 ? FoldCase(char(*rest)) : 0);
}

} // namespace

// Copies heads to `to` and adds `more` bytes to the length of the rests up to each.
void CompactPage::MoveHeads(const Head* first, const Head* end, Head* to, int more)
{
    std::memmove(to, first, std::size_t(end - first) * sizeof(Head));
    for (Head* const last = to + (end - first); to != last; ++to)
        to->end = std::uint16_t(to->end + more);
}

int CompactPage::Shared(int item) const
{
    return UINT8_MAX - (m_heads[item].order >> 8);
}

int CompactPage::RestLength(int item) const
{
    return m_heads[item].end - m_heads[item - 1].end;
}

std::uint8_t* CompactPage::Rest(int item) const
{
    return RestsEnd() - m_heads[item].end;
}

// After it there is one step of padding, which is read together with the last bytes.
std::uint8_t* CompactPage::RestsEnd() const
{
    return reinterpret_cast<std::uint8_t*>(m_heads.get() + m_length) - step;
}

// In an inner page the children follow the heads.
std::uint8_t* CompactPage::Children() const
{
    return reinterpret_cast<std::uint8_t*>(m_heads.get() + m_count + 1);
}

// The child to the right of a position.
std::uint32_t CompactPage::Child(int position) const
{
    std::uint32_t child = 0;
    if (m_inner)
        std::memcpy(&child, Children() + std::size_t(position) * sizeof child, sizeof child);
    return child;
}

// Allocates the block for `count` items and `bytes` bytes in addition to their heads.
// False if there is no memory.
bool CompactPage::Allocate(int count, std::size_t bytes)
{
    const std::size_t length = std::size_t(count) + 1 + (bytes + step - 1) / sizeof(Head) + 1;
    std::unique_ptr<Head[]> heads(new (std::nothrow) Head[length]);
    if (!heads)
        return false;
    m_heads = std::move(heads);
    m_length = std::uint16_t(length);
    m_heads[0] = { 0, 0, 0 };
    std::memset(RestsEnd(), 0, step);
    return true;
}

CompactPage::CompactPage(const IndexPage& page) : m_count(page.count), m_inner(page.leftmost != 0)
{
    Head heads[pageItems + 1];
    heads[0] = { 0, 0, 0 };
    const char* before = noKey.key;
    for (int i = 1; i <= m_count; ++i) {
        const char* const key = page.items[i].key;
        const std::size_t shared = SharedLength(before, key);
        const std::size_t rest = LengthOfKey(key, shared) - shared;
        heads[i].order = MakeOrder(int(shared), FoldCase(key[shared]));
        heads[i].end = std::uint16_t(heads[i - 1].end + rest);
        heads[i].record = page.items[i].record;
        before = key;
    }
    const std::size_t children = m_inner ? (m_count + 1) * sizeof page.leftmost : 0;
    if (!Allocate(m_count, children + heads[m_count].end))
        return;
    std::copy(heads + 1, heads + m_count + 1, &m_heads[1]);
    // From the lowest rest on, since copying each also overwrites the beginning of the
    // next.
    for (int i = m_count; i > 0; --i) {
        const auto shared = std::size_t(Shared(i));
        const auto rest = std::size_t(RestLength(i));
        CopyKeyBytes(Rest(i), page.items[i].key + shared, rest, shared + rest);
    }
    for (int i = 0; i <= m_count && m_inner; ++i) {
        const std::uint32_t child = page.Child(i);
        std::memcpy(Children() + std::size_t(i) * sizeof child, &child, sizeof child);
    }
}

void CompactPage::Expand(IndexPage* page) const
{
    const Head* const heads = m_heads.get();
    const std::uint8_t* const restsEnd = RestsEnd();
    const int count = m_count;
    page->count = m_count;
    page->leftmost = Child(0);
    const char* before = noKey.key;
    for (int i = 1; i <= count; ++i) {
        IndexItem& item = page->items[i];
        item.record = heads[i].record;
        item.child = Child(i);
        MakeKey(before, Shared(i), restsEnd - heads[i].end, heads[i].end - heads[i - 1].end,
                item.key);
        before = item.key;
    }
}

PagePosition CompactPage::Search(const SoughtItem& wanted, int allowDuplicates) const
{
    const Head* const heads = m_heads.get();
    const int count = m_count;
    // The block is usually in none of the nearer processor caches. So all of it, if it
    // has the usual size, is prefetched at once, also for the change that may follow.
    for (int i = 0; i < std::min<int>(m_length, usualLength); i += int(cacheLine / sizeof(Head)))
        __builtin_prefetch(&heads[i]);
    SharedKeys below{ 0, 0 }; // shared with the item before
    int sharedAbove = 0;
    int item = 1;
    for (;; ++item) {
        // An item that shares more with the item before, or as much and then has a lower
        // byte, is below the wanted one, like that item.
        const int order = MakeOrder(below.folded, wanted.ByteAt(below.folded));
        while (item <= count && heads[item].order < order)
            ++item;
        if (item > count)
            break;
        SharedKeys with = below;
        const int result
            = wanted.CompareRest(Shared(item), heads[item].order & UINT8_MAX, Rest(item),
                                 RestLength(item), heads[item].record, allowDuplicates, &with);
        if (result == 0)
            return { true, item, heads[item].record, Child(item) };
        if (result < 0) {
            sharedAbove = with.exact;
            break;
        }
        below = with;
    }
    PagePosition at(false, item - 1, 0, Child(item - 1));
    at.sharedBelow = std::uint8_t(below.exact);
    at.sharedAbove = std::uint8_t(sharedAbove);
    return at;
}

// Ensures that a leaf has this many free bytes between the heads and the rests.
bool CompactPage::MakeRoom(int bytes)
{
    const std::size_t rests = m_heads[m_count].end;
    const std::size_t all = std::size_t(m_length) * sizeof(Head) - step;
    if (all >= (std::size_t(m_count) + 1) * sizeof(Head) + rests + std::size_t(bytes))
        return true;
    CompactPage larger;
    if (!larger.Allocate(m_count, rests + std::size_t(bytes) + slack))
        return false;
    std::copy(&m_heads[1], &m_heads[m_count + 1], &larger.m_heads[1]);
    std::memcpy(larger.RestsEnd() - rests, RestsEnd() - rests, rests);
    m_heads = std::move(larger.m_heads);
    m_length = larger.m_length;
    return true;
}

// Makes a gap for a new item after the one at `position`; `rest` is the length of its
// rest. The next item shares `taken` more bytes with the new item than with that one.
void CompactPage::MoveBehind(int position, int rest, int taken)
{
    const int next = position + 1;
    const int restOfNext = RestLength(next);
    const int grown = rest - taken;
    std::uint8_t* const behind = Rest(next);
    std::uint8_t* const lowest = Rest(m_count);
    std::memmove(lowest - grown, lowest, std::size_t(behind - lowest));
    std::memmove(behind - grown, behind + taken, std::size_t(restOfNext - taken));
    MoveHeads(&m_heads[next], &m_heads[m_count + 1], &m_heads[next + 1], grown);
    if (taken > 0)
        m_heads[next + 1].order
            = MakeOrder(Shared(next) + taken, behind - grown, restOfNext - taken);
}

bool CompactPage::InsertInLeaf(const PagePosition& at, const SoughtItem& item)
{
    const bool isLast = at.position == m_count;
    const int shared = isLast ? 0 : Shared(at.position + 1); // by the two keys on both sides
    // A key between two others shares at least as much with each of them as they share
    // with each other, except for the case of letters.
    if (!isLast && std::min(at.sharedBelow, at.sharedAbove) < shared)
        return Rebuild(at.position, item);
    const int below = at.sharedBelow;
    const int rest = item.length() - below;
    const int taken = isLast || below > shared ? 0 : at.sharedAbove - shared;
    if (!MakeRoom(int(sizeof(Head)) + rest - taken))
        return false;
    if (!isLast)
        MoveBehind(at.position, rest, taken);
    Head& head = m_heads[at.position + 1];
    head.order = MakeOrder(below, item.ByteAt(below));
    head.end = std::uint16_t(m_heads[at.position].end + rest);
    head.record = item.record();
    std::memcpy(Rest(at.position + 1), item.exactKey() + below, std::size_t(rest));
    ++m_count;
    return true;
}

bool CompactPage::Rebuild(int position, const SoughtItem& item)
{
    IndexPage page;
    Expand(&page);
    InsertItem(&page, position, item.Item());
    CompactPage rebuilt(page);
    if (!rebuilt)
        return false;
    *this = std::move(rebuilt);
    return true;
}

void CompactPage::RemoveFromLeaf(int position)
{
    if (position < m_count) {
        // The next key took a part of its prefix from this one.
        const int next = position + 1;
        const int restOfNext = RestLength(next);
        const int kept = std::max(Shared(next) - Shared(position), 0);
        const int shrunk = RestLength(position) - kept;
        std::uint8_t beginning[longestKey];
        std::memcpy(beginning, Rest(position), std::size_t(kept));
        std::uint8_t* const behind = Rest(next);
        std::uint8_t* const lowest = Rest(m_count);
        std::memmove(behind + shrunk + kept, behind, std::size_t(restOfNext));
        std::memcpy(behind + shrunk, beginning, std::size_t(kept));
        std::memmove(lowest + shrunk, lowest, std::size_t(behind - lowest));
        const int shared = Shared(next) - kept;
        MoveHeads(&m_heads[next], &m_heads[m_count + 1], &m_heads[position], -shrunk);
        m_heads[position].order = MakeOrder(shared, behind + shrunk, restOfNext + kept);
    }
    --m_count;
}

IndexItem CompactPage::ItemOfLeaf(int position) const
{
    IndexItem item{ m_heads[position].record, 0, {} };
    int missing = Shared(position) + RestLength(position); // bytes of the key still missing
    for (int i = position; missing > 0; --i) {
        const int shared = Shared(i);
        if (shared < missing)
            std::memcpy(item.key + shared, Rest(i), std::size_t(missing - shared));
        missing = std::min(missing, shared);
    }
    return item;
}

// With extra space, since the halves of a split leaf grow. Null if there is no memory.
CompactPage CompactPage::PartOfLeaf(int first, int last) const
{
    const IndexItem firstItem = ItemOfLeaf(first);
    const int firstLength = Shared(first) + RestLength(first);
    const int others = m_heads[last].end - m_heads[first].end;
    const int count = last - first + 1;
    CompactPage part;
    if (!part.Allocate(count, std::size_t(firstLength + others) + slack))
        return part;
    part.m_count = std::uint8_t(count);
    MoveHeads(&m_heads[first], &m_heads[last + 1], &part.m_heads[1],
              firstLength - m_heads[first].end);
    part.m_heads[1].order = MakeOrder(0, FoldCase(firstItem.key[0]));
    std::memcpy(part.Rest(1), firstItem.key, std::size_t(firstLength));
    std::memcpy(part.Rest(count), Rest(last), std::size_t(others));
    return part;
}

bool CompactPage::SplitLeaf(int position, const SoughtItem& item, int allowDuplicates,
                            CompactPage* lower, CompactPage* upper, IndexItem* middle) const
{
    constexpr int half = pageOrder;
    const int lastOfLower = position < half ? half - 1 : half;
    const int firstOfUpper = position > half ? half + 2 : half + 1;
    *lower = PartOfLeaf(1, lastOfLower);
    *upper = PartOfLeaf(firstOfUpper, m_count);
    if (!*lower || !*upper)
        return false;
    *middle = position == half ? item.Item() : ItemOfLeaf(position < half ? half : half + 1);
    if (position == half)
        return true;
    CompactPage* const grown = position < half ? lower : upper;
    return grown->InsertInLeaf(grown->Search(item, allowDuplicates), item);
}

} // namespace Agent
