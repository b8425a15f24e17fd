// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capiupdatecatalog.h"

#include "catalog/catalogproduct.h"
#include "catalog/savedtree.h"
#include "db/dboptions.h"
#include "db/rebuild.h"
#include "support/ctracer.h"
#include "util/desktop.h"

#include <QThread>

using namespace Agent;

CAPIUpdateCatalog::CAPIUpdateCatalog(bool bSilent, bool bWait)
    : CAPIUpdateCatalog(bSilent, bWait, DbOptions())
{
}

CAPIUpdateCatalog::CAPIUpdateCatalog(bool bSilent, bool bWait, const DbOptions& options)
    : CAPI(bSilent, false, bWait), m_options(std::make_unique<const DbOptions>(options))
{
    CTracer tracer("CAPIUpdateCatalog::CAPIUpdateCatalog");
}

CAPIUpdateCatalog::~CAPIUpdateCatalog() = default;

void CAPIUpdateCatalog::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIUpdateCatalog::onSuccessfulTransfer");
    SaveFirstElement(*pElement, ".catalog");
}

bool CAPIUpdateCatalog::ProcessVantrelCatalogRequest(QDomElement& catalog)
{
    CTracer tracer("CAPIUpdateCatalog::ProcessVantrelCatalogRequest");
    const auto fill = [this, &catalog](CCatalogFile& file) {
        ForEachCategory(catalog, [this, &file](QDomElement& category) {
            ProcessRecordsInCategory(category, &file);
        });
    };
    const unsigned aborted = AbortCount();
    return RebuildCatalogDatabase(*m_options, fill, [this, aborted] { return Wait(aborted); });
}

bool CAPIUpdateCatalog::Wait(unsigned aborted)
{
    return WaitForOtherUpdate() && AbortCount() == aborted;
}

bool CAPIUpdateCatalog::WaitForOtherUpdate()
{
    constexpr unsigned long pause = 10; // ms
    ProcessMessages();
    QThread::msleep(pause);
    return true;
}

void CAPIUpdateCatalog::ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file)
{
    CTracer tracer("CAPIUpdateCatalog::ProcessRecordsInCategory");
    ForEachProduct(category,
                   [file](const CatalogProduct& product) { RecordProduct(product, *file); });
}
