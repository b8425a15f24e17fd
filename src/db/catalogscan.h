// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Agent::CatalogScan
/// Every product of the catalog database, one after the other, in the order in
/// which the update stored them: for searches and listings of the whole.
///
///     Agent::CatalogScan scan;
///     while (scan.Next())
///         puts(scan.Name());
///
/// The data files are read in large blocks, without the indexes, and nothing is
/// written: read access is enough, and InitIndex is not needed. If an update replaces
/// the database meanwhile, the scan continues on the old one. Damaged records are
/// skipped. One thread at a time.

#pragma once

#include "productrecord.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vantrelagent/export.h>
#include <vector>

namespace Agent
{

struct DbOptions;

class VANTRELAGENT_EXPORT CatalogScan : public ProductRecord
{
public:
    CatalogScan();
    /// With another folder or file system; the type of the options is internal to the
    /// library.
    explicit CatalogScan(const DbOptions& options);
    ~CatalogScan();
    CatalogScan(const CatalogScan&) = delete;
    CatalogScan& operator=(const CatalogScan&) = delete;

    /// Whether there is a readable catalog.
    explicit operator bool() const;

    /// Goes to the next product, the first call to the first one; false after the last.
    /// Without a product all fields are empty.
    bool Next();

    /// The number of the product's record; 0 before the first product.
    std::int32_t RecordNumber() const { return m_number; }

    /// Goes to the product with this record number, from which Next goes on. If it is gone, or
    /// never was there: to the next one, and false.
    bool MoveTo(std::int32_t number);

    /// Leaves the second half of what is still to come to a scan of its own, for another thread:
    /// this one ends where the other begins. Null if the catalog has been replaced meanwhile, or
    /// cannot be read; this scan then goes on to the end.
    std::unique_ptr<CatalogScan> SecondHalf();

    /// Empty if the product has no description, or it cannot be read.
    std::string Description();
    /// The names the product depends on, sorted, each once. The first call looks for them in
    /// the whole file; one for a second product keeps those of all products.
    std::vector<std::string> Dependencies();

    /// A hash of all that is stored about the product: every field but the mark for installed
    /// products, the description, and the names it depends on, each once and in any order. Equal
    /// products have equal ones, wherever their records are; different ones hardly ever. For
    /// comparisons within one process: the hash is no format. The first call reads the names of
    /// all products.
    std::uint64_t ContentHash();

private:
    struct Files;

    std::string_view DescriptionView();

    std::unique_ptr<Files> m_files;
    std::int32_t m_number = 0;
    std::int32_t m_end = 0; // the record number after the last one of this scan
};

} // namespace Agent
