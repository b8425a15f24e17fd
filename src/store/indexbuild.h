// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writes a new index whose items are all known: its pages in one pass, each as full as the
// others of its level and all as full as possible, first the leaves in the order of their
// keys, then each level above, and the header last. Later changes work on it as on any other
// index.

#pragma once

#include "store/bytes.h"
#include "store/soughtitem.h"

#include <functional>
#include <vector>

struct IndexFile;

namespace Agent
{

// An item with what most comparisons end with. The bytes are someone else's: the record number,
// and the packed key (packedkey.h), which must be readable in words.
struct NewItem {
    static constexpr std::size_t beforeKey = 4;

    explicit NewItem(const std::uint8_t* bytes)
        : item(bytes), head(FoldWord(GetWord(Key())), FoldWord(GetWord(Key() + wordSize)))
    {
    }
    std::uint32_t Record() const { return GetUint32(item); }
    const char* Key() const { return reinterpret_cast<const char*>(item + beforeKey); }

    const std::uint8_t* item;
    KeyHead head;
};

// The order of an index.
bool IsBefore(const NewItem& a, const NewItem& b);

// Writes the items, which must be in order, into an index that was made with MakeIndex and is
// empty. `meanwhile` is called between the transfers. -1, with the index empty, if a write
// fails or there is no memory.
int BuildIndex(IndexFile* index, const std::vector<NewItem>& items,
               const std::function<void()>& meanwhile);

} // namespace Agent
