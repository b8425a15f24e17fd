// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Fetches the catalog, fills the database from it, and compares it with the previous one.

#include "host/worker/tasks.h"

#include <KIO/Job>
#include <QCoreApplication>
#include <QDomElement>
#include <QFileInfo>
#include <QJsonArray>
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vantrelagent/catalog/capiupdatecatalog.h>
#include <vantrelagent/catalog/knowncatalog.h>
#include <vantrelagent/catalog/savedtree.h>
#include <vantrelagent/db/catalogscan.h>
#include <vector>

using namespace Agent;

namespace
{

// What is known of the products of a database, in a few bytes for each.
struct Snapshot {
    struct Product {
        int serial;
        std::size_t name; // where it begins in the names
        std::uint64_t mark; // CatalogScan::ContentHash
    };
    std::vector<Product> products; // by their serial numbers
    std::string names; // each ended by a zero
    std::size_t categories = 0;
    bool exists = false;

    QString nameOf(const Product& product) const
    {
        return QString::fromUtf8(names.c_str() + product.name);
    }
};

// A product in two categories has two records: their marks are added up, so that their order does
// not count, and the last name counts.
void JoinRecords(std::vector<Snapshot::Product>& products)
{
    std::stable_sort(
        products.begin(), products.end(),
        [](const Snapshot::Product& a, const Snapshot::Product& b) { return a.serial < b.serial; });
    std::size_t last = 0;
    for (std::size_t i = 1; i < products.size(); ++i) {
        if (products[i].serial == products[last].serial) {
            products[i].mark += products[last].mark;
            products[last] = products[i];
        } else {
            products[++last] = products[i];
        }
    }
    if (!products.empty())
        products.resize(last + 1);
}

// Ends early, with a part, once it is no longer wanted.
Snapshot TakeSnapshot(CatalogScan& scan, const std::atomic<bool>& isWanted = true)
{
    Snapshot snapshot;
    std::set<std::string, std::less<>> categories;
    snapshot.exists = bool(scan);
    while (isWanted && scan.Next()) {
        snapshot.products.push_back(
            { scan.ServerSerialNumber(), snapshot.names.size(), scan.ContentHash() });
        snapshot.names.append(scan.Name()).push_back('\0');
        if (categories.find(scan.Category()) == categories.end())
            categories.emplace(scan.Category());
    }
    snapshot.categories = categories.size();
    JoinRecords(snapshot.products);
    return snapshot;
}

// The database as it is before an update, read beside the transfer in a thread, which has the
// scan for itself. It is opened at once: an update may be over before the thread begins.
class SnapshotBefore
{
public:
    SnapshotBefore() : m_snapshot(start()) { }
    ~SnapshotBefore() { m_isWanted = false; } // the future then waits for the thread
    SnapshotBefore(const SnapshotBefore&) = delete;
    SnapshotBefore& operator=(const SnapshotBefore&) = delete;

    Snapshot take() { return m_snapshot.get(); }

private:
    std::future<Snapshot> start()
    {
        const auto read = [this] {
            Snapshot snapshot = TakeSnapshot(*m_scan, m_isWanted);
            m_scan.reset(); // its memory is not needed during the update
            return snapshot;
        };
        try {
            return std::async(std::launch::async, read);
        } catch (const std::system_error&) { // there cannot be one more thread
            std::promise<Snapshot> promise;
            promise.set_value(read());
            return promise.get_future();
        }
    }

    std::optional<CatalogScan> m_scan{ std::in_place };
    std::atomic<bool> m_isWanted{ true };
    std::future<Snapshot> m_snapshot;
};

// Products that are new, have changed or are gone: how many, and the names of the first.
class ProductList
{
public:
    void add(int serial, const QString& name)
    {
        ++m_count;
        if (m_count <= mostNames)
            m_names << QJsonObject{ { QStringLiteral("serial"), serial },
                                    { QStringLiteral("name"), Plain(name) } };
    }
    QJsonObject json() const
    {
        return { { QStringLiteral("count"), m_count }, { QStringLiteral("products"), m_names } };
    }

private:
    static constexpr int mostNames = 1000;

    int m_count = 0;
    QJsonArray m_names;
};

QJsonObject Compare(const Snapshot& before, const Snapshot& after)
{
    ProductList added, changed, gone;
    auto old = before.products.begin();
    const auto noteGone = [&](int below) {
        for (; old != before.products.end() && old->serial < below; ++old)
            gone.add(old->serial, before.nameOf(*old));
    };
    for (const Snapshot::Product& product : after.products) {
        noteGone(product.serial);
        if (old == before.products.end() || old->serial != product.serial) {
            added.add(product.serial, after.nameOf(product));
            continue;
        }
        if (old->mark != product.mark)
            changed.add(product.serial, after.nameOf(product));
        ++old;
    }
    for (; old != before.products.end(); ++old)
        gone.add(old->serial, before.nameOf(*old));
    return { { QStringLiteral("products"), int(after.products.size()) },
             { QStringLiteral("categories"), int(after.categories) },
             { QStringLiteral("first"), !before.exists },
             { QStringLiteral("added"), added.json() },
             { QStringLiteral("changed"), changed.json() },
             { QStringLiteral("gone"), gone.json() } };
}

struct Stopped {
};

// The request. It has no meta-object of its own, so that the server gets the name of the
// base class.
class CatalogRequest : public CAPIUpdateCatalog
{
public:
    explicit CatalogRequest(Report& report) : CAPIUpdateCatalog(true, false), m_report(report)
    {
        TakeInPieces();
    }

    void onDownloadReceive(KIO::Job* job, const QByteArray& data) override
    {
        CAPIUpdateCatalog::onDownloadReceive(job, data);
        m_received += data.size();
        m_report.received(m_received, qint64(job->totalAmount(KJob::Bytes)));
    }

    void onSuccessfulTransfer(QDomElement* body) override
    {
        const SavedMark saved(".catalog");
        CAPIUpdateCatalog::onSuccessfulTransfer(body);
        QDomElement catalog = body->firstChildElement();
        if (catalog.isNull())
            fail(AgentError::ReplyNotUnderstood, QStringLiteral("There is no catalog in it."));
        else if (!saved.isNew())
            fail(AgentError::CannotWrite, saved.failure().details);
        else if (!fill(catalog))
            fail(IsStopped() ? AgentError::Cancelled : AgentError::CannotWrite, SavedTreePath(""));
    }

    bool WaitForOtherUpdate() override
    {
        if (!m_waits)
            m_report.waits(QCoreApplication::translate(
                "Pakmart", "Waiting for another update of the catalog to end"));
        m_waits = true;
        return CAPIUpdateCatalog::WaitForOtherUpdate() && !IsStopped();
    }

    void ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file) override
    {
        waitIsOver();
        CAPIUpdateCatalog::ProcessRecordsInCategory(category, file);
        if (IsStopped())
            throw Stopped(); // the new database is not complete, and must not be taken for it
        ++m_done;
        m_report.stored(double(m_done) / std::max(m_categories, m_done));
    }

    bool KeepsGoing(double share) override
    {
        waitIsOver();
        m_report.stored(share);
        return !IsStopped();
    }

private:
    void waitIsOver()
    {
        if (m_waits)
            m_report.waits(QString());
        m_waits = false;
    }
    void fail(AgentError::Code code, const QString& details)
    {
        m_bSucceeded = false;
        SetFailure(code, QString(), details);
    }

    bool fill(QDomElement& catalog)
    try {
        const QString tag = QStringLiteral("category");
        for (QDomElement category = catalog.firstChildElement(tag); !category.isNull();
             category = category.nextSiblingElement(tag))
            ++m_categories;
        return ProcessVantrelCatalogRequest(catalog);
    } catch (const Stopped&) {
        return false;
    }

    Report& m_report;
    qint64 m_received = 0;
    int m_categories = 0;
    int m_done = 0;
    bool m_waits = false;
};

} // namespace

Outcome RefreshCatalog(const QStringList&, Report& report)
{
    Outcome outcome;
    if (IsCatalogCurrent([] { return !IsStopped(); })) {
        CatalogScan scan;
        const Snapshot same = TakeSnapshot(scan);
        outcome.result = Compare(same, same);
    } else {
        SnapshotBefore before;
        if (RunToItsEnd(new CatalogRequest(report), outcome)) {
            CatalogScan after;
            outcome.result = Compare(before.take(), TakeSnapshot(after));
        }
    }
    bool isUnpacked = false;
    outcome.result[QStringLiteral("transferred")] = TransferredBytes(isUnpacked);
    outcome.result[QStringLiteral("transferredUnpacked")] = isUnpacked;
    return outcome;
}
