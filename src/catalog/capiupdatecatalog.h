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
    /// each "category" among the children of `catalog`. Until it is whole and on the
    /// disk the old one can be read; then it takes that one's place in one step. A
    /// catalog that is open goes on with the old one until it is opened again. False,
    /// with the old one as it was, when the new one cannot be created or written, or
    /// the folder cannot; the log (vantrel.agent.catalog) says why.
    ///
    /// Events are processed meanwhile, every 10 ms or so.
    ///
    /// One update at a time. Another process's is waited for (WaitForOtherUpdate). A
    /// call while another one of this process has not returned is refused: false, at
    /// once.
    bool ProcessVantrelCatalogRequest(QDomElement& catalog);

    /// Called again and again while another process updates the database, the first
    /// time as soon as that is known. False gives up. This one processes events,
    /// sleeps for 10 ms and returns true; CAPI::AbortTransfers ends the wait, too.
    virtual bool WaitForOtherUpdate();

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
