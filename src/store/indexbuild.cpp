// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexbuild.h"

#include "store/indexfile.h"
#include "store/packedkey.h"
#include "store/storefiles.h"

#include <new>

namespace Agent
{

namespace
{

constexpr std::uint32_t pagesAtOnce = 32; // in one transfer

// How the items of a level are divided: between each two of its pages one item goes up to the
// level above.
class Division
{
public:
    // Keys of 150 characters are cut in the last items of a full page, so these pages are not
    // filled.
    Division(std::size_t items, int keyLength)
    {
        const std::size_t most = keyLength == longestKey ? pageItems * 4 / 5 : pageItems;
        m_pages = items <= pageItems ? 1 : items / (most + 1) + 1;
        m_least = (items - (m_pages - 1)) / m_pages;
        m_larger = (items - (m_pages - 1)) % m_pages;
    }

    std::size_t Pages() const { return m_pages; }
    std::size_t ItemsOf(std::size_t page) const { return m_least + (page < m_larger ? 1 : 0); }

private:
    std::size_t m_pages;
    std::size_t m_least; // items of a page
    std::size_t m_larger; // pages with one more
};

// Puts pages one after the other into the file.
class PageWriter
{
public:
    PageWriter(DataFile* file, int keyLength, const std::function<void()>& meanwhile)
        : m_file(file), m_meanwhile(meanwhile), m_layout(keyLength),
          m_block(pagesAtOnce * m_layout.FileLength())
    {
    }

    std::uint32_t Next() const { return m_written + m_waiting; }
    bool Begin(std::size_t count, std::uint32_t leftmost)
    {
        if (m_waiting == pagesAtOnce && !Write())
            return false;
        m_page = &m_block[m_waiting++ * m_layout.FileLength()];
        std::memset(m_page, 0, m_layout.FileLength());
        m_page[0] = std::uint8_t(count);
        PutUint32(m_page + 4, leftmost);
        return true;
    }
    // `position` counts from 1.
    void Put(std::size_t position, const NewItem& item, std::uint32_t child)
    {
        std::uint8_t* const at = m_page + m_layout.Offset(int(position));
        PutUint32(at, item.Record());
        PutUint32(at + 4, child);
        UnpackKey(item.Key(), at + 8, m_layout.KeyBytes(int(position)));
    }
    bool Write()
    {
        const bool written = PutAllRecs(m_file, m_written, m_block.data(), m_waiting) == 0;
        m_written += m_waiting;
        m_waiting = 0;
        if (written && m_meanwhile)
            m_meanwhile();
        return written;
    }

private:
    DataFile* const m_file;
    const std::function<void()>& m_meanwhile;
    const PageLayout m_layout;
    std::vector<std::uint8_t> m_block;
    std::uint8_t* m_page = nullptr; // the one begun last
    std::uint32_t m_written = 1; // the header is there
    std::uint32_t m_waiting = 0;
};

// A level of the tree: its items, and the first page of the level below it (0: none).
struct Level {
    std::vector<const NewItem*> items;
    std::uint32_t child = 0;
};

const NewItem& ItemOf(const NewItem& item)
{
    return item;
}

const NewItem& ItemOf(const NewItem* item)
{
    return *item;
}

// Writes the pages of a level, and makes `above` the one above; that has no items if only the root
// was left.
template <typename Items>
bool WriteLevel(PageWriter& pages, int keyLength, const Items& items, std::uint32_t child,
                Level* above)
{
    const Division division(items.size(), keyLength);
    const std::uint32_t step = child == 0 ? 0 : 1;
    auto next = items.begin();
    *above = Level{ {}, pages.Next() };
    above->items.reserve(division.Pages() - 1);
    for (std::size_t page = 0; page < division.Pages(); ++page) {
        const std::size_t count = division.ItemsOf(page);
        if (!pages.Begin(count, child))
            return false;
        for (std::size_t i = 1; i <= count; ++i)
            pages.Put(i, ItemOf(*next++), child += step);
        child += step;
        if (page + 1 < division.Pages())
            above->items.push_back(&ItemOf(*next++));
    }
    return true;
}

// Returns the root; 0 if a write failed.
std::uint32_t WriteTree(PageWriter& pages, int keyLength, const std::vector<NewItem>& items)
{
    Level level;
    if (!WriteLevel(pages, keyLength, items, 0, &level))
        return 0;
    while (!level.items.empty()) {
        Level above;
        if (!WriteLevel(pages, keyLength, level.items, level.child, &above))
            return 0;
        level = std::move(above);
    }
    return pages.Write() ? level.child : 0;
}

int Finish(IndexFile* index, std::uint32_t root, std::uint32_t pages)
{
    index->rootPage = root;
    index->dataFile->header.recordCount = std::int32_t(pages);
    return TaCloseIndex(index);
}

// The index is empty again. Keeps the error in taerror.
int GiveUp(IndexFile* index)
{
    DataFile* const file = index->dataFile;
    const std::int32_t error = taerror;
    index->rootPage = 0;
    file->header.rootPage = 0;
    file->header.recordCount = 1;
    if (const OpenStoreFile open(file->fileName, file->files); open)
        open.Resize(file->recordLength);
    return SetError(error);
}

} // namespace

bool IsBefore(const NewItem& a, const NewItem& b)
{
    if (!(a.head == b.head))
        return a.head < b.head;
    for (std::size_t at = 2 * wordSize; !a.head.HasEnd(); at += wordSize) {
        const std::uint64_t ofA = OrderOfWord(FoldWord(GetWord(a.Key() + at)));
        const std::uint64_t ofB = OrderOfWord(FoldWord(GetWord(b.Key() + at)));
        if (ofA != ofB)
            return ofA < ofB;
        if ((ofA & 0xff) == 0)
            break;
    }
    return a.Record() < b.Record();
}

int BuildIndex(IndexFile* index, const std::vector<NewItem>& items,
               const std::function<void()>& meanwhile)
try {
    ClearKey(index);
    if (index->rootPage != 0 || index->dataFile->header.recordCount != 1)
        return SetError(taDamaged);
    if (items.empty())
        return SetError(taNoError);
    PageWriter pages(index->dataFile, index->keyLength, meanwhile);
    const std::uint32_t root = WriteTree(pages, index->keyLength, items);
    return root != 0 && Finish(index, root, pages.Next()) == 0 ? 0 : GiveUp(index);
} catch (const std::bad_alloc&) {
    SetError(taNoMemory);
    return GiveUp(index);
}

} // namespace Agent
