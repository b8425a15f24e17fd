// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CatalogScan
/// Every product of the catalog database, one after the other, in the order in
/// which the update stored them: for searches and listings of the whole.
///
///     CatalogScan scan;
///     while (scan.Next())
///         puts(scan.Name());
///
/// The data files are read in large blocks, past the indexes, and nothing is
/// written: whoever may read the files can do this, without InitIndex. A database
/// that an update replaces meanwhile is read on as it was. What is damaged is
/// passed over.

#pragma once

#include "../util/export.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class VANTRELAGENT_EXPORT CatalogScan
{
public:
    CatalogScan();
    ~CatalogScan();
    CatalogScan(const CatalogScan&) = delete;
    CatalogScan& operator=(const CatalogScan&) = delete;

    /// Whether there is a catalog that can be read.
    explicit operator bool() const;

    /// Goes to the next product, at first to the first one; false behind the last.
    /// Without a product all fields are empty.
    bool Next();

    /// What is stored of the product, as CCatalogFile has it; texts are UTF-8 and
    /// good until Next.
    std::int32_t RecordNumber() const { return m_number; } ///< in the data file; 0: none
    const char* Category() const; ///< the category that it stands in
    const char* Name() const; ///< the name to show
    const char* PackageName() const; ///< the Debian package
    const char* Version() const; ///< the version, as the store shows it
    const char* Vendor() const; ///< who makes it
    const char* Copyright() const; ///< whose it is
    const char* Price() const; ///< the price, as text
    const char* ReleaseDate() const; ///< when it came out, as text
    const char* ReviewScore() const; ///< the score of its reviews, as text
    const char* CategoryRanking() const; ///< its rank in the category, as text
    const char* SubCategoryRanking() const; ///< its rank in the subcategory, as text
    const char*
    VantrelRanking() const; ///< its rank in the store, or its download address, whichever came last
    const char* CategoryURL() const; ///< the page of its category
    const char* ApplicationURL() const; ///< the page of the product
    const char* AuthorURL() const; ///< the page of who makes it
    bool Hidden() const; ///< whether the store hides it
    std::int32_t ServerSerialNumber() const; ///< its number in the store
    std::int32_t Downloads() const; ///< how often it was downloaded
    std::int32_t FileSize() const; ///< the size of its download in bytes

    /// Empty without one, or where it cannot be read.
    std::string Description();
    /// The names the product depends on, sorted, each once. The first call reads
    /// those of all products.
    std::vector<std::string> Dependencies();

private:
    struct Files;

    std::unique_ptr<Files> m_files;
    std::array<std::uint8_t, 2012> m_record{};
    std::int32_t m_number = 0;
};
