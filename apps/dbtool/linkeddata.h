// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The data file of an index.

#pragma once

#include "recordfile.h"
#include "report.h"
#include "store/storecheck.h"
#include "subject.h"

namespace DbTool
{

using Agent::Findings;
using Agent::IndexEntry;

class LinkedData
{
public:
    // Throws Trouble if the options do not describe the file.
    LinkedData(const Options& options, int keyLength);

    std::uint32_t count() const { return m_records.count(); }
    // A record number outside the file is not live.
    bool IsLive(std::uint32_t number) { return LiveRecord(number) != nullptr; }
    // The key in a live record; empty without a key field.
    std::string KeyOf(std::uint32_t number);

    // The differences between the two: each live record must have one item, with the
    // record's key if the field is known, and there must be no other items.
    Findings Compare(const std::vector<IndexEntry>& entries, std::size_t most = mostFindings);

    // Each live record as an item. The key field must be known.
    std::vector<IndexEntry> Entries();

private:
    const std::uint8_t* LiveRecord(std::uint32_t number);
    bool HasKey(const IndexEntry& entry);

    const int m_keyLength;
    const std::optional<KeyField> m_keyField;
    RecordFile m_records;
};

} // namespace DbTool
