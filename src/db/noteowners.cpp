// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/noteowners.h"

#include "db/dblayouts.h"
#include "store/cnote.h"
#include "store/datafile.h"
#include "store/notesheap.h"

#include <algorithm>
#include <vector>

namespace Agent
{

namespace
{

constexpr std::int32_t nobody = 0; // no product's record number
constexpr std::uint32_t perBlock = 64;

} // namespace

void NoteOwners::Clear()
{
    m_read = m_known = false;
    m_owners.clear();
}

void NoteOwners::Read(DataFile* products, CNote& notes)
{
    if (m_read)
        return;
    Clear();
    m_read = true;
    m_known = ReadProducts(products);
    if (m_known)
        KeepTexts(notes.TextOffsets());
}

bool NoteOwners::ReadProducts(DataFile* products)
{
    constexpr std::size_t length = Catalog::layout.recordLength;
    const std::uint32_t count = FileLen(products);
    std::vector<std::uint8_t> block(perBlock * length);
    for (std::uint32_t first = 1; first < count; first += perBlock) {
        const std::uint32_t wanted = std::min(perBlock, count - first);
        if (GetBigRec(products, first, block.data(), wanted) != wanted)
            return false;
        for (std::uint32_t i = 0; i < wanted; ++i) {
            const std::uint8_t* const record = block.data() + i * length;
            const std::int32_t offset = GetInt32(record + Catalog::noteOffset);
            if (!IsLive(record) || offset < 0)
                continue;
            const auto [at, isFirst] = m_owners.emplace(offset, std::int32_t(first + i));
            if (!isFirst)
                at->second = nobody;
        }
    }
    return count > 0;
}

// Removes the owner of each place where no text begins: it was deleted.
void NoteOwners::KeepTexts(const std::vector<std::int32_t>& texts)
{
    for (auto& [offset, product] : m_owners)
        if (!std::binary_search(texts.begin(), texts.end(), offset))
            product = nobody;
}

bool NoteOwners::MayDelete(std::int32_t offset, std::int32_t product) const
{
    const auto at = m_owners.find(offset);
    // A product that is not stored yet has put the text there itself; no other has it.
    const bool isOwn = at == m_owners.end() ? product == -1 : at->second == product;
    return m_known && isOwn;
}

void NoteOwners::Put(std::int32_t offset, std::int32_t length)
{
    const std::int64_t end = std::int64_t(offset) + blockHeaderLength + length;
    for (auto at = m_owners.lower_bound(offset); at != m_owners.end() && at->first < end; ++at)
        at->second = nobody;
}

void NoteOwners::Belongs(std::int32_t offset, std::int32_t product)
{
    if (m_read && offset >= 0)
        m_owners[offset] = product;
}

} // namespace Agent
