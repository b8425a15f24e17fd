// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIUpdateCatalog
/// The request for the store's whole catalog, which saves it to the file
/// ".catalog" of the agent's data folder (CCatalogMgr reads it). The host loads the
/// catalog element into the catalog database in a separate step:
///
///     auto* request = new CAPIUpdateCatalog(false, true);
///     QObject::connect(request, &CAPI::SuccessfulTransfer, host, [request](QDomElement* body) {
///         QDomElement catalog = body->firstChildElement();
///         request->ProcessVantrelCatalogRequest(catalog);
///     });
///     request->Execute();

#pragma once

#include "../request/capi.h"

#include <memory>

class CCatalogFile;

namespace Agent
{
struct DbOptions;
} // namespace Agent

class VANTRELAGENT_EXPORT CAPIUpdateCatalog : public CAPI
{
    Q_OBJECT

public:
    /// Silent or not; with `bWait` Execute returns after the end.
    CAPIUpdateCatalog(bool bSilent, bool bWait);
    /// With a database in another folder or file system; the type of the options is
    /// internal to the library.
    CAPIUpdateCatalog(bool bSilent, bool bWait, const Agent::DbOptions& options);
    ~CAPIUpdateCatalog() override;

    /// Rebuilds the catalog database from scratch, with a record for each product of
    /// each "category" among the children of `catalog`. The old database can be read
    /// until the new one is complete and on the disk, and is then replaced in one step.
    /// A catalog that is open keeps using the old one until it is opened again. False,
    /// with the old database unchanged, when the new one or its folder cannot be
    /// written; the log (vantrel.agent.catalog) says why.
    ///
    /// Events are processed meanwhile, every 10 ms or so.
    ///
    /// One update at a time. The call waits for another process's update
    /// (WaitForOtherUpdate). While an update of this process has not returned, another
    /// call is refused: it returns false at once.
    bool ProcessVantrelCatalogRequest(QDomElement& catalog);

    /// Called repeatedly while another process updates the database, the first time as
    /// soon as that is known. Returning false gives up. This implementation processes
    /// events, sleeps for 10 ms and returns true; CAPI::AbortTransfers also ends the
    /// wait.
    virtual bool WaitForOtherUpdate();

    /// Adds the products of one category to the open database. If a product has the
    /// package name or serial number of an earlier one, the indexes refuse it in part
    /// (see docs/databases.md); this is not reported. Override this to show the
    /// progress of an update.
    virtual void ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file);

protected:
    /// For a class that has the database filled as well: a reply that nobody else listens to
    /// (SuccessfulTransfer) is then saved and recorded in one pass over its file, a product at
    /// a time, without a document, and onSuccessfulTransfer is not called. File and database are
    /// the same. If one cannot be written, the request fails (AgentError::CannotWrite), and so
    /// it does if the update is stopped (AgentError::Cancelled): then neither is changed.
    ///
    /// A reply of another form than that of a catalog, and any that is refused, comes as a
    /// document nevertheless. ProcessRecordsInCategory is called for documents only.
    void TakeInPieces();
    /// Called in such a pass after each product, with the share of the reply that was read, from
    /// 0 to 1. Returning false stops the update. True here.
    virtual bool KeepsGoing(double share);

public slots:
    /// Saves the first element of the reply. Without one, or if it cannot be written,
    /// the file stays as it is; this is not reported.
    void onSuccessfulTransfer(QDomElement* pElement) override;

private:
    class VANTRELAGENT_NO_EXPORT Pass;
    bool UpdateInPieces(QIODevice& file, const std::function<bool()>& goOn);
    bool Wait(unsigned aborted);
    void Fail(AgentError::Code code, const QString& details);

    const std::unique_ptr<const Agent::DbOptions> m_options;
};
