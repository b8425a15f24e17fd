// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Indexes of several key lengths, with flushing and without: whatever the bytes, the
// check ends, and so do the calls. A file that is sound stays so, has its items and
// the new one, and gives each of them away.

#include "tests/fuzz/fuzzedfile.h"

#include "store/indexfile.h"
#include "store/storecheck.h"

#include <vector>

using namespace Agent;

namespace
{

constexpr std::int16_t keyLengths[] = { 3, 1, 9, 40 };
constexpr std::int16_t longest = 40;

// What the first byte says.
struct Options {
    explicit Options(unsigned byte)
        : duplicates(byte & 1), flushing(byte & 2), keyLength(keyLengths[byte / 4 % 4])
    {
    }

    bool duplicates;
    bool flushing;
    std::int16_t keyLength;
};

std::size_t Walk(IndexFile* index)
{
    char found[longest + 1] = {};
    std::uint32_t number = 0;
    std::size_t items = 0;
    // A damaged tree may be a ring.
    while (items < 10000 && NextKey(index, &number, found) == 0)
        ++items;
    FindPrevKey(index, &number, found);
    PrevKey(index, &number, found);
    return items;
}

bool Add(IndexFile* index, std::uint32_t record, const char* text, bool sound)
{
    char key[longest + 1] = {};
    std::copy_n(text, 3, key);
    const bool added = AddKey(index, &record, key) == 0;
    const bool there = FindKey(index, &record, key) == 0;
    Demand(!sound || !added || there, "what was added is found");
    return added;
}

// Takes items out, from the first one on or from the last one back.
std::size_t Empty(IndexFile* index, bool backwards, bool sound)
{
    std::size_t taken = 0;
    for (int i = 0; i < 120; ++i) {
        char key[longest + 1] = {};
        std::uint32_t record = 0;
        ClearKey(index);
        if ((backwards ? PrevKey : NextKey)(index, &record, key) != 0)
            break;
        const bool deleted = DeleteKey(index, &record, key) == 0;
        Demand(!sound || deleted, "an item that is met is deleted");
        taken += deleted;
    }
    return taken;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedInput input(data, size);
    const Options options(input.Byte());
    const char key[] = { char('A' + input.Byte() % 26), char('A' + input.Byte() % 26), 0 };
    const std::uint32_t record = input.Byte();
    const std::string path = input.File("fuzzed.idx");
    const auto check = [&](std::vector<IndexEntry>* entries) {
        return CheckIndex(path, options.keyLength, options.duplicates, entries).empty();
    };

    std::vector<IndexEntry> before, after, left;
    const bool sound = check(&before);
    Demand(InitIndex() == 0, "the page cache is there");
    IndexFile* const index = OpenIndex(0, path.c_str(), options.keyLength, options.duplicates);
    Demand(index || !sound, "a sound index is opened");
    if (index) {
        ToggleFlushing(index, options.flushing, 1);
        Demand(Walk(index) == before.size() || !sound, "each item of a sound index is met");
        const bool added = Add(index, record, key, sound);
        Demand(TaCloseIndex(index) == 0, "what was changed is written");
        Demand(!sound || check(&after), "a sound index stays sound");
        Demand(!sound || after.size() == before.size() + added, "no item is lost");
        const std::size_t taken = Empty(index, record & 1, sound);
        Demand(CloseIndex(index) == 0, "what is left is written");
        Demand(!sound || check(&left), "a sound index stays sound");
        Demand(!sound || left.size() + taken == after.size(), "nothing else goes");
    }
    UnInitIndex();
    return 0;
}
