// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Data files: whatever the bytes, the check ends, and so do the calls. A sound file stays
// sound, and keeps its records.

#include "tests/fuzz/fuzzedfile.h"

#include "store/datafile.h"
#include "store/storecheck.h"

#include <vector>

using namespace Agent;

namespace
{

constexpr int recordLength = 40;

// A record filled with a mark, by which it is recognised.
std::vector<std::uint8_t> Marked(std::uint8_t mark)
{
    std::vector<std::uint8_t> record(recordLength, mark);
    std::fill_n(record.begin(), 4, std::uint8_t(0));
    return record;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedInput input(data, size);
    const unsigned deleted = input.byte();
    const std::string path = input.file("fuzzed.dat");
    const bool sound = CheckDataFile(path, recordLength).empty();
    DataFile* file = OpenDataFile(0, path.c_str(), recordLength);
    Demand(file || !sound, "a sound file is opened");
    if (!file)
        return 0;

    ToggleFlushing(file, deleted >= 128, 0);
    std::vector<std::uint32_t> added;
    std::uint32_t number = 0;
    for (std::uint8_t mark = 1; mark < 5; ++mark) {
        const bool done = AddRec(file, &number, Marked(mark).data()) == 0;
        Demand(done || !sound, "a record is added to a sound file");
        if (done)
            added.push_back(number);
    }
    std::vector<std::uint8_t> record(recordLength);
    for (std::size_t i = 0; sound && i < added.size(); ++i) {
        Demand(GetRec(file, added[i], record.data()) == 0, "what was added can be read");
        Demand(record == Marked(std::uint8_t(i + 1)), "what was added is what is read");
    }
    // In a damaged file the number may be anything; in a sound one it must be live.
    if (!sound)
        DeleteRec(file, deleted);
    else if (!added.empty())
        Demand(DeleteRec(file, added[deleted % added.size()]) == 0, "what was added is deleted");
    UsedRecs(file);
    if (!sound)
        FixHeader(file);
    CloseDataFile(file);
    Demand(!sound || CheckDataFile(path, recordLength).empty(), "a sound file stays sound");
    return 0;
}
