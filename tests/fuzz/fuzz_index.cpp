// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Indexes: whatever the bytes, the check ends, and so do the calls. A file that is
// sound stays so, and has its items and the new one.

#include "tests/fuzz/fuzzedfile.h"

#include "store/indexfile.h"
#include "store/storecheck.h"

#include <vector>

namespace
{

constexpr int keyLength = 3;

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedInput input(data, size);
    const bool duplicates = input.Byte() & 1;
    char key[keyLength + 1] = { char('A' + input.Byte() % 26), char('A' + input.Byte() % 26) };
    std::uint32_t record = input.Byte();
    const std::string path = input.File("fuzzed.idx");

    std::vector<IndexEntry> before, after;
    const bool sound = CheckIndex(path, keyLength, duplicates, &before).empty();
    Demand(InitIndex() == 0, "the page cache is there");
    if (IndexFile* index = OpenIndex(0, path.c_str(), keyLength, duplicates)) {
        char found[keyLength + 1] = {};
        std::uint32_t number = 0;
        std::size_t items = 0;
        // A damaged tree may be a ring.
        while (items < 10000 && NextKey(index, &number, found) == 0)
            ++items;
        Demand(!sound || items == before.size(), "the cursor meets every item of a sound index");
        FindPrevKey(index, &number, found);
        PrevKey(index, &number, found);

        const bool added = AddKey(index, &record, key) == 0;
        std::uint32_t again = record;
        const bool there = FindKey(index, &again, key) == 0;
        Demand(!sound || !added || there, "what was added is found");
        CloseIndex(index);
        if (sound) {
            Demand(CheckIndex(path, keyLength, duplicates, &after).empty(),
                   "a sound index stays sound");
            Demand(after.size() == before.size() + added, "no item is lost");
        }
    } else {
        Demand(!sound, "a sound index is opened");
    }
    UnInitIndex();
    return 0;
}
