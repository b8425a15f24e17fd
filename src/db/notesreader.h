// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The texts of a notes store by their offsets, read without its index and without changing
// it. The part read last stays in memory: an update writes the notes in the order of the
// products.

#pragma once

#include "store/notesheap.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Agent
{

class NotesReader
{
public:
    // The path of the heap, with ".fil". The file system must outlive the object.
    explicit NotesReader(const std::string& path, StoreFiles& files = MachineFiles());

    // The text until the next call; empty if no sound one is there.
    std::string_view View(std::int64_t offset);
    std::string Read(std::int64_t offset) { return std::string(View(offset)); }

private:
    const std::uint8_t* At(std::int64_t offset, std::int64_t length);
    bool Load(std::int64_t offset, std::int64_t length);

    OpenStoreFile m_heap;
    const std::int64_t m_size;
    std::int64_t m_first = 0;
    std::vector<std::uint8_t> m_window;
};

} // namespace Agent
