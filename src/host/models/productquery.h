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

    bool operator==(const ProductQuery& other) const
    {
        return category == other.category && text == other.text && show == other.show
            && sort == other.sort;
    }
};

struct FoundProduct {
    std::uint32_t place;
    Product::State state;
};

struct ProductAnswer {
    std::vector<FoundProduct> products;
    std::vector<std::uint32_t> matching; // all that match text and category, unsorted
};

// Stops early, with an incomplete answer, when `isCancelled` says so. `among`, if not null:
// the only places that can match.
ProductAnswer Answer(const ProductQuery& query, const CatalogTable& table,
                     const InstalledPackages* packages, const std::vector<std::uint32_t>* among,
                     const std::function<bool()>& isCancelled);

// Whether all products that match `query` also match `wider`, whose places are known then.
bool IsNarrower(const ProductQuery& query, const ProductQuery& wider);

} // namespace Pakmart
