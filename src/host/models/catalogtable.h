// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// All products of the catalog in memory, as compactly as searching them quickly allows: the
// texts of a thousand products are one block, with equal ones stored once. A table does not
// change, so that several threads may read it.

#pragma once

#include "db/dblayouts.h"
#include "db/dbrecord.h"
#include "db/notesreader.h"

#include <QString>
#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Pakmart
{

enum CatalogText {
    NameText,
    PackageText,
    VersionText,
    SummaryText,
    VendorText,
    CopyrightText,
    PriceText,
    ReleasedText,
    ReviewScoreText,
    CategoryRankingText,
    SubcategoryRankingText,
    RankingText,
    CategoryPageText,
    PageText,
    AuthorPageText,
    CatalogTextCount
};

// One product. Its texts are in the block that it is in.
struct CatalogEntry {
    std::array<std::uint32_t, CatalogTextCount> texts;
    std::int32_t serial;
    std::int32_t record; // its number in the data file
    std::int32_t note; // offset of the description
    std::int32_t downloads;
    std::int32_t size;
    std::uint32_t category; // index into CatalogTable::categories
    bool hidden;
};

struct CatalogBlock {
    std::vector<CatalogEntry> entries;
    std::string texts;
};

struct CatalogCategory {
    QString name; // on one line
    int products = 0; // visible ones
};

// The descriptions and what products need; one thread at a time has them.
struct CatalogNotes {
    explicit CatalogNotes(const std::string& folder)
        : reader(folder + Agent::Catalog::notesName + ".fil"),
          needs(folder, Agent::Dependency::layout, { Agent::Dependency::name })
    {
    }

    std::mutex mutex;
    Agent::NotesReader reader;
    Agent::RecordReader needs;
};

class CatalogTable
{
public:
    static constexpr std::uint32_t perBlock = 1024; // in all blocks but the last

    enum Condition { Missing, Unreadable, Readable };

    Condition condition = Missing;
    bool isWhole = true; // no more products are being read
    std::vector<std::shared_ptr<const CatalogBlock>> blocks;
    std::vector<CatalogCategory> categories;
    std::vector<std::uint32_t> byName; // the places of the visible products
    std::vector<std::uint32_t> nameRank; // of each place: its position in byName
    bool hasTwins = false; // two visible products have one serial number
    std::shared_ptr<CatalogNotes> notes;

    std::uint32_t count() const;
    const CatalogEntry& entry(std::uint32_t place) const
    {
        return blocks[place / perBlock]->entries[place % perBlock];
    }
    const char* text(std::uint32_t place, CatalogText text) const
    {
        const CatalogBlock& block = *blocks[place / perBlock];
        return block.texts.data() + block.entries[place % perBlock].texts[std::size_t(text)];
    }
    // Whether two products are shown alike.
    bool isSame(std::uint32_t place, const CatalogTable& other, std::uint32_t otherPlace) const;
    std::size_t bytesUsed() const;
};

using SharedTable = std::shared_ptr<const CatalogTable>;

// Reads the current catalog, block by block.
class CatalogTableReader
{
public:
    // `folder` is the data folder, with a slash at the end.
    explicit CatalogTableReader(const std::string& folder);
    ~CatalogTableReader();

    // Reads another block; false after the last one.
    bool readBlock();
    // All that has been read.
    SharedTable table() const;

private:
    struct Files;

    void take(const std::uint8_t* record, CatalogBlock& block);
    std::uint32_t categoryOf(const char* name);
    std::uint32_t store(CatalogBlock& block, int text, std::string_view bytes);
    void sortByName(CatalogTable& table) const;

    CatalogTable m_table;
    std::unique_ptr<Files> m_files;
    std::int32_t m_number = 0;
    std::unordered_map<std::string, std::uint32_t> m_categories; // as they are stored
    std::unordered_map<std::string, std::uint32_t> m_folded;
    // Texts that occur often, in the block being read.
    std::array<std::unordered_map<std::string, std::uint32_t>, CatalogTextCount> m_known;
};

// What identifies the catalog that is current in a folder: another text after an update.
std::string CatalogMark(const std::string& folder);

} // namespace Pakmart
