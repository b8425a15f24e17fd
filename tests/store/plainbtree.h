// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A second, very simple implementation of an index's B-tree: pages in a vector, recursive
// insertion and deletion, no cache, one form of a page, no checks. It shares no code with
// the store. After the same operations an index must have the file that this makes, byte
// for byte.

#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class PlainBTree
{
public:
    PlainBTree(int keyLength, bool duplicates)
        : m_keyLength(keyLength), m_duplicates(duplicates) { }

    // Each returns true where AddKey and the like return 0.
    bool add(std::uint32_t record, std::string key);
    bool erase(std::uint32_t* record, std::string key);
    bool find(std::uint32_t* record, std::string* key);
    bool search(std::uint32_t* record, std::string* key);
    bool findPrevious(std::uint32_t* record, std::string* key);
    bool next(std::uint32_t* record, std::string* key);
    bool previous(std::uint32_t* record, std::string* key);
    void clear() { m_path.clear(); }

    std::string bytes() const;
    std::uint32_t root() const { return m_root; }
    std::size_t depth() const;
    std::size_t freePages() const { return m_freed; }

private:
    static constexpr int half = 25;

    struct Item {
        std::uint32_t record = 0;
        std::uint32_t child = 0;
        std::string key;
    };
    // A page, or a free one with the number of the next free one.
    struct Page {
        int count = 0;
        std::uint32_t leftmost = 0;
        Item items[2 * half + 1];
        bool isFree = false;
        std::int32_t next = 0;
    };
    // Where a binary search ends; `found` is the equal item if it is above 0.
    struct Place {
        int found;
        int right;
    };

    static int compareKeys(const std::string& a, const std::string& b);
    int compare(const Item& wanted, const Item& item) const;
    Place look(const Page& page, const Item& wanted) const;
    static std::uint32_t& child(Page& page, int position);
    std::uint32_t newPage();
    void freePage(std::uint32_t number);
    bool insert(std::uint32_t number, Item* item, bool* passUp);
    void insertBehind(std::uint32_t number, int position, Item* item, bool* passUp);
    bool remove(std::uint32_t number, Item* wanted, bool* small);
    void takePredecessor(std::uint32_t from, std::uint32_t holder, int k, bool* small);
    void underflow(std::uint32_t parent, std::uint32_t page, int position, bool* small);
    void fromRight(std::uint32_t parent, std::uint32_t page, int position, bool* small);
    void fromLeft(std::uint32_t parent, std::uint32_t page, int position, bool* small);
    bool descend(std::uint32_t* record, const std::string& key);
    void pack(const Page& page, std::string* bytes) const;

    Page& at(std::uint32_t number) { return m_pages[number - 1]; }

    const int m_keyLength;
    const bool m_duplicates;
    std::vector<Page> m_pages; // page 1 first
    std::uint32_t m_root = 0;
    std::int32_t m_firstFree = -1;
    std::size_t m_freed = 0;
    std::vector<std::pair<std::uint32_t, int>> m_path;
};

// ---- order ----

inline int PlainBTree::compareKeys(const std::string& a, const std::string& b)
{
    const auto fold = [](char c) {
        return c >= 'A' && c <= 'Z' ? int(c) - 'A' + 'a' : int(static_cast<unsigned char>(c));
    };
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
        if (fold(a[i]) != fold(b[i]))
            return fold(a[i]) < fold(b[i]) ? -1 : 1;
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

inline int PlainBTree::compare(const Item& wanted, const Item& item) const
{
    const int keys = compareKeys(wanted.key, item.key);
    if (keys != 0 || !m_duplicates || wanted.record == item.record)
        return keys;
    return wanted.record < item.record ? -1 : 1;
}

inline PlainBTree::Place PlainBTree::look(const Page& page, const Item& wanted) const
{
    int left = 1;
    int right = page.count;
    int k = 0;
    while (left <= right) {
        k = (left + right) / 2;
        const int order = compare(wanted, page.items[k]);
        if (order <= 0)
            right = k - 1;
        if (order >= 0)
            left = k + 1;
    }
    return { left - right > 1 ? k : 0, right };
}

inline std::uint32_t& PlainBTree::child(Page& page, int position)
{
    return position == 0 ? page.leftmost : page.items[position].child;
}

// ---- pages ----

inline std::uint32_t PlainBTree::newPage()
{
    if (m_firstFree == -1) {
        m_pages.emplace_back();
        return std::uint32_t(m_pages.size());
    }
    const auto number = std::uint32_t(m_firstFree);
    m_firstFree = at(number).next;
    --m_freed;
    at(number) = Page();
    return number;
}

inline void PlainBTree::freePage(std::uint32_t number)
{
    at(number).isFree = true;
    at(number).next = m_firstFree;
    m_firstFree = std::int32_t(number);
    ++m_freed;
}

inline std::size_t PlainBTree::depth() const
{
    std::size_t levels = 0;
    for (std::uint32_t page = m_root; page != 0; page = m_pages[page - 1].leftmost)
        ++levels;
    return levels;
}

// ---- insertion ----

inline bool PlainBTree::add(std::uint32_t record, std::string key)
{
    key.resize(std::min(key.size(), std::size_t(m_keyLength)));
    Item item{ record, 0, std::move(key) };
    bool passUp = false;
    const bool ok = insert(m_root, &item, &passUp);
    if (passUp) {
        const std::uint32_t number = newPage();
        Page& page = at(number);
        page.count = 1;
        page.leftmost = m_root;
        page.items[1] = item;
        m_root = number;
    }
    clear();
    return ok;
}

inline bool PlainBTree::insert(std::uint32_t number, Item* item, bool* passUp)
{
    if (number == 0) {
        *passUp = true;
        return true;
    }
    const Place place = look(at(number), *item);
    if (place.found > 0)
        return false;
    if (!insert(child(at(number), place.right), item, passUp))
        return false;
    if (*passUp)
        insertBehind(number, place.right, item, passUp);
    return true;
}

inline void PlainBTree::insertBehind(std::uint32_t number, int position, Item* item, bool* passUp)
{
    if (at(number).count < 2 * half) {
        Page& a = at(number);
        for (int i = a.count++; i > position; --i)
            a.items[i + 1] = a.items[i];
        a.items[position + 1] = *item;
        *passUp = false;
        return;
    }
    const std::uint32_t numberOfB = newPage();
    Page& a = at(number);
    Page& b = at(numberOfB);
    Item promoted = *item;
    if (position > half) {
        const int r = position - half;
        promoted = a.items[half + 1];
        for (int i = 1; i < r; ++i)
            b.items[i] = a.items[half + 1 + i];
        b.items[r] = *item;
        for (int i = r + 1; i <= half; ++i)
            b.items[i] = a.items[half + i];
    } else {
        for (int i = 1; i <= half; ++i)
            b.items[i] = a.items[half + i];
        if (position < half) {
            promoted = a.items[half];
            for (int i = half - 1; i > position; --i)
                a.items[i + 1] = a.items[i];
            a.items[position + 1] = *item;
        }
    }
    a.count = b.count = half;
    b.leftmost = promoted.child;
    promoted.child = numberOfB;
    *item = promoted;
}

// ---- deletion ----

inline bool PlainBTree::erase(std::uint32_t* record, std::string key)
{
    key.resize(std::min(key.size(), std::size_t(m_keyLength)));
    Item wanted{ *record, 0, std::move(key) };
    bool small = false;
    const bool ok = remove(m_root, &wanted, &small);
    *record = wanted.record;
    if (small && at(m_root).count == 0) {
        const std::uint32_t old = m_root;
        m_root = at(old).leftmost;
        freePage(old);
    }
    clear();
    return ok;
}

inline bool PlainBTree::remove(std::uint32_t number, Item* wanted, bool* small)
{
    if (number == 0)
        return false;
    Page& a = at(number);
    const Place place = look(a, *wanted);
    const std::uint32_t q = child(a, place.right);
    const int k = place.found;
    if (k == 0) {
        if (!remove(q, wanted, small))
            return false;
    } else {
        wanted->record = a.items[k].record;
        if (q == 0) {
            for (int i = k; i < a.count; ++i)
                a.items[i] = a.items[i + 1];
            *small = --a.count < half;
            return true;
        }
        takePredecessor(q, number, k, small);
    }
    if (*small)
        underflow(number, q, place.right, small);
    return true;
}

inline void PlainBTree::takePredecessor(std::uint32_t from, std::uint32_t holder, int k,
                                        bool* small)
{
    Page& p = at(from);
    const int last = p.count;
    const std::uint32_t below = p.items[last].child;
    if (below != 0) {
        takePredecessor(below, holder, k, small);
        if (*small)
            underflow(from, below, last, small);
        return;
    }
    Item& hole = at(holder).items[k];
    p.items[last].child = hole.child;
    hole = p.items[last];
    *small = --p.count < half;
}

inline void PlainBTree::underflow(std::uint32_t parent, std::uint32_t page, int position,
                                  bool* small)
{
    if (position < at(parent).count)
        fromRight(parent, page, position, small);
    else
        fromLeft(parent, page, position, small);
}

inline void PlainBTree::fromRight(std::uint32_t parent, std::uint32_t page, int s, bool* small)
{
    Page& c = at(parent);
    Page& a = at(page);
    const std::uint32_t numberOfB = c.items[s + 1].child;
    Page& b = at(numberOfB);
    const int k = (b.count - half + 1) / 2;
    a.items[half] = c.items[s + 1];
    a.items[half].child = b.leftmost;
    if (k > 0) {
        for (int i = 1; i < k; ++i)
            a.items[half + i] = b.items[i];
        c.items[s + 1] = b.items[k];
        c.items[s + 1].child = numberOfB;
        b.leftmost = b.items[k].child;
        b.count -= k;
        for (int i = 1; i <= b.count; ++i)
            b.items[i] = b.items[i + k];
        a.count = half - 1 + k;
        *small = false;
        return;
    }
    for (int i = 1; i <= half; ++i)
        a.items[half + i] = b.items[i];
    for (int i = s + 1; i < c.count; ++i)
        c.items[i] = c.items[i + 1];
    a.count = 2 * half;
    *small = --c.count < half;
    freePage(numberOfB);
}

inline void PlainBTree::fromLeft(std::uint32_t parent, std::uint32_t page, int s, bool* small)
{
    Page& c = at(parent);
    Page& a = at(page);
    Page& b = at(child(c, s - 1));
    int mb = b.count + 1;
    const int k = (mb - half) / 2;
    if (k > 0) {
        for (int i = half - 1; i >= 1; --i)
            a.items[i + k] = a.items[i];
        a.items[k] = c.items[s];
        a.items[k].child = a.leftmost;
        mb -= k;
        for (int i = 1; i < k; ++i)
            a.items[i] = b.items[mb + i];
        a.leftmost = b.items[mb].child;
        c.items[s] = b.items[mb];
        c.items[s].child = page;
        b.count = mb - 1;
        a.count = half - 1 + k;
        *small = false;
        return;
    }
    b.items[mb] = c.items[s];
    b.items[mb].child = a.leftmost;
    for (int i = 1; i < half; ++i)
        b.items[mb + i] = a.items[i];
    b.count = 2 * half;
    *small = --c.count < half;
    freePage(page);
}

// ---- finding and walking ----

inline bool PlainBTree::descend(std::uint32_t* record, const std::string& key)
{
    clear();
    const Item wanted{ 0, 0, key };
    for (std::uint32_t number = m_root; number != 0;) {
        Page& page = at(number);
        const Place place = look(page, wanted);
        m_path.emplace_back(number, place.found > 0 ? place.found : place.right);
        if (place.found > 0) {
            *record = page.items[place.found].record;
            return true;
        }
        number = child(page, place.right);
    }
    while (!m_path.empty() && m_path.back().second == 0)
        m_path.pop_back();
    return false;
}

inline bool PlainBTree::find(std::uint32_t* record, std::string* key)
{
    key->resize(std::min(key->size(), std::size_t(m_keyLength)));
    if (descend(record, *key))
        return true;
    const std::string wanted = *key;
    return m_duplicates && next(record, key) && *key == wanted;
}

inline bool PlainBTree::search(std::uint32_t* record, std::string* key)
{
    key->resize(std::min(key->size(), std::size_t(m_keyLength)));
    return descend(record, *key) || next(record, key);
}

inline bool PlainBTree::findPrevious(std::uint32_t* record, std::string* key)
{
    if (search(record, key))
        return previous(record, key);
    key->clear();
    if (!search(record, key))
        return false;
    return previous(record, key) || previous(record, key);
}

inline bool PlainBTree::next(std::uint32_t* record, std::string* key)
{
    std::uint32_t number
        = m_path.empty() ? m_root : child(at(m_path.back().first), m_path.back().second);
    for (; number != 0; number = at(number).leftmost)
        m_path.emplace_back(number, 0);
    while (!m_path.empty() && m_path.back().second == at(m_path.back().first).count)
        m_path.pop_back();
    if (m_path.empty())
        return false;
    const Item& item = at(m_path.back().first).items[++m_path.back().second];
    *key = item.key;
    *record = item.record;
    return true;
}

inline bool PlainBTree::previous(std::uint32_t* record, std::string* key)
{
    std::uint32_t number
        = m_path.empty() ? m_root : child(at(m_path.back().first), --m_path.back().second);
    for (; number != 0; number = child(at(number), at(number).count))
        m_path.emplace_back(number, at(number).count);
    while (!m_path.empty() && m_path.back().second == 0)
        m_path.pop_back();
    if (m_path.empty())
        return false;
    const Item& item = at(m_path.back().first).items[m_path.back().second];
    *key = item.key;
    *record = item.record;
    return true;
}

// ---- the file ----

namespace PlainBytes
{

inline void Put(std::string* bytes, std::size_t at, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        (*bytes)[at + std::size_t(i)] = char(value >> (8 * i));
}

} // namespace PlainBytes

inline void PlainBTree::pack(const Page& page, std::string* bytes) const
{
    const std::size_t begin = bytes->size();
    const std::size_t length = std::size_t(m_keyLength + 9) * 50 + 8;
    bytes->resize(begin + length);
    if (page.isFree) {
        PlainBytes::Put(bytes, begin, std::uint32_t(page.next));
        return;
    }
    (*bytes)[begin] = char(page.count);
    PlainBytes::Put(bytes, begin + 4, page.leftmost);
    const std::size_t stride = m_keyLength == 150 ? 160 : std::size_t(m_keyLength) + 9;
    for (int i = 1; i <= page.count; ++i) {
        const std::size_t at = 8 + std::size_t(i - 1) * stride;
        PlainBytes::Put(bytes, begin + at, page.items[i].record);
        PlainBytes::Put(bytes, begin + at + 4, page.items[i].child);
        const std::string& key = page.items[i].key;
        const std::size_t kept = std::min(key.size(), length - at - 8);
        bytes->replace(begin + at + 8, kept, key, 0, kept);
    }
}

inline std::string PlainBTree::bytes() const
{
    const auto count = std::uint32_t(m_pages.size() + 1);
    std::string bytes(std::size_t(m_keyLength + 9) * 50 + 8, '\0');
    PlainBytes::Put(&bytes, 0, std::uint32_t(m_firstFree));
    PlainBytes::Put(&bytes, 4, std::uint32_t(m_freed));
    PlainBytes::Put(&bytes, 8, m_root);
    PlainBytes::Put(&bytes, 12, count);
    PlainBytes::Put(&bytes, 16, count);
    bytes.replace(20, 4, "4.2a");
    for (const Page& page : m_pages)
        pack(page, &bytes);
    return bytes;
}
