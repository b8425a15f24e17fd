// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which products a model shows, and in which order: worked out beside the event loop.

#pragma once

#include "host/models/catalogtable.h"
#include "host/models/packagefeed.h"
#include "host/models/productmodel.h"

#include <atomic>
#include <functional>

namespace Pakmart
{

struct ProductQuery {
    QString category;
    QString text;
    ProductModel::Show show = ProductModel::All;
    ProductModel::Sort sort = ProductModel::ByRelevance;
    int serial = 0; // of the only product; 0 for all

    bool operator==(const ProductQuery& other) const
    {
        return category == other.category && text == other.text && show == other.show
            && sort == other.sort && serial == other.serial;
    }
};

struct FoundProduct {
    std::uint32_t place;
    Product::State state;
    bool isChanged = false; // another catalog had it with other fields
};

struct ProductAnswer {
    std::vector<FoundProduct> products;
    std::vector<std::uint32_t> matching; // all that match text and category, unsorted
    bool isWhole = false; // descriptions have been searched as well
};

// What a query is made to.
struct ProductSource {
    const CatalogTable& table;
    const InstalledPackages* packages;
    const CatalogTable* before; // the catalog that was shown until now; may be null
    const std::vector<std::uint32_t>* among; // the only places that can match; null: any
};

// Stops early, with an incomplete answer, when `isCancelled` says so. If there are many
// descriptions to be searched, `report` is called before with what was found without them.
ProductAnswer Answer(const ProductQuery& query, const ProductSource& source,
                     const std::function<bool()>& isCancelled,
                     const std::function<void(ProductAnswer)>& report);

// Whether all products that match `query` also match `wider`, whose places are known then.
bool IsNarrower(const ProductQuery& query, const ProductQuery& wider);

} // namespace Pakmart
