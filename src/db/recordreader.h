// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reads the records of a database's data file in blocks, without the record store: for
// checks and listings, which change nothing.

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
    // `folder` ends with a slash. `texts`: those that get a terminating zero if they have
    // none in the file.
    RecordReader(const std::string& folder, const DbLayout& layout, std::vector<TextField> texts);

    // Whether the file can be read.
    explicit operator bool() const { return bool(m_blocks); }
    // The number of whole records, including the header.
    std::int32_t Count() const;
    // Null for a missing or deleted record. Valid until the next call.
    const std::uint8_t* Live(std::int32_t number);

private:
    RecordBlocks m_blocks;
    const std::vector<TextField> m_texts;
};

} // namespace Agent
