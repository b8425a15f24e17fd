// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Notes: whatever the bytes of the heap, the check ends, and so do the calls. Sound notes
// stay sound, and return the stored texts.

#include "tests/fuzz/fuzzedfile.h"

#include "store/cnote.h"
#include "store/storecheck.h"

#include <cstring>
#include <memory>

using namespace Agent;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedInput input(data, size);
    const std::int32_t offset = std::int32_t(input.byte());
    const auto length = std::int32_t(input.byte());
    Demand(InitIndex() == 0, "the page cache is there");
    std::string name = input.file("fuzzed.fil");
    name.resize(name.size() - 4);
    std::remove((name + ".k1").c_str());
    {
        CNote notes;
        if (notes.Open(name.c_str())) {
            const bool listed = notes.Reindex();
            const bool sound = listed && CheckNotes(name).empty();
            const std::int32_t told = notes.NoteLength(offset);
            Demand(told == 0 || (told > 0 && std::size_t(told) < size),
                   "no note is longer than its heap");
            const std::unique_ptr<char, void (*)(void*)> any(notes.ReadNote(offset), std::free);
            const std::string text(std::size_t(length), 'n');
            const std::int32_t saved = notes.SaveNote(text.data(), length);
            if (sound) {
                const std::unique_ptr<char, void (*)(void*)> read(notes.ReadNote(saved), std::free);
                Demand(saved >= 0 && read && text == read.get(), "a note is given back");
                Demand(notes.DeleteNote(saved) == 0, "a note is deleted");
                Demand(CheckNotes(name).empty(), "sound notes stay sound");
            } else {
                notes.DeleteNote(offset);
            }
        }
    }
    UnInitIndex();
    return 0;
}
