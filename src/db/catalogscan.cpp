// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/catalogscan.h"

#include "db/dblayouts.h"
#include "db/dboptions.h"
#include "db/dbrecord.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "store/notesheap.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unordered_map>

using namespace Agent;

namespace
{

constexpr std::int64_t windowLength = 1 << 20;

// A heap of notes that keeps the part read last in memory: an update writes the notes in
// the order of the products.
class NotesReader
{
public:
    NotesReader(const std::string& path, StoreFiles& files)
        : m_heap(path.c_str(), O_RDONLY, 0, &files), m_size(m_heap ? m_heap.Size() : 0)
    {
    }

    std::string Read(std::int64_t offset)
    {
        const std::uint8_t* const bytes = offset < 0 ? nullptr : At(offset, blockHeaderLength);
        if (!bytes)
            return std::string();
        const BlockHeader header{ bytes[0], bytes[1], std::uint16_t(bytes[2] | bytes[3] << 8),
                                  GetInt32(bytes + 4) };
        if (header.status != blockInUse || !IsSoundBlock(header, offset, m_size)
            || TextLength(header) <= 0)
            return std::string();
        const auto length = std::size_t(TextLength(header));
        const std::uint8_t* const text = At(offset + blockHeaderLength, std::int64_t(length));
        return text ? std::string(reinterpret_cast<const char*>(text), length) : std::string();
    }

private:
    // `length` bytes of the heap; null if there are fewer.
    const std::uint8_t* At(std::int64_t offset, std::int64_t length)
    {
        const bool isHere
            = offset >= m_first && offset + length <= m_first + std::int64_t(m_window.size());
        return isHere || Load(offset, length) ? m_window.data() + (offset - m_first) : nullptr;
    }
    bool Load(std::int64_t offset, std::int64_t length)
    {
        const std::int64_t size = std::min(m_size - offset, std::max(length, windowLength));
        m_window.clear();
        if (size < length)
            return false;
        m_window.resize(std::size_t(size));
        m_first = offset;
        if (m_heap.ReadAt(off_t(offset), m_window.data(), m_window.size()))
            return true;
        m_window.clear();
        return false;
    }

    OpenStoreFile m_heap;
    const std::int64_t m_size;
    std::int64_t m_first = 0;
    std::vector<std::uint8_t> m_window;
};

using Names = std::vector<std::string>;

// The names of all products by the numbers of their records.
std::unordered_map<std::int32_t, Names> ReadDependencies(RecordReader& records)
{
    std::unordered_map<std::int32_t, Names> all;
    for (std::int32_t number = 1; number < records.Count(); ++number)
        if (const std::uint8_t* const record = records.Live(number))
            all[GetInt32(record + Dependency::parent)].emplace_back(
                GetText(record, Dependency::name));
    for (auto& [parent, names] : all) {
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
    }
    return all;
}

} // namespace

struct CatalogScan::Files {
    Files(const std::string& folder, StoreFiles& files)
        : products(folder, Catalog::layout, Catalog::Texts(), &files),
          notes(folder + Catalog::notesName + ".fil", files),
          dependencies(folder, Dependency::layout, { Dependency::name }, &files)
    {
    }

    RecordReader products;
    NotesReader notes;
    RecordReader dependencies;
    std::unordered_map<std::int32_t, Names> names;
    bool hasNames = false;
};

CatalogScan::CatalogScan() : CatalogScan(DbOptions()) { }

CatalogScan::CatalogScan(const DbOptions& options)
{
    const std::string folder = options.folder.empty() ? CatalogFolder() : options.folder;
    OpenCurrentCatalog(folder, [this, &options](const std::string& current) {
        m_files = std::make_unique<Files>(current, options.Files());
        return bool(*this);
    });
}

CatalogScan::~CatalogScan() = default;

CatalogScan::operator bool() const
{
    return bool(m_files->products);
}

bool CatalogScan::Next()
{
    const std::int32_t count = m_files->products ? m_files->products.Count() : 0;
    while (m_number < count && ++m_number < count) {
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

std::string CatalogScan::Description()
{
    const std::int32_t offset = GetInt32(m_record.data() + Catalog::noteOffset);
    // Without a product the record is empty, and 0 is an offset.
    const bool isHere = m_number > 0 && m_number < m_files->products.Count();
    return isHere ? m_files->notes.Read(offset) : std::string();
}

std::vector<std::string> CatalogScan::Dependencies()
{
    if (!m_files->hasNames && m_files->dependencies)
        m_files->names = ReadDependencies(m_files->dependencies);
    m_files->hasNames = true;
    const auto found = m_files->names.find(m_number);
    return found != m_files->names.end() ? found->second : Names();
}
