// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The walk over a catalog element as the server sends it, the fields of its products, and
// their way into the catalog database.
//
// The catalog's own children named "category" count, and of each category all
// elements named "product" below it, at any depth, in the order of the document.

#pragma once

#include "db/productrecord.h"

#include <functional>
#include <string>
#include <vector>

class CCatalogFile;
class QDomElement;

namespace Agent
{

struct ProductField;
struct ReplyNode;

// Texts are UTF-8, URL-decoded, and cut to their fields; missing fields are empty or 0. Of
// two elements with one name the later counts. A number is the digits at the beginning of
// its text, not decoded; one that does not fit becomes the nearest one that does. The
// ranking and the download address have the same field.
struct CatalogProduct : ProductRecord {
    std::string description; // as long as the server made it
    std::vector<std::string> dependencies; // one for each element, empty ones too

    // Stores a text as what its field holds.
    void Set(const ProductField& field, const std::string& text);
};

void ForEachCategory(const QDomElement& catalog,
                     const std::function<void(QDomElement& category)>& take);

// A product of a category without anything of its own. The category may be without children.
CatalogProduct BlankProduct(const ReplyNode& category);
// The products of a category that are an element below it, or in that.
void ForEachProductIn(const ReplyNode& element, const CatalogProduct& blank,
                      const std::function<void(const CatalogProduct& product)>& take);

// All of a category. Events are processed on the way.
void ForEachProduct(const QDomElement& category,
                    const std::function<void(const CatalogProduct& product)>& take);

// Adds a product as one new record, not installed. Texts are cut to their fields;
// parts that the database refuses are left out.
void RecordProduct(const CatalogProduct& product, CCatalogFile& file);

} // namespace Agent
