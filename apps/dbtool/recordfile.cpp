// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "recordfile.h"

#include "report.h"
#include "store/bytes.h"
#include "store/indexpage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace DbTool
{

void RequireFile(const std::string& path)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0 || ::access(path.c_str(), R_OK) != 0)
        throw Trouble::Because("cannot read " + path);
    if (!S_ISREG(status.st_mode))
        throw Trouble("cannot read " + path + ": not a regular file");
}

std::string RealPath(const std::string& path)
{
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
    return real ? real.get() : path;
}

RecordFile::RecordFile(const std::string& path, int recordLength)
    : m_blocks((RequireFile(path), path), recordLength)
{
    if (!m_blocks)
        throw Trouble::Because("cannot read " + path);
    if (m_blocks.Count() > INT32_MAX)
        throw Trouble("cannot read " + path + ": it has more records than there are numbers");
}

bool RecordFile::ReadHeader(DataFileHeader* header)
{
    const std::uint8_t* const record = Read(0);
    if (record)
        *header = ReadDataFileHeader(record);
    return record != nullptr;
}

std::vector<bool> RecordFile::FreeChain()
{
    std::vector<bool> isFree(Count());
    DataFileHeader header;
    if (!ReadHeader(&header) || !HasVersion(header))
        return isFree;
    for (std::int32_t at = header.firstFree; at > 0 && std::uint32_t(at) < Count();) {
        const std::uint8_t* const record = Read(std::uint32_t(at));
        const std::int32_t next = record ? GetInt32(record) : 0;
        if (next == 0 || isFree[std::size_t(at)])
            break;
        isFree[std::size_t(at)] = true;
        at = next;
    }
    return isFree;
}

bool HasVersion(const DataFileHeader& header)
{
    return strncasecmp(header.version, VERSION, sizeof header.version) == 0;
}

namespace
{

// With the longest keys, a full page keeps only this much of its last key.
constexpr std::size_t cutKey = 102;

int RecordLengthFor(const Options& options)
{
    if (!options.recordLength)
        throw WrongUsage("--data needs --record-length");
    return *options.recordLength;
}

} // namespace

LinkedData::LinkedData(const Options& options, int keyLength)
    : m_keyLength(keyLength), m_keyField(options.keyField),
      m_records(options.data, RecordLengthFor(options))
{
    if (m_keyField && m_keyField->offset + m_keyField->length > m_records.RecordLength())
        throw WrongUsage("the key field ends after the end of the record");
}

const std::uint8_t* LinkedData::LiveRecord(std::uint32_t number)
{
    const std::uint8_t* const record = number > 0 ? m_records.Read(number) : nullptr;
    return record && GetInt32(record) == 0 ? record : nullptr;
}

std::string LinkedData::KeyOf(std::uint32_t number)
{
    const std::uint8_t* const record = LiveRecord(number);
    if (!record || !m_keyField)
        return {};
    const auto* const field = reinterpret_cast<const char*>(record) + m_keyField->offset;
    return { field, strnlen(field, std::size_t(std::min(m_keyField->length, m_keyLength))) };
}

bool LinkedData::HasKey(const IndexEntry& entry)
{
    std::string key = KeyOf(entry.record);
    if (m_keyLength == longestKey && entry.key.size() == cutKey)
        key.resize(std::min(key.size(), cutKey));
    return !m_keyField || key == entry.key;
}

Findings LinkedData::Compare(const std::vector<IndexEntry>& entries, std::size_t most)
{
    Findings findings;
    std::vector<bool> hasKey(std::max(Count(), 1u));
    for (const IndexEntry& entry : entries) {
        const std::string way
            = "the key " + Escaped(entry.key) + " leads to record " + Number(entry.record);
        if (!IsLive(entry.record))
            findings.push_back(way + ", which is not a live one");
        else if (hasKey[entry.record])
            findings.push_back(way + ", to which another one leads already");
        else if (!HasKey(entry))
            findings.push_back(way + ", whose key is " + Escaped(KeyOf(entry.record)));
        if (IsLive(entry.record))
            hasKey[entry.record] = true;
    }
    for (std::uint32_t number = 1; number < Count(); ++number)
        if (!hasKey[number] && IsLive(number))
            findings.push_back("no key leads to record " + Number(number));
    if (findings.size() > most)
        findings.resize(most);
    return findings;
}

std::vector<IndexEntry> LinkedData::Entries()
{
    std::vector<IndexEntry> entries;
    for (std::uint32_t number = 1; number < Count(); ++number)
        if (IsLive(number))
            entries.push_back({ KeyOf(number), number });
    return entries;
}

} // namespace DbTool
