// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/cdependency.h"

#include "db/catalogplace.h"
#include "db/dbfiles.h"
#include "db/dblayouts.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "store/datafile.h"
#include "util/logdb.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

using namespace Agent;

std::string CDependency::DEPENDENCYDFNAME;
std::string CDependency::DEPENDENCYIDXNAME1;
std::string CDependency::DEPENDENCYIDXNAME2;

namespace
{

constexpr int length = Dependency::layout.recordLength;

// Records of a data file, in any order, read in blocks, and each block only once.
class RecordBlocks
{
public:
    // `wanted`: the number of records that will be read.
    RecordBlocks(DataFile* file, std::size_t wanted)
        : m_file(file), m_perBlock(wanted < manyRecords ? 8 : 1024)
    {
    }

    // Null for a missing one.
    std::uint8_t* Record(std::uint32_t number)
    {
        const std::uint32_t first = number / m_perBlock * m_perBlock;
        const auto [at, isNew] = m_blocks.try_emplace(first);
        std::vector<std::uint8_t>& block = at->second;
        if (isNew)
            Read(first, &block);
        const std::size_t offset = std::size_t(number - first) * length;
        return offset < block.size() ? block.data() + offset : nullptr;
    }

private:
    static constexpr std::size_t manyRecords = 100;

    void Read(std::uint32_t first, std::vector<std::uint8_t>* block)
    {
        block->resize(m_perBlock * length);
        const std::uint32_t got = GetBigRec(m_file, first, block->data(), m_perBlock);
        block->resize(got <= m_perBlock ? got * length : 0);
    }

    DataFile* const m_file;
    const std::uint32_t m_perBlock;
    std::map<std::uint32_t, std::vector<std::uint8_t>> m_blocks;
};

void AppendNames(DataFile* file, const std::vector<std::int32_t>& numbers, QByteArrayList& list)
{
    RecordBlocks blocks(file, numbers.size());
    list.reserve(list.size() + int(numbers.size()));
    for (const std::int32_t number : numbers) {
        std::uint8_t* const record = number >= 1 ? blocks.Record(std::uint32_t(number)) : nullptr;
        if (!record || !IsLive(record))
            continue;
        EndText(record, Dependency::name);
        list.append(QByteArray(GetText(record, Dependency::name)));
    }
}

} // namespace

// What is known of the keys of one product while the keys of new indexes are gathered, so that
// nothing need be searched. A key begins or ends with the product's number: it can only be equal
// to another one of the product.
class CDependency::ProductKeys
{
public:
    enum class Known { Nothing, New, There };

    // If the product is not new, nothing is known.
    ProductKeys(bool isNew, std::int32_t product)
        : m_isNew(isNew && product < firstOfNineDigits) { }

    Known First(const char* key)
    {
        return !m_isNew ? Known::Nothing : Put(m_first, key) ? Known::New : Known::There;
    }
    Known Second(const char* key)
    {
        return m_isNew && Put(m_second, key) ? Known::New : Known::Nothing;
    }

private:
    static constexpr std::int32_t firstOfNineDigits = 100'000'000;

    static bool Put(std::set<std::string>& keys, const char* key)
    {
        std::string folded(key);
        for (char& c : folded)
            c = char(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        return keys.insert(std::move(folded)).second;
    }

    const bool m_isNew;
    std::set<std::string> m_first;
    std::set<std::string> m_second;
};

class CDependency::Private
{
public:
    explicit Private(const DbOptions& options) : m_place(options) { }

    CatalogPlace m_place;
    std::array<std::uint8_t, length> m_record;
    std::int32_t m_nRecord = -1;
    std::int32_t m_nLastParent = 0; // the greatest one that names were stored for
    bool m_bCutKeys = false; // a name has pushed a digit of its product out of the second key
    DbFiles m_files{ Dependency::layout, m_place.Files() };
    Key m_key1{};
    Key m_key2{};
};

CDependency::CDependency() : CDependency(DbOptions()) { }

CDependency::CDependency(const DbOptions& options) : d(std::make_unique<Private>(options))
{
    if (DEPENDENCYDFNAME.empty())
        InitStaticMembers();
    AddNew();
}

CDependency::~CDependency() = default;

std::int32_t CDependency::RecordNumber() const
{
    return d->m_nRecord;
}

void CDependency::InitStaticMembers()
{
    const auto path = [folder = CatalogFolder()](const char* name) { return folder + name; };
    DEPENDENCYIDXNAME1 = path(Dependency::layout.indexes[0].fileName);
    DEPENDENCYIDXNAME2 = path(Dependency::layout.indexes[1].fileName);
    // Set last: if it is set, all are.
    DEPENDENCYDFNAME = path(Dependency::layout.fileName);
}

// ---- the files ----

std::vector<std::string> CDependency::Paths() const
{
    if (!d->m_place.Folder().empty())
        return CatalogPathsIn(d->m_place.Folder()).dependencies;
    return { DEPENDENCYDFNAME, DEPENDENCYIDXNAME1, DEPENDENCYIDXNAME2 };
}

// The folder in which to look for the current files; empty if the paths are used
// unchanged.
std::string CDependency::Folder() const
{
    const std::vector<std::string> paths = Paths();
    const std::string folder = paths[0].substr(0, paths[0].rfind('/') + 1);
    return !d->m_place.IsFixed() && paths == CatalogPathsIn(folder).dependencies ? folder
                                                                                 : std::string();
}

bool CDependency::Open()
try {
    const std::string folder = Folder();
    if (folder.empty())
        return OpenOrCreate(Paths());
    return OpenCurrentCatalog(folder, [this](const std::string& current) {
        Close();
        return OpenOrCreate(CatalogPathsIn(current).dependencies);
    });
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CDependency::Create()
try {
    Close();
    const std::string folder = Folder();
    const std::vector<std::string> paths
        = folder.empty() ? Paths() : CatalogPathsIn(CurrentCatalogFolder(folder)).dependencies;
    d->m_place.SetOpened(paths[0]);
    return d->m_files.Create(paths);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CDependency::OpenOrCreate(const std::vector<std::string>& paths)
{
    d->m_place.SetOpened(paths[0]);
    return d->m_place.Files().Exists(paths[0].c_str()) ? d->m_files.Open(paths)
                                                       : d->m_files.Create(paths);
}

bool CDependency::CreateAt(const std::vector<std::string>& paths)
{
    const bool created = d->m_files.Create(paths);
    if (created && d->m_place.IsPrivate())
        d->m_files.GatherKeys();
    return created;
}

bool CDependency::Close()
{
    WriteGathered(d->m_files);
    const bool closed = d->m_files.Close();
    d->m_place.Close();
    return closed;
}

bool CDependency::IsReplaced() const
{
    const std::string data = d->m_place.PathOf(Dependency::layout.fileName, DEPENDENCYDFNAME);
    if (!d->m_files.Data() || !d->m_place.IsReplaced(data))
        return false;
    qCInfo(logDb, "the change is refused: %s was replaced since it was opened", data.c_str());
    return true;
}

// ---- the record ----

void CDependency::AddNew()
{
    d->m_record.fill(0);
    d->m_nRecord = -1;
    d->m_key1.fill(0);
    d->m_key2.fill(0);
}

const char* CDependency::setName(const char* name)
{
    return SetText(d->m_record.data(), Dependency::name, name);
}

void CDependency::setParent(std::int32_t parent)
{
    PutInt32(d->m_record.data() + Dependency::parent, parent);
}

const char* CDependency::Name() const
{
    return GetText(d->m_record.data(), Dependency::name);
}

std::int32_t CDependency::Parent() const
{
    return GetInt32(d->m_record.data() + Dependency::parent);
}

void CDependency::MakeKey1(char* key) const
{
    char text[keyRoom];
    Dependency::MakeKey(d->m_record.data(), 0, text);
    std::strcpy(key, text);
}

void CDependency::MakeKey2(char* key) const
{
    char text[keyRoom];
    Dependency::MakeKey(d->m_record.data(), 1, text);
    std::strcpy(key, text);
}

void CDependency::MakeKeys()
{
    MakeKey1(d->m_key1.data());
    MakeKey2(d->m_key2.data());
}

// Files that were replaced during a change do not contain the change.
bool CDependency::SaveRecord()
try {
    return !IsReplaced() && Store() && !IsReplaced();
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CDependency::Store()
{
    ProductKeys unknown(false, 0);
    return d->m_nRecord == -1 ? AppendRecord(unknown) : UpdateRecord();
}

bool CDependency::AppendRecord(ProductKeys& keys)
{
    return d->m_files.Append(d->m_record.data(), &d->m_nRecord) && AddKeys(keys);
}

bool CDependency::AddKeys(ProductKeys& keys)
{
    MakeKeys();
    d->m_nLastParent = std::max(d->m_nLastParent, Parent());
    d->m_bCutKeys = d->m_bCutKeys || std::strlen(Name()) > Dependency::nameKeyWidth;
    using Known = ProductKeys::Known;
    const auto add = [this](int which, const Key& key, Known known) {
        return known != Known::There
            && d->m_files.AddKey(which, d->m_nRecord, key.data(), known == Known::New);
    };
    return add(0, d->m_key1, keys.First(d->m_key1.data()))
        && add(1, d->m_key2, d->m_bCutKeys ? Known::Nothing : keys.Second(d->m_key2.data()));
}

bool CDependency::UpdateRecord()
{
    if (!d->m_files.Write(d->m_nRecord, d->m_record.data()))
        return false;
    const auto move = [this](int which, Key& stored, const Key& key) {
        d->m_files.DeleteKey(which, d->m_nRecord, stored.data());
        stored = key;
        d->m_files.AddKey(which, d->m_nRecord, stored.data());
    };
    Key key;
    MakeKey1(key.data());
    if (std::strcmp(key.data(), d->m_key1.data()) != 0)
        move(0, d->m_key1, key);
    MakeKey2(key.data());
    if (!SameText(key.data(), d->m_key2.data()))
        move(1, d->m_key2, key);
    return true;
}

void CDependency::SaveDepends(std::int32_t parent, const QByteArrayList& names)
{
    StoreDepends(parent, names);
}

// False if something could not be written; a name that an index refuses does not count.
bool CDependency::StoreDepends(std::int32_t parent, const QByteArrayList& names)
try {
    if (IsReplaced())
        return false;
    const bool isGathering = d->m_files.IsGathering(0) && d->m_files.IsGathering(1);
    ProductKeys keys(isGathering && parent > d->m_nLastParent, parent);
    d->m_nLastParent = std::max(d->m_nLastParent, parent);
    std::vector<std::uint8_t> records;
    const auto set = [&](const QByteArray& name) {
        AddNew();
        setName(name);
        setParent(parent);
    };
    for (const QByteArray& name : names) {
        set(name);
        records.insert(records.end(), d->m_record.begin(), d->m_record.end());
    }
    std::int32_t number = -1;
    const bool stored = names.size() > 1 && d->m_files.AppendAll(records, &number);
    bool whole = true;
    for (const QByteArray& name : names) {
        set(name);
        SetError(taNoError);
        if (stored)
            d->m_nRecord = number++;
        const bool saved = stored ? AddKeys(keys) : AppendRecord(keys);
        whole = whole && (saved || taerror == taNoError);
    }
    return whole;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

void CDependency::LoadDepends(std::int32_t parent, QByteArrayList& list)
{
    Load(parent, true, list);
}

void CDependency::LoadOwnDepends(std::int32_t parent, QByteArrayList& list)
{
    Load(parent, false, list);
}

// Only the first key must be the parent's; later keys may have any parent.
void CDependency::Load(std::int32_t parent, bool toTheEnd, QByteArrayList& list)
try {
    list.clear();
    char key[keyRoom];
    Dependency::FormatParent(parent, key);
    std::vector<std::int32_t> numbers;
    // In a damaged index a walk may meet an item again.
    const std::size_t most = d->m_files.Data() ? FileLen(d->m_files.Data()) : 0;
    std::int32_t number;
    long at = parent;
    char before[keyRoom];
    bool more = d->m_files.Search(0, key, &number, key) && Dependency::ParentOfKey(key) == parent;
    while (more && numbers.size() < most) {
        numbers.push_back(number);
        std::memcpy(before, key, Dependency::parentKeyWidth);
        more = d->m_files.Next(0, &number, key);
        if (more && std::memcmp(before, key, Dependency::parentKeyWidth) != 0)
            at = Dependency::ParentOfKey(key);
        more = more && (toTheEnd ? at != 0 : at == parent);
    }
    if (d->m_files.Data())
        AppendNames(d->m_files.Data(), numbers, list);
} catch (const std::bad_alloc&) {
    list.clear();
    OutOfMemory();
}

void CDependency::RemoveAllDependencies(std::int32_t parent)
{
    RemoveAll(parent);
}

// A new product of a new database has none, and the index is not written to find that out.
bool CDependency::RemoveAll(std::int32_t parent)
try {
    if (IsReplaced())
        return false;
    if (d->m_files.IsGathering(0) && parent > d->m_nLastParent)
        return true;
    char key[keyRoom];
    std::int32_t number;
    do {
        Dependency::FormatParent(parent, key);
        SetError(taNoError);
    } while (d->m_files.Search(0, key, &number, key) && Dependency::ParentOfKey(key) == parent
             && RemoveOne(number, key));
    return taerror == taNoError;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// If a key and its record disagree, the index is damaged: only the key is removed, so that
// no other product's record is lost.
bool CDependency::RemoveOne(std::int32_t number, const char* found)
{
    std::array<std::uint8_t, length> record;
    char key[keyRoom];
    bool agrees = d->m_files.Read(number, record.data());
    if (agrees) {
        EndText(record.data(), Dependency::name);
        Dependency::MakeKey(record.data(), 0, key);
        agrees = SameText(key, found);
    }
    if (!agrees)
        return d->m_files.DeleteKey(0, number, found);
    d->m_record = record;
    MakeKeys();
    d->m_nRecord = -1;
    if (!d->m_files.Remove(number))
        return false;
    d->m_files.DeleteKey(1, number, d->m_key2.data());
    return d->m_files.DeleteKey(0, number, d->m_key1.data());
}
