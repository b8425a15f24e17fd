// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The records of a data file or index, read without changing it.

#pragma once

#include "report.h"
#include "store/datafile.h"
#include "store/recordblocks.h"
#include "store/storecheck.h"
#include "subject.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace DbTool
{

using Agent::Findings;
using Agent::IndexEntry;
using Agent::RecordBlocks;

// Throws Trouble unless `path` is a readable file.
void RequireFile(const std::string& path);

// The path with all links resolved; the path itself if there is no such file.
std::string RealPath(const std::string& path);

class RecordFile
{
public:
    // Throws Trouble as RequireFile does.
    RecordFile(const std::string& path, int recordLength);

    int RecordLength() const { return m_blocks.RecordLength(); }
    std::int64_t FileSize() const { return m_blocks.FileSize(); }
    std::uint32_t Count() const { return std::uint32_t(m_blocks.Count()); }
    // Bytes after the last whole record.
    int Rest() const { return int(FileSize() % RecordLength()); }

    // The record, valid until the next call; null without such a record.
    const std::uint8_t* Read(std::uint32_t number) { return m_blocks.Read(number); }

    // False if the file has no header.
    bool ReadHeader(DataFileHeader* header);

    // The deleted records, as far as their chain is sound.
    std::vector<bool> FreeChain();

private:
    RecordBlocks m_blocks;
};

// Whether a header has the only valid version.
bool HasVersion(const DataFileHeader& header);

// The data file of an index.
class LinkedData
{
public:
    // Throws Trouble if the options do not describe the file.
    LinkedData(const Options& options, int keyLength);

    std::uint32_t Count() const { return m_records.Count(); }
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
