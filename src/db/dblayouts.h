// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The records of the three databases, field by field, their indexes and keys.
// docs/databases.md describes them.

#pragma once

#include "db/dbrecord.h"
#include "db/productfields.h"

#include <string>
#include <vector>

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

// The paths of a database's files in a folder: the data file, and then its indexes.
std::vector<std::string> PathsIn(const std::string& folder, const DbLayout& layout);

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

constexpr TextField category = PlaceOf("category");
constexpr TextField name = PlaceOf("name");
constexpr TextField packageName = PlaceOf("package");
constexpr TextField version = PlaceOf("version");
constexpr TextField vendor = PlaceOf("vendor");
constexpr TextField copyright = PlaceOf("copyright");
constexpr TextField price = PlaceOf("price");
constexpr TextField installed = PlaceOf("installed");
constexpr TextField hidden = PlaceOf("hidden");
constexpr TextField serverSerialNumber = PlaceOf("serial");
constexpr TextField releaseDate = PlaceOf("released");
constexpr TextField reviewScore = PlaceOf("reviewScore");
constexpr TextField categoryRanking = PlaceOf("categoryRanking");
constexpr TextField subCategoryRanking = PlaceOf("subcategoryRanking");
constexpr TextField vantrelRanking = PlaceOf("ranking");
constexpr TextField downloads = PlaceOf("downloads");
constexpr TextField fileSize = PlaceOf("size");
constexpr TextField categoryUrl = PlaceOf("categoryPage");
constexpr TextField applicationUrl = PlaceOf("page");
constexpr TextField authorUrl = PlaceOf("authorPage");

// The places of all texts.
std::vector<TextField> Texts();
// Ends all texts of a record that came from a file.
void EndTexts(std::uint8_t* record);

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
