// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The table of a product's fields. A new field needs a line here and one in
// docs/databases.md: reading a catalog, storing, listing, JSON and comparing go through
// the table.

#pragma once

#include "db/dbrecord.h"
#include "db/productrecord.h"

#include <stdexcept>
#include <string_view>

namespace Agent
{

struct ProductField {
    ProductRecord::Kind kind;
    TextField place; // of the record; 4 bytes for a number, 1 for a flag
    const char* element; // of a product in a catalog; null: an attribute, or not sent
    const char* key; // in JSON; null: only stored
    const char* title; // see ProductRecord::Value
    const char* label; // in listings of the database
};

namespace Catalog
{

using Kind = ProductRecord::Kind;

// In the order in which fields are shown.
constexpr ProductField fields[] = {
    // clang-format off
    { Kind::Text,   { 80, 51 },    nullptr,                "name",               "Name",         nullptr },
    { Kind::Number, { 976, 4 },    "serialnumber",         "serial",             "Serial",       "serial" },
    { Kind::Text,   { 131, 257 },  "packagename",          "package",            "Package",      "package" },
    { Kind::Text,   { 392, 51 },   "version",              "version",            "Version",      "version" },
    { Kind::Text,   { 4, 76 },     nullptr,                "category",           "Category",     "category" },
    { Kind::Text,   { 443, 257 },  "vendor",               "vendor",             "Vendor",       "vendor" },
    { Kind::Text,   { 700, 257 },  "copyright",            "copyright",          "Copyright",    "copyright" },
    { Kind::Text,   { 957, 10 },   "price",                "price",              "Price",        "price" },
    { Kind::Bytes,  { 1036, 4 },   "filesize",             "size",               "Size",         "file size" },
    { Kind::Text,   { 980, 11 },   "releasedate",          "released",           "Released",     "released" },
    { Kind::Text,   { 991, 10 },   "reviewscore",          "reviewScore",        "Review score", "review score" },
    { Kind::Text,   { 1001, 10 },  "categoryranking",      "categoryRanking",    nullptr,        "in category" },
    { Kind::Text,   { 1011, 10 },  "subcategoryranking",   "subcategoryRanking", nullptr,        "in subcateg." },
    { Kind::Text,   { 1021, 11 },  "vantrelranking",       "ranking",            "Ranking",      "ranking" },
    { Kind::Number, { 1032, 4 },   "downloads",            "downloads",          "Downloads",    "downloads" },
    { Kind::Text,   { 1040, 257 }, nullptr,                "categoryPage",       nullptr,        "category URL" },
    { Kind::Text,   { 1297, 257 }, "applicationdetailURL", "page",               "Page",         "product URL" },
    { Kind::Text,   { 1554, 458 }, "authorpageURL",        "authorPage",         "Author",       "author URL" },
    { Kind::Flag,   { 967, 1 },    nullptr,                nullptr,              nullptr,        "installed" },
    { Kind::Flag,   { 968, 1 },    "hidden",               "hidden",             nullptr,        "hidden" },
    // clang-format on
};

constexpr int noteOffset = 388; // of the description; the number there is -1 without one

// The field with a key or label. One that the table does not have does not compile where
// this makes a constant.
constexpr const ProductField& FieldOf(std::string_view name)
{
    for (const ProductField& field : fields)
        if ((field.key && field.key == name) || (field.label && field.label == name))
            return field;
    throw std::out_of_range("no such field");
}

constexpr TextField PlaceOf(std::string_view name)
{
    return FieldOf(name).place;
}

} // namespace Catalog

} // namespace Agent
