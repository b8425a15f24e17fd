// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The fields of a product.

#include "db/ccatalogfile.h"
#include "db/dblayouts.h"

using namespace Agent;

const char* CCatalogFile::setCategory(const char* text)
{
    return SetText(m_record.data(), Catalog::category, text);
}

const char* CCatalogFile::Category() const
{
    return GetText(m_record.data(), Catalog::category);
}

const char* CCatalogFile::setName(const char* text)
{
    return SetText(m_record.data(), Catalog::name, text);
}

const char* CCatalogFile::Name() const
{
    return GetText(m_record.data(), Catalog::name);
}

const char* CCatalogFile::setPackageName(const char* text)
{
    return SetText(m_record.data(), Catalog::packageName, text);
}

const char* CCatalogFile::PackageName() const
{
    return GetText(m_record.data(), Catalog::packageName);
}

const char* CCatalogFile::setVersion(const char* text)
{
    return SetText(m_record.data(), Catalog::version, text);
}

const char* CCatalogFile::Version() const
{
    return GetText(m_record.data(), Catalog::version);
}

const char* CCatalogFile::setVendor(const char* text)
{
    return SetText(m_record.data(), Catalog::vendor, text);
}

const char* CCatalogFile::Vendor() const
{
    return GetText(m_record.data(), Catalog::vendor);
}

const char* CCatalogFile::setCopyright(const char* text)
{
    return SetText(m_record.data(), Catalog::copyright, text);
}

const char* CCatalogFile::Copyright() const
{
    return GetText(m_record.data(), Catalog::copyright);
}

const char* CCatalogFile::setPrice(const char* text)
{
    return SetText(m_record.data(), Catalog::price, text);
}

const char* CCatalogFile::Price() const
{
    return GetText(m_record.data(), Catalog::price);
}

const char* CCatalogFile::setReleaseDate(const char* text)
{
    return SetText(m_record.data(), Catalog::releaseDate, text);
}

const char* CCatalogFile::ReleaseDate() const
{
    return GetText(m_record.data(), Catalog::releaseDate);
}

const char* CCatalogFile::setReviewScore(const char* text)
{
    return SetText(m_record.data(), Catalog::reviewScore, text);
}

const char* CCatalogFile::ReviewScore() const
{
    return GetText(m_record.data(), Catalog::reviewScore);
}

const char* CCatalogFile::setCategoryRanking(const char* text)
{
    return SetText(m_record.data(), Catalog::categoryRanking, text);
}

const char* CCatalogFile::CategoryRanking() const
{
    return GetText(m_record.data(), Catalog::categoryRanking);
}

const char* CCatalogFile::setSubCategoryRanking(const char* text)
{
    return SetText(m_record.data(), Catalog::subCategoryRanking, text);
}

const char* CCatalogFile::SubCategoryRanking() const
{
    return GetText(m_record.data(), Catalog::subCategoryRanking);
}

const char* CCatalogFile::setVantrelRanking(const char* text)
{
    return SetText(m_record.data(), Catalog::vantrelRanking, text);
}

const char* CCatalogFile::VantrelRanking() const
{
    return GetText(m_record.data(), Catalog::vantrelRanking);
}

const char* CCatalogFile::setCategoryURL(const char* text)
{
    return SetText(m_record.data(), Catalog::categoryUrl, text);
}

const char* CCatalogFile::CategoryURL() const
{
    return GetText(m_record.data(), Catalog::categoryUrl);
}

const char* CCatalogFile::setApplicationURL(const char* text)
{
    return SetText(m_record.data(), Catalog::applicationUrl, text);
}

const char* CCatalogFile::ApplicationURL() const
{
    return GetText(m_record.data(), Catalog::applicationUrl);
}

const char* CCatalogFile::setAuthorURL(const char* text)
{
    return SetText(m_record.data(), Catalog::authorUrl, text);
}

const char* CCatalogFile::AuthorURL() const
{
    return GetText(m_record.data(), Catalog::authorUrl);
}

void CCatalogFile::setInstalled(bool installed)
{
    m_record[Catalog::installed] = installed;
}

bool CCatalogFile::Installed() const
{
    return m_record[Catalog::installed] != 0;
}

void CCatalogFile::setHidden(bool hidden)
{
    m_record[Catalog::hidden] = hidden;
}

bool CCatalogFile::Hidden() const
{
    return m_record[Catalog::hidden] != 0;
}

void CCatalogFile::setServerSerialNumber(std::int32_t serial)
{
    PutInt32(m_record.data() + Catalog::serverSerialNumber, serial);
}

std::int32_t CCatalogFile::ServerSerialNumber() const
{
    return GetInt32(m_record.data() + Catalog::serverSerialNumber);
}

void CCatalogFile::setDownloads(std::int32_t count)
{
    PutInt32(m_record.data() + Catalog::downloads, count);
}

std::int32_t CCatalogFile::Downloads() const
{
    return GetInt32(m_record.data() + Catalog::downloads);
}

void CCatalogFile::setFileSize(std::int32_t bytes)
{
    PutInt32(m_record.data() + Catalog::fileSize, bytes);
}

std::int32_t CCatalogFile::FileSize() const
{
    return GetInt32(m_record.data() + Catalog::fileSize);
}

std::int32_t CCatalogFile::NoteOffset() const
{
    return GetInt32(m_record.data() + Catalog::noteOffset);
}
