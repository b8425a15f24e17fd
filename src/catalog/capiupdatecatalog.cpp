// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capiupdatecatalog.h"

#include "catalog/catalogproduct.h"
#include "catalog/catalogrecord.h"
#include "catalog/savedtree.h"
#include "support/ctracer.h"

CAPIUpdateCatalog::CAPIUpdateCatalog(bool bSilent, bool bWait) : CAPI(bSilent, false, bWait)
{
    CTracer tracer("CAPIUpdateCatalog::CAPIUpdateCatalog");
}

void CAPIUpdateCatalog::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIUpdateCatalog::onSuccessfulTransfer");
    SaveFirstElement(*pElement, ".catalog");
}

bool CAPIUpdateCatalog::ProcessVantrelCatalogRequest(QDomElement& catalog)
{
    CTracer tracer("CAPIUpdateCatalog::ProcessVantrelCatalogRequest");
    return RebuildCatalogDatabase([this, &catalog](CCatalogFile& file) {
        ForEachCategory(catalog, [this, &file](QDomElement& category) {
            ProcessRecordsInCategory(category, &file);
        });
    });
}

void CAPIUpdateCatalog::ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file)
{
    CTracer tracer("CAPIUpdateCatalog::ProcessRecordsInCategory");
    ForEachProduct(category,
                   [file](const CatalogProduct& product) { RecordProduct(product, *file); });
}
