// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIUpdateCatalog
/// The request for the store's whole catalog, which keeps it in the file
/// ".catalog" of the agent's data folder (CCatalogMgr reads it). Loading a
/// catalog element into the catalog database is a step of its own, for the host
/// to take:
///
///     auto* request = new CAPIUpdateCatalog(false, true);
///     QObject::connect(request, &CAPI::SuccessfulTransfer, host, [request](QDomElement* body) {
///         QDomElement catalog = body->firstChildElement();
///         request->ProcessVantrelCatalogRequest(catalog);
///     });
///     request->Execute();

#pragma once

#include "../request/capi.h"

class CCatalogFile;

class VANTRELAGENT_EXPORT CAPIUpdateCatalog : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not; with `bWait` Execute returns after the end.
    CAPIUpdateCatalog(bool bSilent, bool bWait);

    /// Rebuilds the catalog database from nothing, a record for each product of
    /// each "category" among the children of `catalog`. Until it is whole, the old
    /// one can be read. False, with that one as it was, when the new one cannot be
    /// created or written.
    bool ProcessVantrelCatalogRequest(QDomElement& catalog);

    /// Adds the products of one category to the open database. Of one that has a
    /// package name or serial number of an earlier one, what the indexes refuse
    /// stays out (see docs/databases.md); nothing is told of that. A host that
    /// shows how far an update is overrides this.
    virtual void ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file);

public slots:
    /// Saves the first element of the reply. The file stays as it is when there
    /// is none, or when it cannot be written; nothing is told of that.
    void onSuccessfulTransfer(QDomElement* pElement) override;
};
