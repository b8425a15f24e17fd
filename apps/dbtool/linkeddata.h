// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The data file that an index leads to.

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
    // Throws Trouble if the options do not describe it.
    LinkedData(const Options& options, int keyLength);

    std::uint32_t count() const { return m_records.count(); }
    // A record number outside the file is not live.
    bool IsLive(std::uint32_t number) { return LiveRecord(number) != nullptr; }
    // The key in a live record; empty without a key field.
    std::string KeyOf(std::uint32_t number);

    // What does not fit between the two: each live record has one item, with its
    // own key where the field is known, and there are no others.
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
