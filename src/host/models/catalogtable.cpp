// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/catalogtable.h"

#include "db/dblayouts.h"
#include "db/generations.h"
#include "db/productsearch.h"
#include "util/showntext.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <sys/stat.h>
#include <unordered_set>

using namespace Agent;

namespace Pakmart
{

namespace
{

struct TextSource {
    CatalogText text;
    TextField field;
    bool isFrequent; // many products have the same
};

constexpr TextSource sources[] = {
    { NameText, Catalog::name, false },
    { PackageText, Catalog::packageName, false },
    { VersionText, Catalog::version, true },
    { VendorText, Catalog::vendor, true },
    { CopyrightText, Catalog::copyright, true },
    { PriceText, Catalog::price, true },
    { ReleasedText, Catalog::releaseDate, true },
    { ReviewScoreText, Catalog::reviewScore, true },
    { CategoryRankingText, Catalog::categoryRanking, true },
    { SubcategoryRankingText, Catalog::subCategoryRanking, true },
    { RankingText, Catalog::vantrelRanking, true },
    { CategoryPageText, Catalog::categoryUrl, true },
    { PageText, Catalog::applicationUrl, false },
    { AuthorPageText, Catalog::authorUrl, true },
};

std::string DataFileIn(const std::string& folder)
{
    return folder + Catalog::layout.fileName;
}

} // namespace

std::uint32_t CatalogTable::count() const
{
    return blocks.empty() ? 0
                          : std::uint32_t(blocks.size() - 1) * perBlock
            + std::uint32_t(blocks.back()->entries.size());
}

bool CatalogTable::isSame(std::uint32_t place, const CatalogTable& other,
                          std::uint32_t otherPlace) const
{
    const CatalogEntry& a = entry(place);
    const CatalogEntry& b = other.entry(otherPlace);
    if (a.downloads != b.downloads || a.size != b.size
        || categories[a.category].name != other.categories[b.category].name)
        return false;
    for (int at = 0; at < CatalogTextCount; ++at)
        if (std::strcmp(text(place, CatalogText(at)), other.text(otherPlace, CatalogText(at))) != 0)
            return false;
    return true;
}

std::size_t CatalogTable::bytesUsed() const
{
    std::size_t bytes = (byName.capacity() + nameRank.capacity()) * sizeof(std::uint32_t);
    for (const auto& block : blocks)
        bytes += block->texts.capacity() + block->entries.capacity() * sizeof(CatalogEntry);
    return bytes;
}

struct CatalogTableReader::Files {
    explicit Files(const std::string& folder)
        : products(folder, Catalog::layout, Catalog::Texts()),
          notes(folder + Catalog::notesName + ".fil"),
          notesOfTables(std::make_shared<CatalogNotes>(folder))
    {
    }

    RecordReader products;
    NotesReader notes;
    // Others use them as soon as the first table is published.
    std::shared_ptr<CatalogNotes> notesOfTables;
};

CatalogTableReader::CatalogTableReader(const std::string& folder)
{
    OpenCurrentCatalog(folder, [this](const std::string& current) {
        m_files = std::make_unique<Files>(current);
        return bool(m_files->products);
    });
    struct stat info = {};
    const bool isMissing = stat(DataFileIn(folder).c_str(), &info) != 0 && errno == ENOENT;
    // Even an empty catalog has a header.
    if (m_files && m_files->products && m_files->products.Count() > 0)
        m_table.condition = CatalogTable::Readable;
    else
        m_table.condition = isMissing ? CatalogTable::Missing : CatalogTable::Unreadable;
    m_table.isWhole = m_table.condition != CatalogTable::Readable;
    if (m_files)
        m_table.notes = m_files->notesOfTables;
}

CatalogTableReader::~CatalogTableReader() = default;

bool CatalogTableReader::readBlock()
{
    if (m_table.isWhole)
        return false;
    auto block = std::make_shared<CatalogBlock>();
    block->entries.reserve(CatalogTable::perBlock);
    for (auto& known : m_known)
        known.clear();
    const std::int32_t count = m_files->products.Count();
    while (m_number + 1 < count && block->entries.size() < CatalogTable::perBlock)
        if (const std::uint8_t* const record = m_files->products.Live(++m_number))
            take(record, *block);
    block->texts.shrink_to_fit();
    block->entries.shrink_to_fit();
    m_table.isWhole = m_number + 1 >= count;
    if (!block->entries.empty())
        m_table.blocks.push_back(std::move(block));
    return !m_table.isWhole;
}

std::uint32_t CatalogTableReader::store(CatalogBlock& block, int text, std::string_view bytes)
{
    auto& known = m_known[std::size_t(text)];
    const auto found = known.find(std::string(bytes));
    if (found != known.end())
        return found->second;
    const auto at = std::uint32_t(block.texts.size());
    block.texts.append(bytes).push_back('\0');
    known.emplace(bytes, at);
    return at;
}

std::uint32_t CatalogTableReader::categoryOf(const char* name)
{
    const auto known = m_categories.find(name);
    if (known != m_categories.end())
        return known->second;
    // Letter case and blanks do not distinguish categories.
    const QString line = ShownLine(QString::fromUtf8(name));
    const auto [at, isNew]
        = m_folded.emplace(line.toCaseFolded().toStdString(), m_table.categories.size());
    if (isNew)
        m_table.categories.push_back({ line, 0 });
    return m_categories[name] = at->second;
}

void CatalogTableReader::take(const std::uint8_t* record, CatalogBlock& block)
{
    std::array<std::uint8_t, 2012> copy;
    std::memcpy(copy.data(), record, copy.size());
    Catalog::CutCategory(copy.data());
    CatalogEntry entry = {};
    for (const TextSource& source : sources) {
        const std::string_view bytes = GetText(copy.data(), source.field);
        std::uint32_t& at = entry.texts[std::size_t(source.text)];
        at = std::uint32_t(block.texts.size());
        if (source.isFrequent || bytes.empty())
            at = store(block, source.isFrequent ? int(source.text) : int(SummaryText), bytes);
        else
            block.texts.append(bytes).push_back('\0');
    }
    entry.serial = GetInt32(copy.data() + Catalog::serverSerialNumber.offset);
    entry.record = m_number;
    entry.note = GetInt32(copy.data() + Catalog::noteOffset);
    entry.downloads = GetInt32(copy.data() + Catalog::downloads.offset);
    entry.size = GetInt32(copy.data() + Catalog::fileSize.offset);
    entry.category = categoryOf(GetText(copy.data(), Catalog::category));
    entry.hidden = copy[std::size_t(Catalog::hidden.offset)] != 0;
    const std::string description = m_files->notes.Read(entry.note);
    // A zero byte of a damaged note ends the line as well.
    const std::size_t end = std::min(description.find('\n'), description.find('\0'));
    entry.texts[SummaryText] = std::uint32_t(block.texts.size());
    block.texts.append(description, 0, end).push_back('\0');
    m_table.categories[entry.category].products += entry.hidden ? 0 : 1;
    block.entries.push_back(entry);
}

SharedTable CatalogTableReader::table() const
{
    auto table = std::make_shared<CatalogTable>(m_table);
    sortByName(*table);
    return table;
}

void CatalogTableReader::sortByName(CatalogTable& table) const
{
    const std::uint32_t count = table.count();
    std::vector<std::string> names(count);
    std::unordered_set<std::int32_t> serials;
    serials.reserve(count);
    table.byName.reserve(count);
    for (std::uint32_t place = 0; place < count; ++place) {
        const CatalogEntry& entry = table.entry(place);
        if (entry.hidden)
            continue;
        ProductSearch::Fold(table.text(place, NameText), names[place]);
        table.byName.push_back(place);
        table.hasTwins = !serials.insert(entry.serial).second || table.hasTwins;
    }
    std::sort(table.byName.begin(), table.byName.end(),
              [&names, &table](std::uint32_t a, std::uint32_t b) {
                  const int order = names[a].compare(names[b]);
                  if (order != 0)
                      return order < 0;
                  const std::int32_t first = table.entry(a).serial, second = table.entry(b).serial;
                  return first != second ? first < second : a < b;
              });
    table.nameRank.assign(count, 0);
    for (std::uint32_t rank = 0; rank < table.byName.size(); ++rank)
        table.nameRank[table.byName[rank]] = rank;
}

std::string CatalogMark(const std::string& folder)
{
    struct stat info = {};
    if (stat(DataFileIn(folder).c_str(), &info) != 0)
        return std::string();
    return std::to_string(info.st_dev) + ' ' + std::to_string(info.st_ino) + ' '
        + std::to_string(info.st_size) + ' ' + std::to_string(info.st_mtim.tv_sec) + '.'
        + std::to_string(info.st_mtim.tv_nsec);
}

} // namespace Pakmart
