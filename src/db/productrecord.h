// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Agent::ProductRecord
/// The stored fields of one product of the catalog. CCatalogFile and CatalogScan are such
/// records. Texts are UTF-8 and valid until the object changes; a missing text is empty.

#pragma once

#include <array>
#include <cstdint>
#include <vantrelagent/export.h>
#include <vector>

namespace Agent
{

class VANTRELAGENT_EXPORT ProductRecord
{
public:
    const char* Category() const; ///< the category that it is in
    const char* Name() const; ///< the name to show
    const char* PackageName() const; ///< the Debian package
    const char* Version() const; ///< the version, as the store shows it
    const char* Vendor() const; ///< the maker
    const char* Copyright() const; ///< the copyright holder
    const char* Price() const; ///< the price, as text
    const char* ReleaseDate() const; ///< when it came out, as text
    const char* ReviewScore() const; ///< the score of its reviews, as text
    const char* CategoryRanking() const; ///< its rank in the category, as text
    const char* SubCategoryRanking() const; ///< its rank in the subcategory, as text
    /// Its rank in the store or its download address, whichever was set last.
    const char* VantrelRanking() const;
    const char* CategoryURL() const; ///< the page of its category
    const char* ApplicationURL() const; ///< the page of the product
    const char* AuthorURL() const; ///< the page of its author
    bool Installed() const; ///< whether it is marked as installed; an update marks none
    bool Hidden() const; ///< whether the store hides it
    std::int32_t ServerSerialNumber() const; ///< its number in the store
    std::int32_t Downloads() const; ///< how often it was downloaded
    std::int32_t FileSize() const; ///< the size of its download in bytes

    /// What a field holds.
    enum class Kind {
        Text,
        Number,
        Bytes, ///< a number of bytes
        Flag, ///< a number that is 0 or 1
    };
    /// A field and what it holds.
    struct Value {
        Kind kind; ///< decides whether `text` or `number` holds it
        const char* key; ///< names the field, and does not change: "reviewScore"
        const char* title; ///< what to show before it; null: not worth showing
        const char* text; ///< empty if the field is no text
        std::int32_t number; ///< 0 if the field is a text
    };
    /// All fields but the mark for installed products, in the order in which to show them.
    std::vector<Value> Values() const;

protected:
    ProductRecord() = default; ///< a record of zeros
    ~ProductRecord() = default;

    /// A hash of the fields that Values returns.
    std::uint64_t HashOfFields() const;

    /// Takes over all fields, but not the place of the description.
    void CopyFields(const ProductRecord& from);

    std::array<std::uint8_t, 2012> m_record{}; ///< as in the data file
};

} // namespace Agent
