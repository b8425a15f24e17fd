// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The walk over a catalog element as the server sends it, and the fields of its
// products.
//
// The catalog's own children named "category" count, and of each category all
// elements named "product" below it, at any depth, in the order of the document.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class QDomElement;

namespace Agent
{

// Texts are UTF-8, URL-decoded, and as long as the server made them; missing fields
// are empty or 0. Of two elements with one name the later counts. A number is the
// digits at the beginning of its text, not decoded; one that does not fit becomes the
// nearest one that does.
struct CatalogProduct {
    std::string category;
    std::string categoryURL;
    std::string name;
    std::string packageName;
    std::string description;
    std::string version;
    std::string vendor;
    std::string copyright;
    std::string price;
    std::string releaseDate;
    std::string reviewScore;
    std::string categoryRanking;
    std::string subCategoryRanking;
    // The ranking or the download address, whichever the product gives last: both
    // have the same field.
    std::string vantrelRanking;
    std::string applicationURL;
    std::string authorURL;
    bool hidden = false;
    std::int32_t serverSerialNumber = 0;
    std::int32_t downloads = 0;
    std::int32_t fileSize = 0;
    std::vector<std::string> dependencies; // one for each element, empty ones too
};

void ForEachCategory(const QDomElement& catalog,
                     const std::function<void(QDomElement& category)>& take);

// Events are processed on the way.
void ForEachProduct(const QDomElement& category,
                    const std::function<void(const CatalogProduct& product)>& take);

} // namespace Agent
