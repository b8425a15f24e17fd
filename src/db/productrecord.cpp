// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/productrecord.h"

#include "db/dblayouts.h"
#include "db/mixedhash.h"
#include "db/productfields.h"

#include <cstring>
#include <tuple>

namespace Agent
{

namespace
{

using Record = std::array<std::uint8_t, 2012>;

const char* TextOf(const Record& record, TextField place)
{
    return GetText(record.data(), place);
}

std::int32_t NumberOf(const Record& record, TextField place)
{
    return GetInt32(record.data() + place.offset);
}

bool FlagOf(const Record& record, TextField place)
{
    return record[std::size_t(place.offset)] != 0;
}

} // namespace

const char* ProductRecord::Category() const
{
    return TextOf(m_record, Catalog::category);
}

const char* ProductRecord::Name() const
{
    return TextOf(m_record, Catalog::name);
}

const char* ProductRecord::PackageName() const
{
    return TextOf(m_record, Catalog::packageName);
}

const char* ProductRecord::Version() const
{
    return TextOf(m_record, Catalog::version);
}

const char* ProductRecord::Vendor() const
{
    return TextOf(m_record, Catalog::vendor);
}

const char* ProductRecord::Copyright() const
{
    return TextOf(m_record, Catalog::copyright);
}

const char* ProductRecord::Price() const
{
    return TextOf(m_record, Catalog::price);
}

const char* ProductRecord::ReleaseDate() const
{
    return TextOf(m_record, Catalog::releaseDate);
}

const char* ProductRecord::ReviewScore() const
{
    return TextOf(m_record, Catalog::reviewScore);
}

const char* ProductRecord::CategoryRanking() const
{
    return TextOf(m_record, Catalog::categoryRanking);
}

const char* ProductRecord::SubCategoryRanking() const
{
    return TextOf(m_record, Catalog::subCategoryRanking);
}

const char* ProductRecord::VantrelRanking() const
{
    return TextOf(m_record, Catalog::vantrelRanking);
}

const char* ProductRecord::CategoryURL() const
{
    return TextOf(m_record, Catalog::categoryUrl);
}

const char* ProductRecord::ApplicationURL() const
{
    return TextOf(m_record, Catalog::applicationUrl);
}

const char* ProductRecord::AuthorURL() const
{
    return TextOf(m_record, Catalog::authorUrl);
}

bool ProductRecord::Installed() const
{
    return FlagOf(m_record, Catalog::installed);
}

bool ProductRecord::Hidden() const
{
    return FlagOf(m_record, Catalog::hidden);
}

std::int32_t ProductRecord::ServerSerialNumber() const
{
    return NumberOf(m_record, Catalog::serverSerialNumber);
}

std::int32_t ProductRecord::Downloads() const
{
    return NumberOf(m_record, Catalog::downloads);
}

std::int32_t ProductRecord::FileSize() const
{
    return NumberOf(m_record, Catalog::fileSize);
}

std::vector<ProductRecord::Value> ProductRecord::Values() const
{
    static_assert(std::tuple_size<decltype(m_record)>::value == Catalog::layout.recordLength);
    std::vector<Value> values;
    values.reserve(std::size(Catalog::fields));
    for (const ProductField& field : Catalog::fields) {
        const bool isText = field.kind == Kind::Text;
        const std::int32_t number = isText ? 0
            : field.kind == Kind::Flag     ? FlagOf(m_record, field.place)
                                           : NumberOf(m_record, field.place);
        if (field.key)
            values.push_back({ field.kind, field.key, field.title,
                               isText ? TextOf(m_record, field.place) : "", number });
    }
    return values;
}

std::uint64_t ProductRecord::HashOfFields() const
{
    std::uint64_t hash = 0;
    for (const ProductField& field : Catalog::fields) {
        if (!field.key)
            continue;
        if (field.kind == Kind::Text)
            MixIn(hash, HashOf(TextOf(m_record, field.place)));
        else
            MixIn(hash,
                  std::uint32_t(field.kind == Kind::Flag ? FlagOf(m_record, field.place)
                                                         : NumberOf(m_record, field.place)));
    }
    return hash;
}

void ProductRecord::CopyFields(const ProductRecord& from)
{
    for (const ProductField& field : Catalog::fields)
        std::memcpy(m_record.data() + field.place.offset, from.m_record.data() + field.place.offset,
                    std::size_t(field.place.width));
}

} // namespace Agent
