// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Indexes with several key lengths, with flushing and without: whatever the bytes, the
// check ends, and so do the calls. A sound file stays sound, has its items and the new
// one, and all of them can be deleted.

#include "tests/fuzz/fuzzedfiles.h"

#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/storecheck.h"

#include <cstring>
#include <vector>

using namespace Agent;

namespace
{

constexpr std::int16_t keyLengths[] = { 3, 1, 9, 40, 150, 149, 101, 70 };

// The choices made by the first byte.
struct Options {
    explicit Options(unsigned byte)
        : duplicates(byte & 1), flushing(byte & 2), keyLength(keyLengths[byte / 4 % 8])
    {
    }

    bool duplicates;
    bool flushing;
    std::int16_t keyLength;
    // A page of long keys is longer than an input, so the file is made first and then
    // damaged.
    bool isMade() const { return keyLength > 40; }
};

using KeyBuffer = char[longestKey + 2];

// A key that repeats three letters made from the number. It is not longer than what an
// index keeps of a key at any position.
void LongKey(unsigned number, int length, char* key)
{
    const char letters[] = { char('A' + number / 26 % 26), char('A' + number % 26), 'x' };
    for (int i = 0; i < std::min(length, int(keptKeyBytes)); ++i)
        key[i] = letters[i % 3];
}

void MakeSample(const std::string& path, const Options& options, unsigned items)
{
    IndexFile* const index = MakeIndex(0, path.c_str(), options.keyLength, options.duplicates);
    Demand(index, "an index can be made");
    for (std::uint32_t number = 1; number <= items; ++number) {
        KeyBuffer key = {};
        LongKey(number * 37, options.keyLength, key);
        Demand(AddKey(index, &number, key) == 0, "an item is added");
    }
    Demand(CloseIndex(index) == 0, "an index is written");
    Demand(CheckIndex(path, options.keyLength, options.duplicates).empty(), "it is sound");
}

std::size_t Walk(IndexFile* index)
{
    KeyBuffer found = {};
    std::uint32_t number = 0;
    std::size_t items = 0;
    // A damaged tree may be circular.
    while (items < 10000 && NextKey(index, &number, found) == 0)
        ++items;
    FindPrevKey(index, &number, found);
    PrevKey(index, &number, found);
    return items;
}

bool Add(IndexFile* index, std::uint32_t record, const char* text, bool sound)
{
    KeyBuffer key = {};
    std::strcpy(key, text);
    const bool added = AddKey(index, &record, key) == 0;
    const bool there = FindKey(index, &record, key) == 0;
    Demand(!sound || !added || there, "what was added is found");
    return added;
}

// Deletes items, from the first one forwards or from the last one backwards.
std::size_t Empty(IndexFile* index, bool backwards, bool sound)
{
    std::size_t taken = 0;
    for (int i = 0; i < 120; ++i) {
        KeyBuffer key = {};
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
    const Options options(input.byte());
    KeyBuffer key = { char('A' + input.byte() % 26), char('A' + input.byte() % 26) };
    const std::uint32_t record = input.byte();
    Demand(InitIndex() == 0, "the page cache is there");
    const std::string path = input.file("fuzzed.idx", options.isMade() ? 0 : SIZE_MAX);
    if (options.isMade()) {
        LongKey(std::uint32_t(key[0] * 26 + key[1]), options.keyLength, key);
        MakeSample(path, options, input.byte());
        FuzzedFiles({ { path, std::size_t(PackedLength(options.keyLength)) } }).damage(&input);
    }
    const auto check = [&](std::vector<IndexEntry>* entries) {
        return CheckIndex(path, options.keyLength, options.duplicates, entries).empty();
    };

    std::vector<IndexEntry> before, after, left;
    const bool sound = check(&before);
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
