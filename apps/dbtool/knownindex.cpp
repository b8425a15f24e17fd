// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "knownindex.h"

#include "db/dbrecord.h"
#include "recordfile.h"
#include "report.h"
#include "store/indexpage.h"

#include <algorithm>
#include <map>
#include <set>
#include <unistd.h>

using namespace Agent;

namespace DbTool
{

namespace
{

std::vector<KnownIndex> AllKnown()
{
    std::vector<KnownIndex> known;
    const auto add = [&known](const DbLayout& layout, auto* makeKey, std::vector<TextField> texts) {
        for (int which = 0; which < layout.indexCount; ++which)
            known.push_back({ &layout, which, makeKey, texts, {} });
    };
    add(Catalog::layout, Catalog::MakeKey, Catalog::Texts());
    add(Dependency::layout, Dependency::MakeKey, { Dependency::name });
    add(Recent::layout, Recent::MakeKey, { std::begin(Recent::texts), std::end(Recent::texts) });
    return known;
}

std::string FolderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

std::string NameIn(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// A key with its letter case folded as the indexes compare it.
std::string Folded(std::string key)
{
    std::transform(key.begin(), key.end(), key.begin(), FoldCase);
    return key;
}

// Makes the items of one index from the records of its data file.
//
// Most records simply get their key. But an index without equal keys refuses the second
// record with a key, and saving a record ends at the first index that refuses it, so the
// record is missing in that index and all later ones. The data file alone does not show
// which record was first. Hence three passes: the records that nothing can have refused,
// then those that the old index has, which hold their keys, and then the rest, which get in
// only where their key is free.
class Rebuild
{
public:
    Rebuild(const KnownIndex& index, const std::vector<IndexEntry>& old, bool isOldWhole,
            RepairReport* report)
        : m_index(index), m_records(index.folder, *index.layout, index.texts),
          m_isOldWhole(isOldWhole), m_report(report)
    {
        for (const IndexEntry& entry : old)
            m_old.emplace(entry.record, entry.key);
    }

    std::vector<IndexEntry> Run()
    {
        FindSharedKeys();
        ForEachRecord([this](auto number, auto* record) { TakeClear(number, record); });
        ForEachRecord([this](auto number, auto* record) { TakeHolder(number, record); });
        ForEachRecord([this](auto number, auto* record) { TakeOther(number, record); });
        if (!m_old.empty())
            m_report->done.push_back(
                Count(std::int64_t(m_old.size()), "item")
                + " of the index left out, whose record is deleted or has another key");
        return std::move(m_entries);
    }

private:
    std::string KeyOf(const std::uint8_t* record, int which) const
    {
        char key[keyRoom];
        m_index.makeKey(record, which, key);
        return key;
    }

    template <typename Visit> void ForEachRecord(Visit visit)
    {
        for (std::int32_t number = 1; number < m_records.Count(); ++number)
            if (const std::uint8_t* const record = m_records.Live(number))
                visit(number, record);
    }

    void FindSharedKeys()
    {
        m_seen.resize(std::size_t(m_index.which) + 1);
        ForEachRecord([this](std::int32_t, const std::uint8_t* record) {
            for (int which = 0; which <= m_index.which; ++which)
                if (!m_index.layout->indexes[which].allowDuplicates)
                    ++m_seen[std::size_t(which)][Folded(KeyOf(record, which))];
        });
    }

    bool SharesKey(const std::uint8_t* record, int which) const
    {
        const auto& seen = m_seen[std::size_t(which)];
        const auto at = seen.find(Folded(KeyOf(record, which)));
        return at != seen.end() && at->second > 1;
    }

    // Whether this index, or one before it, may have refused the record.
    bool MayBeRefused(const std::uint8_t* record) const
    {
        for (int which = 0; which <= m_index.which; ++which)
            if (SharesKey(record, which))
                return true;
        return false;
    }

    // Replaces `key` by its spelling in the old index. False if the record is not there.
    bool TakeOld(std::int32_t number, std::string* key)
    {
        const auto [first, last] = m_old.equal_range(std::uint32_t(number));
        const auto at = std::find_if(
            first, last, [key](const auto& entry) { return Folded(entry.second) == Folded(*key); });
        if (at == last)
            return false;
        *key = at->second;
        m_old.erase(at);
        return true;
    }

    void Add(std::int32_t number, std::string key)
    {
        m_entries.push_back({ std::move(key), std::uint32_t(number) });
    }

    void TakeClear(std::int32_t number, const std::uint8_t* record)
    {
        if (MayBeRefused(record))
            return;
        std::string key = KeyOf(record, m_index.which);
        TakeOld(number, &key);
        Add(number, std::move(key));
    }

    // The records that may have been refused, but are in the old index.
    void TakeHolder(std::int32_t number, const std::uint8_t* record)
    {
        std::string key = KeyOf(record, m_index.which);
        if (!MayBeRefused(record) || !TakeOld(number, &key))
            return;
        m_holders.emplace(Folded(key), number);
        m_taken.insert(number);
        Add(number, std::move(key));
    }

    void TakeOther(std::int32_t number, const std::uint8_t* record)
    {
        if (!MayBeRefused(record) || m_taken.count(number) > 0)
            return;
        const std::string key = KeyOf(record, m_index.which);
        const std::string name = "record " + Number(number) + " with the key " + Escaped(key);
        if (SharesKey(record, m_index.which)) {
            const auto [holder, isFirst] = m_holders.emplace(Folded(key), number);
            if (isFirst)
                Add(number, key);
            else if (m_taken.count(holder->second) > 0)
                m_report->done.push_back(name + " stays out: record " + Number(holder->second)
                                         + " has that key in the index");
            else if (HasTwin(record, holder->second))
                m_report->done.push_back(name + " stays out: record " + Number(holder->second)
                                         + " is the same");
            else
                m_report->missing.push_back(name + ": record " + Number(holder->second)
                                            + " has that key too, and it is unknown which of "
                                              "them was in the index");
            return;
        }
        m_report->done.push_back(name + (m_isOldWhole ? " stays out" : " gets in")
                                 + ": another index of the database may have refused it");
        if (!m_isOldWhole)
            Add(number, key);
    }

    // Saving a product repeatedly may have left several copies of a dependency.
    bool HasTwin(const std::uint8_t* record, std::int32_t number)
    {
        const auto length = std::size_t(m_index.layout->recordLength);
        const std::vector<std::uint8_t> copy(record, record + length);
        const std::uint8_t* const other = m_records.Live(number);
        return other && std::equal(copy.begin(), copy.end(), other);
    }

    const KnownIndex& m_index;
    ::RecordReader m_records;
    const bool m_isOldWhole;
    RepairReport* const m_report;
    std::multimap<std::uint32_t, std::string> m_old; // items not matched to a record yet
    std::vector<std::map<std::string, int>> m_seen; // records per key, for unique keys
    std::map<std::string, std::int32_t> m_holders; // of the shared keys
    std::set<std::int32_t> m_taken; // records that hold their keys in the old index
    std::vector<IndexEntry> m_entries;
};

} // namespace

std::optional<KnownIndex> FindKnownIndex(const std::string& path)
{
    const std::string real = RealPath(path);
    for (KnownIndex& known : AllKnown()) {
        if (NameIn(path) != known.Index().fileName && NameIn(real) != known.Index().fileName)
            continue;
        for (const std::string& folder : { FolderOf(real), FolderOf(path) })
            if (known.folder.empty()
                && ::access((folder + known.layout->fileName).c_str(), R_OK) == 0)
                known.folder = folder.empty() ? "./" : folder;
        return known;
    }
    return std::nullopt;
}

std::vector<IndexEntry> EntriesOfRecords(const KnownIndex& index,
                                         const std::vector<IndexEntry>& old, bool isOldWhole,
                                         RepairReport* report)
{
    return Rebuild(index, old, isOldWhole, report).Run();
}

} // namespace DbTool
