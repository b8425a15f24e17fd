// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The records of the three databases, field by field, their indexes and keys.
// docs/databases.md describes them.

#pragma once

#include "db/dbrecord.h"

#include <string>

namespace Agent
{

constexpr int mostIndexes = 4;

struct IndexLayout {
    const char* fileName;
    std::int16_t keyLength;
    bool allowDuplicates;
};

struct DbLayout {
    const char* fileName; // of the data file
    std::int16_t recordLength;
    int indexCount;
    IndexLayout indexes[mostIndexes];
};

// Room for any key of these databases, cut or not.
constexpr int keyRoom = 320;

// The first four bytes of each record: 0 as long as it is not deleted.
inline bool IsLive(const std::uint8_t* record)
{
    return GetInt32(record) == 0;
}

// A serial number as 20 digits.
void FormatSerial(std::int32_t serial, char* text);

// ---- the catalog: one record for each product ----

namespace Catalog
{
constexpr DbLayout layout{ ".VACatalog.fil",
                           2012,
                           4,
                           { { ".VACatalog.k1", 110, true },
                             { ".VACatalog.k2", 50, true },
                             { ".VACatalog.k3", 50, false },
                             { ".VACatalog.k4", 20, false } } };
constexpr char notesName[] = ".VACatalogNotes";

constexpr TextField category{ 4, 76 };
constexpr TextField name{ 80, 51 };
constexpr TextField packageName{ 131, 257 };
constexpr int noteOffset = 388; // -1: no description
constexpr TextField version{ 392, 51 };
constexpr TextField vendor{ 443, 257 };
constexpr TextField copyright{ 700, 257 };
constexpr TextField price{ 957, 10 };
constexpr int installed = 967; // one byte, 0 or 1
constexpr int hidden = 968; // one byte, 0 or 1
constexpr int serverSerialNumber = 976;
constexpr TextField releaseDate{ 980, 11 };
constexpr TextField reviewScore{ 991, 10 };
constexpr TextField categoryRanking{ 1001, 10 };
constexpr TextField subCategoryRanking{ 1011, 10 };
constexpr TextField vantrelRanking{ 1021, 11 };
constexpr int downloads = 1032;
constexpr int fileSize = 1036;
constexpr TextField categoryUrl{ 1040, 257 };
constexpr TextField applicationUrl{ 1297, 257 };
constexpr TextField authorUrl{ 1554, 458 };

constexpr TextField texts[]
    = { category,           name,           packageName, version,        vendor,
        copyright,          price,          releaseDate, reviewScore,    categoryRanking,
        subCategoryRanking, vantrelRanking, categoryUrl, applicationUrl, authorUrl };

// The width in bytes of a category in its key; a longer one is cut to that.
constexpr int categoryKeyWidth = 60;

// The key of index `which` (0 to 3), cut to its length. `key` has keyRoom bytes.
void MakeKey(const std::uint8_t* record, int which, char* key);
// Cuts a category that is too long for its key in the record.
void CutCategory(std::uint8_t* record);
} // namespace Catalog

// ---- dependencies: one record for each name that a product needs ----

namespace Dependency
{
constexpr DbLayout layout{
    ".VADepends.fil", 60, 2, { { ".VADepends.k1", 58, false }, { ".VADepends.k2", 58, false } }
};

constexpr TextField name{ 4, 52 };
constexpr int parent = 56; // the product's record in the catalog

constexpr int parentKeyWidth = 8;
constexpr int nameKeyWidth = 50;

void MakeKey(const std::uint8_t* record, int which, char* key);
// The beginning of all keys of a parent in the first index, and the reverse: the number
// in the first eight characters of a key, whose buffer must have at least that many.
void FormatParent(std::int32_t number, char* key);
long ParentOfKey(const char* key);
} // namespace Dependency

// ---- the recently-used list: one record for each application ----

namespace Recent
{
constexpr DbLayout layout{
    ".rulist.fil",
    792,
    3,
    { { ".rulist.k1", 72, false }, { ".rulist.k2", 60, false }, { ".rulist.k3", 20, false } }
};

constexpr int serverSerialNumber = 8;
constexpr TextField description{ 12, 61 };
constexpr TextField executablePath{ 73, 128 };
constexpr TextField iconPath{ 201, 256 };
constexpr TextField smallIconPath{ 457, 131 };
constexpr int lastAccessed = 588; // seconds since 1970

constexpr TextField texts[] = { description, executablePath, iconPath, smallIconPath };

void MakeKey(const std::uint8_t* record, int which, char* key);
// The description of a product if another one already has the same: "Editor (7)",
// with the name cut if both do not fit.
std::string WithSerial(const std::string& name, std::int32_t serial);
} // namespace Recent

} // namespace Agent
