// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The records of a database's data file as they stand in the file, read in
// blocks and past the store: for checks and listings, which change nothing.

#pragma once

#include "store/recordblocks.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Agent
{

struct DbLayout;
struct TextField;

class RecordReader
{
public:
    // `folder` ends with a slash. The texts are those that get an end where the
    // file has none for them.
    RecordReader(const std::string& folder, const DbLayout& layout, std::vector<TextField> texts);

    // Whether the file can be read.
    explicit operator bool() const { return bool(m_blocks); }
    // Whole records, the header included.
    std::int32_t Count() const;
    // Null for one that is not there, or deleted. Good until the next call.
    const std::uint8_t* Live(std::int32_t number);

private:
    RecordBlocks m_blocks;
    const std::vector<TextField> m_texts;
};

} // namespace Agent
