// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/compactpage.h"

#include "store/soughtitem.h"

#include <cstring>
#include <new>

namespace
{

// Bytes are copied eight at a time, up to seven more than asked for.
constexpr std::size_t step = wordSize;
// Up to here that stays within the key of an item.
constexpr std::size_t steppedLength = sizeof IndexItem::key - step;

constexpr std::size_t pageHead = 1 + 4;
constexpr std::size_t itemHead = 1 + 1 + 4 + 4;
constexpr std::size_t most = pageHead + pageItems * (itemHead + longestKey) + step;

void CopyStepped(void* to, const void* from, std::size_t count)
{
    auto* target = static_cast<char*>(to);
    auto* source = static_cast<const char*>(from);
    for (std::size_t done = 0; done < count; done += step)
        std::memcpy(target + done, source + done, step);
}

template <typename T> std::uint8_t* Put(std::uint8_t* bytes, T value)
{
    std::memcpy(bytes, &value, sizeof value);
    return bytes + sizeof value;
}

template <typename T> const std::uint8_t* Get(const std::uint8_t* bytes, T* value)
{
    std::memcpy(value, bytes, sizeof *value);
    return bytes + sizeof *value;
}

// One item as it stands in a compact page. Made of the bytes at *bytes, which
// then points behind them.
struct CompactItem {
    std::uint8_t shared; // bytes of the key that are those of the item before
    std::uint8_t rest;
    std::uint32_t record;
    std::uint32_t child = 0;
    const std::uint8_t* key; // the rest of it

    CompactItem(const std::uint8_t** bytes, bool inner)
    {
        const std::uint8_t* next = Get(Get(Get(*bytes, &shared), &rest), &record);
        key = inner ? Get(next, &child) : next;
        *bytes = key + rest;
    }

    // Makes the whole key of that of the item before, which may stand in place.
    void MakeKey(const char* before, char* whole) const
    {
        if (std::size_t(shared + rest) <= steppedLength) {
            if (whole != before)
                CopyStepped(whole, before, shared);
            CopyStepped(whole + shared, key, rest);
        } else {
            std::memmove(whole, before, shared);
            std::memcpy(whole + shared, key, rest);
        }
        whole[shared + rest] = 0;
    }
};

std::uint8_t* PutItem(std::uint8_t* bytes, const IndexItem& before, const IndexItem& item,
                      bool inner)
{
    const std::size_t shared = SharedLength(before, item);
    const std::size_t rest = LengthOfKey(item.key, shared) - shared;
    bytes = Put(Put(Put(bytes, std::uint8_t(shared)), std::uint8_t(rest)), item.record);
    if (inner)
        bytes = Put(bytes, item.child);
    std::memcpy(bytes, item.key + shared, rest);
    return bytes + rest;
}

// Goes through the items of a leaf, each with its whole key.
class LeafReader
{
public:
    explicit LeafReader(const std::uint8_t* page) : m_next(page + pageHead) { }

    // The item read last; before the first one, one with an empty key.
    const IndexItem& item() const { return m_item; }
    const std::uint8_t* next() const { return m_next; }

    void Read()
    {
        const CompactItem from(&m_next, false);
        m_item.record = from.record;
        from.MakeKey(m_item.key, m_item.key);
    }
    void Read(int count)
    {
        while (count-- > 0)
            Read();
    }

private:
    const std::uint8_t* m_next;
    IndexItem m_item{};
};

std::size_t Compact(const IndexPage& page, std::uint8_t* bytes)
{
    std::uint8_t* end = Put(Put(bytes, page.count), page.leftmost);
    const IndexItem none{};
    const IndexItem* before = &none;
    for (int i = 1; i <= page.count; ++i) {
        end = PutItem(end, *before, page.items[i], page.leftmost != 0);
        before = &page.items[i];
    }
    return std::size_t(end - bytes);
}

} // namespace

CompactPage::CompactPage(const IndexPage& page)
{
    std::uint8_t bytes[most];
    Assign(bytes, Compact(page, bytes));
}

bool CompactPage::Assign(const std::uint8_t* bytes, std::size_t used)
{
    std::unique_ptr<std::uint8_t[]> copy(new (std::nothrow) std::uint8_t[used + step]);
    if (!copy)
        return false;
    std::memcpy(copy.get(), bytes, used);
    m_bytes = std::move(copy);
    m_size = used + step;
    return true;
}

void CompactPage::Expand(IndexPage* page) const
{
    const std::uint8_t* bytes = Get(Get(m_bytes.get(), &page->count), &page->leftmost);
    const char* before = "";
    for (int i = 1; i <= page->count; ++i) {
        const CompactItem from(&bytes, page->leftmost != 0);
        IndexItem& item = page->items[i];
        item.record = from.record;
        item.child = from.child;
        from.MakeKey(before, item.key);
        before = item.key;
    }
}

PagePosition CompactPage::Search(const SoughtItem& wanted, int allowDuplicates) const
{
    std::uint8_t count;
    PagePosition at{ false, 0, 0, 0 };
    const std::uint8_t* bytes = Get(Get(m_bytes.get(), &count), &at.child);
    const bool inner = at.child != 0;
    int matched = 0; // bytes of the wanted key that the item before has too
    for (int i = 1; i <= count; ++i) {
        const CompactItem item(&bytes, inner);
        // What has more in common with the item before is below like that one.
        if (item.shared <= matched) {
            const int order = wanted.CompareRest(item.shared, item.key, item.rest, item.record,
                                                 allowDuplicates, &matched);
            if (order == 0)
                return { true, i, item.record, item.child };
            if (order < 0)
                break;
        }
        at.position = i;
        at.child = item.child;
    }
    return at;
}

// Puts items in place of the bytes in between, which follow the item `before`.
bool CompactPage::Splice(const std::uint8_t* from, const std::uint8_t* to, const IndexItem& before,
                         const IndexItem* const* items, int itemCount, int count)
{
    std::uint8_t bytes[most];
    const auto kept = std::size_t(from - m_bytes.get());
    std::memcpy(bytes, m_bytes.get(), kept);
    std::uint8_t* end = bytes + kept;
    const IndexItem* last = &before;
    for (int i = 0; i < itemCount; ++i) {
        end = PutItem(end, *last, *items[i], false);
        last = items[i];
    }
    const auto rest = std::size_t(m_bytes.get() + m_size - step - to);
    std::memcpy(end, to, rest);
    end += rest;
    bytes[0] = std::uint8_t(count);
    return Assign(bytes, std::size_t(end - bytes));
}

bool CompactPage::InsertInLeaf(int position, const IndexItem& item)
{
    LeafReader reader(m_bytes.get());
    reader.Read(position);
    const IndexItem before = reader.item();
    const std::uint8_t* const from = reader.next();
    const bool isLast = position == count();
    if (!isLast)
        reader.Read();
    const IndexItem* const items[] = { &item, &reader.item() };
    return Splice(from, reader.next(), before, items, isLast ? 1 : 2, count() + 1);
}

bool CompactPage::RemoveFromLeaf(int position)
{
    LeafReader reader(m_bytes.get());
    reader.Read(position - 1);
    const IndexItem before = reader.item();
    const std::uint8_t* const from = reader.next();
    const bool isLast = position == count();
    reader.Read(isLast ? 1 : 2);
    const IndexItem* const items[] = { &reader.item() };
    return Splice(from, reader.next(), before, items, isLast ? 0 : 1, count() - 1);
}
