// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/catalogscan.h"

#include "db/dblayouts.h"
#include "db/dboptions.h"
#include "db/dbrecord.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "db/mixedhash.h"
#include "db/notesreader.h"

#include <algorithm>
#include <cstring>
#include <tuple>
#include <unordered_map>

using namespace Agent;

namespace
{

using Names = std::vector<std::string>;

void SortNames(Names& names)
{
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
}

// The names of one product. They are anywhere in the file, but a look at each record costs little
// beside keeping all names.
Names ReadDependenciesOf(std::int32_t product, RecordReader& records)
{
    Names names;
    for (std::int32_t number = 1; number < records.Count(); ++number) {
        const std::uint8_t* const record = records.Live(number);
        if (record && GetInt32(record + Dependency::parent) == product)
            names.emplace_back(GetText(record, Dependency::name));
    }
    SortNames(names);
    return names;
}

// The names of all products by the numbers of their records.
std::unordered_map<std::int32_t, Names> ReadDependencies(RecordReader& records)
{
    std::unordered_map<std::int32_t, Names> all;
    for (std::int32_t number = 1; number < records.Count(); ++number)
        if (const std::uint8_t* const record = records.Live(number))
            all[GetInt32(record + Dependency::parent)].emplace_back(
                GetText(record, Dependency::name));
    for (auto& [parent, names] : all)
        SortNames(names);
    return all;
}

// A name that the product with a record depends on.
struct NameHash {
    std::int32_t parent;
    std::uint64_t hash;

    bool operator<(const NameHash& other) const
    {
        return std::tie(parent, hash) < std::tie(other.parent, other.hash);
    }
    bool operator==(const NameHash& other) const
    {
        return parent == other.parent && hash == other.hash;
    }
};

// By their parents, each name once: a fifth of the memory and time of the names themselves.
std::vector<NameHash> ReadNameHashes(RecordReader& records)
{
    std::vector<NameHash> all;
    all.reserve(std::size_t(records.Count()));
    for (std::int32_t number = 1; number < records.Count(); ++number)
        if (const std::uint8_t* const record = records.Live(number))
            all.push_back({ GetInt32(record + Dependency::parent),
                            HashOf(GetText(record, Dependency::name)) });
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

} // namespace

struct CatalogScan::Files {
    Files(const std::string& folder, const DbOptions& scanned, StoreFiles& files)
        : products(folder, Catalog::layout, Catalog::Texts(), &files),
          notes(folder + Catalog::notesName + ".fil", files),
          dependencies(folder, Dependency::layout, { Dependency::name }, &files), options(scanned)
    {
    }

    RecordReader products;
    NotesReader notes;
    RecordReader dependencies;
    const DbOptions options; // to open the same again
    std::unordered_map<std::int32_t, Names> names;
    std::int32_t firstAsked = 0; // the only product that `names` has, unless it has all
    bool hasNames = false;
    std::vector<NameHash> hashes;
    bool hasHashes = false;
};

CatalogScan::CatalogScan() : CatalogScan(DbOptions()) { }

CatalogScan::CatalogScan(const DbOptions& options)
{
    const std::string folder = options.folder.empty() ? CatalogFolder() : options.folder;
    OpenCurrentCatalog(folder, [this, &options](const std::string& current) {
        m_files = std::make_unique<Files>(current, options, options.Files());
        return bool(*this);
    });
    m_end = *this ? m_files->products.Count() : 0;
}

CatalogScan::~CatalogScan() = default;

CatalogScan::operator bool() const
{
    return bool(m_files->products);
}

bool CatalogScan::Next()
{
    while (m_number < m_end && ++m_number < m_end) {
        const std::uint8_t* const record = m_files->products.Live(m_number);
        if (!record)
            continue;
        std::memcpy(m_record.data(), record, m_record.size());
        Catalog::CutCategory(m_record.data());
        return true;
    }
    m_record.fill(0);
    return false;
}

bool CatalogScan::MoveTo(std::int32_t number)
{
    m_number = number > 0 && number < m_end ? number - 1 : m_end;
    return Next() && m_number == number;
}

std::unique_ptr<CatalogScan> CatalogScan::SecondHalf()
{
    auto rest = std::make_unique<CatalogScan>(m_files->options);
    if (!rest->m_files->products.IsSameFile(m_files->products))
        return nullptr;
    const std::int32_t middle = m_number + (m_end - m_number) / 2;
    rest->m_number = middle;
    rest->m_end = m_end;
    m_end = std::min(m_end, middle + 1);
    return rest;
}

std::string_view CatalogScan::DescriptionView()
{
    const std::int32_t offset = GetInt32(m_record.data() + Catalog::noteOffset);
    // Without a product the record is empty, and 0 is an offset.
    const bool isHere = m_number > 0 && m_number < m_files->products.Count();
    return isHere ? m_files->notes.View(offset) : std::string_view();
}

std::string CatalogScan::Description()
{
    return std::string(DescriptionView());
}

std::vector<std::string> CatalogScan::Dependencies()
{
    const bool isFirst = m_files->firstAsked == 0 || m_files->firstAsked == m_number;
    if (!m_files->hasNames && m_files->dependencies && m_number > 0) {
        if (!isFirst)
            m_files->names = ReadDependencies(m_files->dependencies);
        else if (m_files->firstAsked == 0)
            m_files->names[m_number] = ReadDependenciesOf(m_number, m_files->dependencies);
        m_files->hasNames = !isFirst;
        m_files->firstAsked = m_number;
    }
    const auto found = m_files->names.find(m_number);
    return found != m_files->names.end() ? found->second : Names();
}

std::uint64_t CatalogScan::ContentHash()
{
    Files& files = *m_files;
    if (!files.hasHashes && files.dependencies)
        files.hashes = ReadNameHashes(files.dependencies);
    files.hasHashes = true;
    std::uint64_t hash = HashOfFields();
    MixIn(hash, HashOf(DescriptionView()));
    auto name = std::lower_bound(files.hashes.begin(), files.hashes.end(), NameHash{ m_number, 0 });
    for (; name != files.hashes.end() && name->parent == m_number; ++name)
        MixIn(hash, name->hash);
    return hash;
}
