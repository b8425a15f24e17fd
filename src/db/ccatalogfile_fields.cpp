// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Setting the fields of a product.

#include "db/ccatalogfile.h"
#include "db/dblayouts.h"

using namespace Agent;

const char* CCatalogFile::setCategory(const char* text)
{
    return SetText(m_record.data(), Catalog::category, text);
}

const char* CCatalogFile::setName(const char* text)
{
    return SetText(m_record.data(), Catalog::name, text);
}

const char* CCatalogFile::setPackageName(const char* text)
{
    return SetText(m_record.data(), Catalog::packageName, text);
}

const char* CCatalogFile::setVersion(const char* text)
{
    return SetText(m_record.data(), Catalog::version, text);
}

const char* CCatalogFile::setVendor(const char* text)
{
    return SetText(m_record.data(), Catalog::vendor, text);
}

const char* CCatalogFile::setCopyright(const char* text)
{
    return SetText(m_record.data(), Catalog::copyright, text);
}

const char* CCatalogFile::setPrice(const char* text)
{
    return SetText(m_record.data(), Catalog::price, text);
}

const char* CCatalogFile::setReleaseDate(const char* text)
{
    return SetText(m_record.data(), Catalog::releaseDate, text);
}

const char* CCatalogFile::setReviewScore(const char* text)
{
    return SetText(m_record.data(), Catalog::reviewScore, text);
}

const char* CCatalogFile::setCategoryRanking(const char* text)
{
    return SetText(m_record.data(), Catalog::categoryRanking, text);
}

const char* CCatalogFile::setSubCategoryRanking(const char* text)
{
    return SetText(m_record.data(), Catalog::subCategoryRanking, text);
}

const char* CCatalogFile::setVantrelRanking(const char* text)
{
    return SetText(m_record.data(), Catalog::vantrelRanking, text);
}

const char* CCatalogFile::setCategoryURL(const char* text)
{
    return SetText(m_record.data(), Catalog::categoryUrl, text);
}

const char* CCatalogFile::setApplicationURL(const char* text)
{
    return SetText(m_record.data(), Catalog::applicationUrl, text);
}

const char* CCatalogFile::setAuthorURL(const char* text)
{
    return SetText(m_record.data(), Catalog::authorUrl, text);
}

void CCatalogFile::setInstalled(bool installed)
{
    m_record[std::size_t(Catalog::installed.offset)] = installed;
}

void CCatalogFile::setHidden(bool hidden)
{
    m_record[std::size_t(Catalog::hidden.offset)] = hidden;
}

void CCatalogFile::setServerSerialNumber(std::int32_t serial)
{
    PutInt32(m_record.data() + Catalog::serverSerialNumber.offset, serial);
}

void CCatalogFile::setDownloads(std::int32_t count)
{
    PutInt32(m_record.data() + Catalog::downloads.offset, count);
}

void CCatalogFile::setFileSize(std::int32_t bytes)
{
    PutInt32(m_record.data() + Catalog::fileSize.offset, bytes);
}

std::int32_t CCatalogFile::NoteOffset() const
{
    return GetInt32(m_record.data() + Catalog::noteOffset);
}
