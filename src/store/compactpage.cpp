// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/compactpage.h"

#include "store/soughtitem.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace
{

// Bytes are read and copied eight at a time, up to seven more than asked for.
constexpr std::size_t step = wordSize;
// Up to here that stays within the key of an item.
constexpr std::size_t steppedLength = sizeof IndexItem::key - step;

constexpr std::size_t leftmostLength = 4;
// The number of bytes shared with the key before, that of the rest, the record.
constexpr int leafHead = 1 + 1 + 4;
// The child behind them.
constexpr int innerHead = leafHead + 4;

// What a page that grows gets for the items to come.
constexpr int slack = 64;

void CopyStepped(void* to, const void* from, std::size_t count)
{
    auto* target = static_cast<char*>(to);
    auto* source = static_cast<const char*>(from);
    for (std::size_t done = 0; done < count; done += step)
        std::memcpy(target + done, source + done, step);
}

void Put(std::uint8_t* bytes, std::uint32_t value)
{
    std::memcpy(bytes, &value, sizeof value);
}

std::uint32_t Get(const std::uint8_t* bytes)
{
    std::uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

// ---- a head ----

int Shared(const std::uint8_t* head)
{
    return head[0];
}

int Rest(const std::uint8_t* head)
{
    return head[1];
}

std::uint32_t Record(const std::uint8_t* head)
{
    return Get(head + 2);
}

void PutLengths(std::uint8_t* head, int shared, int rest)
{
    head[0] = std::uint8_t(shared);
    head[1] = std::uint8_t(rest);
}

// A part of a key that has that length, from or to the key of an item.
void CopyKeyBytes(void* to, const void* from, std::size_t count, std::size_t keyLength)
{
    if (keyLength <= steppedLength)
        CopyStepped(to, from, count);
    else
        std::memcpy(to, from, count);
}

// Makes a key of that of the item before it.
void MakeKey(const char* before, const std::uint8_t* head, const std::uint8_t* rests, char* key)
{
    const auto shared = std::size_t(Shared(head));
    const auto rest = std::size_t(Rest(head));
    CopyKeyBytes(key, before, shared, shared + rest);
    CopyKeyBytes(key + shared, rests, rest, shared + rest);
    key[shared + rest] = 0;
}

} // namespace

std::size_t CompactPage::HeadLength() const
{
    return m_inner ? innerHead : leafHead;
}

std::uint8_t* CompactPage::Head(int item) const
{
    return m_bytes.get() + (m_inner ? leftmostLength : 0) + std::size_t(item - 1) * HeadLength();
}

// Behind it is a step that is read with the last bytes.
std::uint8_t* CompactPage::RestsEnd() const
{
    return m_bytes.get() + m_size - step;
}

// Where the rests of the items up to `position` begin.
std::uint8_t* CompactPage::RestsUpTo(int position) const
{
    const std::size_t headLength = HeadLength();
    const std::uint8_t* head = Head(1);
    std::uint8_t* rests = RestsEnd();
    for (int i = 1; i <= position; ++i, head += headLength)
        rests -= Rest(head);
    return rests;
}

CompactPage::CompactPage(const IndexPage& page) : m_count(page.count), m_inner(page.leftmost != 0)
{
    std::uint8_t shared[pageItems + 1];
    std::uint8_t rest[pageItems + 1];
    const IndexItem none{};
    const char* before = none.key;
    for (int i = 1; i <= m_count; ++i) {
        const char* const key = page.items[i].key;
        const std::size_t common = SharedLength(before, key);
        shared[i] = std::uint8_t(common);
        rest[i] = std::uint8_t(LengthOfKey(key, common) - common);
        m_rests = std::uint16_t(m_rests + rest[i]);
        before = key;
    }
    const std::size_t heads = (m_inner ? leftmostLength : 0) + m_count * HeadLength();
    m_size = std::uint16_t(heads + m_rests + step);
    m_bytes.reset(new (std::nothrow) std::uint8_t[m_size]);
    if (!m_bytes)
        return;
    if (m_inner)
        Put(m_bytes.get(), page.leftmost);
    std::memset(RestsEnd(), 0, step);
    // From the lowest rest on, as each is copied over the beginning of the next.
    std::uint8_t* rests = RestsEnd() - m_rests;
    for (int i = m_count; i > 0; --i) {
        std::uint8_t* const head = Head(i);
        const IndexItem& item = page.items[i];
        PutLengths(head, shared[i], rest[i]);
        Put(head + 2, item.record);
        if (m_inner)
            Put(head + leafHead, item.child);
        CopyKeyBytes(rests, item.key + shared[i], rest[i], shared[i] + rest[i]);
        rests += rest[i];
    }
}

void CompactPage::Expand(IndexPage* page) const
{
    page->count = m_count;
    page->leftmost = Child(0);
    const std::size_t headLength = HeadLength();
    const std::uint8_t* head = Head(1);
    const std::uint8_t* rests = RestsEnd();
    const char* before = "";
    for (int i = 1; i <= m_count; ++i, head += headLength) {
        rests -= Rest(head);
        IndexItem& item = page->items[i];
        item.record = Record(head);
        item.child = m_inner ? Get(head + leafHead) : 0;
        MakeKey(before, head, rests, item.key);
        before = item.key;
    }
}

// Of an item; position 0 asks for the leftmost one.
std::uint32_t CompactPage::Child(int position) const
{
    if (!m_inner)
        return 0;
    return Get(position == 0 ? m_bytes.get() : Head(position) + leafHead);
}

PagePosition CompactPage::Search(const SoughtItem& wanted, int allowDuplicates) const
{
    const std::size_t headLength = HeadLength();
    const std::uint8_t* head = Head(1);
    const std::uint8_t* rests = RestsEnd();
    SharedKeys below{ 0, 0 }; // with the item before
    int sharedAbove = 0;
    int position = 0;
    for (; position < m_count; ++position, head += headLength) {
        rests -= Rest(head);
        // What has more in common with the item before is below like that one.
        if (Shared(head) > below.folded)
            continue;
        SharedKeys with = below;
        const int order = wanted.CompareRest(Shared(head), rests, Rest(head), Record(head),
                                             allowDuplicates, &with);
        if (order == 0)
            return { true, position + 1, Record(head), Child(position + 1) };
        if (order < 0) {
            sharedAbove = with.exact;
            break;
        }
        below = with;
    }
    PagePosition at(false, position, 0, Child(position));
    at.sharedBelow = std::uint8_t(below.exact);
    at.sharedAbove = std::uint8_t(sharedAbove);
    return at;
}

// Makes so many bytes free, between the heads and the rests.
bool CompactPage::MakeRoom(int bytes)
{
    const std::uint8_t* const rests = RestsEnd() - m_rests;
    const std::size_t heads = std::size_t(Head(m_count + 1) - m_bytes.get());
    if (rests - Head(m_count + 1) >= bytes)
        return true;
    const std::size_t size = heads + m_rests + step + std::size_t(bytes + slack);
    std::unique_ptr<std::uint8_t[]> larger(new (std::nothrow) std::uint8_t[size]);
    if (!larger)
        return false;
    std::memcpy(larger.get(), m_bytes.get(), heads);
    std::memcpy(larger.get() + size - step - m_rests, rests, m_rests + step);
    m_bytes = std::move(larger);
    m_size = std::uint16_t(size);
    return true;
}

// Makes a gap for an item with a rest of that length behind the one at
// `position`, where the rests up to there begin. The next item shares `taken`
// bytes more with it than with that one.
void CompactPage::MoveBehind(int position, std::uint8_t* rests, int rest, int taken)
{
    std::uint8_t* const next = Head(position + 1);
    const int restOfNext = Rest(next);
    std::uint8_t* const behind = rests - restOfNext;
    std::uint8_t* const lowest = RestsEnd() - m_rests;
    std::memmove(lowest - rest + taken, lowest, std::size_t(behind - lowest));
    std::memmove(behind - rest + taken, behind + taken, std::size_t(restOfNext - taken));
    PutLengths(next, Shared(next) + taken, restOfNext - taken);
    std::memmove(next + leafHead, next, std::size_t(m_count - position) * leafHead);
}

bool CompactPage::InsertInLeaf(const PagePosition& at, const IndexItem& item)
{
    const bool isLast = at.position == m_count;
    const int shared = isLast ? 0 : Shared(Head(at.position + 1)); // by the two keys around it
    // Keys in order have no less in common with those between them, but for the
    // case of their letters.
    if (!isLast && std::min(at.sharedBelow, at.sharedAbove) < shared)
        return Rebuild(at.position, item);
    const std::size_t below = at.sharedBelow;
    const int rest = int(LengthOfKey(item.key, below) - below);
    const int taken = isLast || at.sharedBelow > shared ? 0 : at.sharedAbove - shared;
    if (!MakeRoom(leafHead + rest - taken))
        return false;
    std::uint8_t* const rests = RestsUpTo(at.position);
    if (!isLast)
        MoveBehind(at.position, rests, rest, taken);
    std::uint8_t* const head = Head(at.position + 1);
    PutLengths(head, at.sharedBelow, rest);
    Put(head + 2, item.record);
    std::memcpy(rests - rest, item.key + below, std::size_t(rest));
    ++m_count;
    m_rests = std::uint16_t(m_rests + rest - taken);
    return true;
}

bool CompactPage::Rebuild(int position, const IndexItem& item)
{
    IndexPage page;
    Expand(&page);
    InsertItem(&page, position, item);
    CompactPage rebuilt(page);
    if (!rebuilt)
        return false;
    *this = std::move(rebuilt);
    return true;
}

void CompactPage::RemoveFromLeaf(int position)
{
    std::uint8_t* const head = Head(position);
    const int rest = Rest(head);
    int kept = 0;
    if (position < m_count) {
        // The next key had a part of its beginning from this one.
        std::uint8_t* const next = head + leafHead;
        const int restOfNext = Rest(next);
        kept = std::max(Shared(next) - Shared(head), 0);
        std::uint8_t beginning[longestKey];
        std::uint8_t* const rests = RestsUpTo(position);
        std::memcpy(beginning, rests, std::size_t(kept));
        std::memmove(rests - restOfNext + rest, rests - restOfNext, std::size_t(restOfNext));
        std::memcpy(rests - restOfNext + rest - kept, beginning, std::size_t(kept));
        std::uint8_t* const lowest = RestsEnd() - m_rests;
        std::memmove(lowest + rest - kept, lowest, std::size_t(rests - restOfNext - lowest));
        PutLengths(next, Shared(next) - kept, restOfNext + kept);
        std::memmove(head, next, std::size_t(m_count - position) * leafHead);
    }
    --m_count;
    m_rests = std::uint16_t(m_rests - rest + kept);
}
