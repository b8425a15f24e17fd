// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/dbcheck.h"

#include "db/dblayouts.h"
#include "db/dbrecord.h"
#include "db/generations.h"
#include "store/indexpage.h"
#include "store/notesheap.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <set>

namespace Agent
{

namespace
{

constexpr std::size_t mostFindings = 100;

void Tell(Findings* findings, const std::string& what)
{
    if (findings->size() < mostFindings)
        findings->push_back(what);
}

void TellAll(Findings* findings, const std::string& file, const Findings& what)
{
    for (const std::string& sentence : what)
        Tell(findings, file + ": " + sentence);
}

std::string RealFolder(const std::string& path)
{
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
    const std::string text = real ? real.get() : std::string();
    return text.substr(0, text.rfind('/') + 1);
}

// The names of a database may be links. Links into several folders lead to files that
// were not written together, even if they agree; if they do not, the faults say more.
void CompareFolders(const std::string& folder, const std::vector<std::string>& names,
                    DbFindings* findings)
{
    if (!findings->faults.empty())
        return;
    const std::string first = RealFolder(folder + names.front());
    for (const std::string& name : names) {
        const std::string other = RealFolder(folder + name);
        if (!first.empty() && !other.empty() && other != first)
            Tell(&findings->remarks,
                 name + " leads to another folder than " + names.front() + ": " + other + ", not "
                     + first);
    }
}

void AddNames(const DbLayout& layout, std::vector<std::string>* names)
{
    names->push_back(layout.fileName);
    for (int i = 0; i < layout.indexCount; ++i)
        names->push_back(layout.indexes[i].fileName);
}

// The content of one index file, looked up by record.
class IndexItems
{
public:
    IndexItems(const std::string& folder, const IndexLayout& layout, Findings* faults)
        : m_layout(layout)
    {
        TellAll(faults, layout.fileName,
                CheckIndex(folder + layout.fileName, layout.keyLength, layout.allowDuplicates,
                           &m_items));
        for (std::size_t i = 0; i < m_items.size(); ++i)
            m_byRecord.emplace(m_items[i].record, i);
    }

    const char* Name() const { return m_layout.fileName; }

    // Removes the item of a record and a key. False if it is not there.
    bool Take(std::int32_t record, const char* key)
    {
        const auto range = m_byRecord.equal_range(std::uint32_t(record));
        const auto at = std::find_if(range.first, range.second, [this, key](const auto& entry) {
            return SameText(m_items[entry.second].key.c_str(), key);
        });
        if (at == range.second)
            return false;
        m_byRecord.erase(at);
        return true;
    }

    // The record of a key in an index without equal keys, else 0.
    std::int32_t Holder(const char* key) const
    {
        if (m_layout.allowDuplicates)
            return 0;
        const auto below = [](const IndexEntry& item, const char* wanted) {
            return tacompkeys(item.key.c_str(), wanted, 0, 0, 0) < 0;
        };
        const auto at = std::lower_bound(m_items.begin(), m_items.end(), key, below);
        return at != m_items.end() && SameText(at->key.c_str(), key) ? std::int32_t(at->record) : 0;
    }

    void TellLeft(Findings* faults) const
    {
        for (const auto& [record, item] : m_byRecord)
            Tell(faults,
                 std::string(Name()) + ": the key '" + m_items[item].key + "' leads to record "
                     + std::to_string(record) + ", which does not have it");
    }

private:
    const IndexLayout& m_layout;
    std::vector<IndexEntry> m_items;
    std::multimap<std::uint32_t, std::size_t> m_byRecord;
};

using MakeKeyFunction = void (*)(const std::uint8_t*, int, char*);

struct Database {
    const DbLayout& layout;
    std::vector<TextField> texts; // the first one names a record to a reader
    MakeKeyFunction makeKey;
};

using Visit
    = std::function<void(std::int32_t number, const std::string& name, const std::uint8_t* record)>;

// Compares the records of a database with its indexes.
class Agreement
{
public:
    Agreement(const std::string& folder, const Database& database, DbFindings* findings)
        : m_database(database), m_records(folder, database.layout, database.texts),
          m_findings(findings)
    {
        const DbLayout& layout = database.layout;
        TellAll(&findings->faults, layout.fileName,
                CheckDataFile(folder + layout.fileName, layout.recordLength));
        for (int i = 0; i < layout.indexCount; ++i)
            m_indexes.emplace_back(folder, layout.indexes[i], &findings->faults);
    }

    // Calls `visit` with each live record, its number and its name.
    void Run(const Visit& visit)
    {
        for (std::int32_t number = 1; number < m_records.Count(); ++number) {
            const std::uint8_t* const record = m_records.Live(number);
            if (!record)
                continue;
            const std::string name = std::string(m_database.layout.fileName) + ": record "
                + std::to_string(number) + " (" + GetText(record, m_database.texts[0]) + ")";
            CheckRecord(number, record, name);
            visit(number, name, record);
        }
        for (const IndexItems& index : m_indexes)
            index.TellLeft(&m_findings->faults);
    }

    // Record numbers run from 0 to one less.
    std::int32_t Count() const { return m_records.Count(); }

private:
    // Saving goes from index to index and may end at the first one that refuses, so the
    // later ones say nothing more.
    void CheckRecord(std::int32_t number, const std::uint8_t* record, const std::string& name)
    {
        bool refused = false;
        for (int which = 0; which < m_database.layout.indexCount; ++which) {
            IndexItems& index = m_indexes[std::size_t(which)];
            char key[keyRoom];
            m_database.makeKey(record, which, key);
            if (index.Take(number, key) || refused)
                continue;
            const std::int32_t holder = index.Holder(key);
            refused = holder != 0;
            if (refused)
                Tell(&m_findings->remarks,
                     name + " was refused by " + index.Name() + ", where record "
                         + std::to_string(holder) + " has its key");
            else
                Tell(&m_findings->faults, name + " is not in " + index.Name());
        }
    }

    const Database& m_database;
    RecordReader m_records;
    std::vector<IndexItems> m_indexes;
    DbFindings* const m_findings;
};

std::vector<TextField> NamedBy(TextField name, std::vector<TextField> texts)
{
    texts.insert(texts.begin(), name);
    return texts;
}

// Which products have their description at which place.
using Owners = std::multimap<std::int32_t, std::string>;

// The offsets that the notes list as free: a free block can look as if it were in use.
std::set<std::int64_t> ListedAsFree(const std::string& notes)
{
    std::vector<IndexEntry> entries;
    CheckIndex(notes + ".k1", freeKeyLength, true, &entries);
    std::set<std::int64_t> offsets;
    for (const IndexEntry& entry : entries)
        offsets.insert(entry.record);
    return offsets;
}

void CheckOwners(const std::string& folder, const Owners& owners, DbFindings* findings)
{
    const std::string name = Catalog::notesName;
    TellAll(&findings->faults, name, CheckNotes(folder + name));
    OpenStoreFile heap((folder + name + ".fil").c_str(), O_RDONLY | O_NONBLOCK, 0);
    if (!heap)
        return;
    const std::set<std::int64_t> isFree = ListedAsFree(folder + name);
    for (const Block& block : WalkBlocks(heap).blocks) {
        if (block.header.status != blockInUse || isFree.count(block.offset) > 0)
            continue;
        const auto [first, last] = owners.equal_range(std::int32_t(block.offset));
        const std::string note = name + ": the note at offset " + std::to_string(block.offset);
        if (first == last)
            Tell(&findings->faults, note + " belongs to no product");
        else if (std::next(first) != last)
            Tell(&findings->faults,
                 note + " belongs to more than one product: " + first->second + ", "
                     + std::next(first)->second);
    }
}

void CheckDependencies(const std::string& folder, const std::vector<bool>& products,
                       DbFindings* findings)
{
    const Database database{ Dependency::layout, { Dependency::name }, Dependency::MakeKey };
    Agreement(folder, database, findings)
        .Run([&](std::int32_t, const std::string& name, const std::uint8_t* record) {
            const std::int32_t parent = GetInt32(record + Dependency::parent);
            if (parent < 1 || std::size_t(parent) >= products.size()
                || !products[std::size_t(parent)])
                Tell(&findings->faults,
                     name + " belongs to product record " + std::to_string(parent)
                         + ", which is not there");
        });
}

} // namespace

DbFindings CheckCatalog(const std::string& described)
{
    const PinnedGeneration current(described);
    const std::string& folder = current.Folder();
    DbFindings findings;
    const Database database{ Catalog::layout, NamedBy(Catalog::name, Catalog::Texts()),
                             Catalog::MakeKey };
    Agreement agreement(folder, database, &findings);
    std::vector<bool> products(std::size_t(agreement.Count()));
    Owners owners;
    agreement.Run([&](std::int32_t number, const std::string& name, const std::uint8_t* record) {
        products[std::size_t(number)] = true;
        owners.emplace(GetInt32(record + Catalog::noteOffset), name);
    });
    CheckOwners(folder, owners, &findings);
    CheckDependencies(folder, products, &findings);
    std::vector<std::string> names;
    AddNames(Catalog::layout, &names);
    AddNames(Dependency::layout, &names);
    for (const char* const ending : { ".fil", ".k1" })
        names.push_back(Catalog::notesName + std::string(ending));
    CompareFolders(folder, names, &findings);
    return findings;
}

DbFindings CheckRecent(const std::string& folder)
{
    DbFindings findings;
    const Database database{ Recent::layout,
                             NamedBy(Recent::description,
                                     { std::begin(Recent::texts), std::end(Recent::texts) }),
                             Recent::MakeKey };
    Agreement(folder, database, &findings).Run([](auto&&...) {});
    std::vector<std::string> names;
    AddNames(Recent::layout, &names);
    CompareFolders(folder, names, &findings);
    return findings;
}

} // namespace Agent
