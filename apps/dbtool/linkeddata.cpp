// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "linkeddata.h"

#include "store/bytes.h"
#include "store/indexpage.h"

#include <algorithm>
#include <cstring>

using namespace Agent;

namespace DbTool
{

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
    if (m_keyField && m_keyField->offset + m_keyField->length > m_records.recordLength())
        throw WrongUsage("the key field ends behind the record");
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
    std::vector<bool> hasKey(std::max(count(), 1u));
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
    for (std::uint32_t number = 1; number < count(); ++number)
        if (!hasKey[number] && IsLive(number))
            findings.push_back("no key leads to record " + Number(number));
    if (findings.size() > most)
        findings.resize(most);
    return findings;
}

std::vector<IndexEntry> LinkedData::Entries()
{
    std::vector<IndexEntry> entries;
    for (std::uint32_t number = 1; number < count(); ++number)
        if (IsLive(number))
            entries.push_back({ KeyOf(number), number });
    return entries;
}

} // namespace DbTool
