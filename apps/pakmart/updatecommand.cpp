// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Fetching the store's catalog, filling the database from it, and showing the differences
// from the previous one.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "outcome.h"

#include <KIO/Job>
#include <QDomElement>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <vantrelagent/catalog/capiupdatecatalog.h>
#include <vantrelagent/db/catalogscan.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

namespace
{

// ---- the catalog before and after ----

struct Snapshot {
    struct Entry {
        QString name;
        std::size_t mark = 0; // a hash of everything that is stored about the product
    };
    std::map<int, Entry> products; // by their serial numbers
    std::set<std::string> categories;
    bool exists = false;
};

std::size_t MarkOf(CatalogScan& scan)
{
    std::string all;
    for (const CatalogScan::Value& value : scan.Values())
        all.append(value.text).append(std::to_string(value.number)).push_back('\0');
    all.append(scan.Description()).push_back('\0');
    for (const std::string& name : scan.Dependencies())
        all.append(name).push_back('\0');
    return std::hash<std::string>()(all);
}

Snapshot TakeSnapshot()
{
    Snapshot snapshot;
    CatalogScan scan;
    snapshot.exists = bool(scan);
    while (scan.Next()) {
        Snapshot::Entry& entry = snapshot.products[scan.ServerSerialNumber()];
        entry.name = QString::fromUtf8(scan.Name()).simplified();
        // A product in two categories has two records; the sum does not depend on their order.
        entry.mark += MarkOf(scan);
        snapshot.categories.insert(scan.Category());
    }
    return snapshot;
}

struct Difference {
    std::map<int, QString> added, changed, gone;
};

Difference Compare(const Snapshot& before, const Snapshot& after)
{
    Difference difference;
    for (const auto& [serial, entry] : after.products) {
        const auto old = before.products.find(serial);
        if (old == before.products.end())
            difference.added[serial] = entry.name;
        else if (old->second.mark != entry.mark)
            difference.changed[serial] = entry.name;
    }
    for (const auto& [serial, entry] : before.products)
        if (after.products.count(serial) == 0)
            difference.gone[serial] = entry.name;
    return difference;
}

// ---- the request ----

// The progress bar of an update, shown only if the update takes long enough.
class UpdateProgress
{
public:
    UpdateProgress(Console& display, bool quiet) : m_display(display), m_quiet(quiet)
    {
        m_time.start();
    }
    // The overall progress is half for the transfer and half for filling the database.
    // `half`: 0 while the catalog arrives, 1 while the database is filled.
    void tell(int half, double share)
    {
        if (!m_quiet && m_time.elapsed() > 1000)
            m_display.progress(int(100 * share), int(50 * (half + share)));
    }

private:
    Console& m_display;
    const bool m_quiet;
    QElapsedTimer m_time;
};

struct UpdateRecord {
    bool came = false; // the reply has a catalog
    bool filled = false; // and it is in the database
};

int CountCategories(const QDomElement& catalog)
{
    const QString tag = QStringLiteral("category");
    int count = 0;
    for (QDomElement category = catalog.firstChildElement(tag); !category.isNull();
         category = category.nextSiblingElement(tag))
        ++count;
    return count;
}

// The request. It has no meta-object of its own, so that the server gets the name of the
// base class.
class CatalogUpdate : public CAPIUpdateCatalog
{
public:
    CatalogUpdate(Console& display, bool quiet, UpdateRecord& record)
        : CAPIUpdateCatalog(false, true), m_display(display), m_quiet(quiet), m_record(record),
          m_progress(display, quiet)
    {
    }

    void onDownloadReceive(KIO::Job* job, const QByteArray& data) override
    {
        CAPIUpdateCatalog::onDownloadReceive(job, data);
        m_received += data.size();
        ShowReceived(*job);
    }

    void onSuccessfulTransfer(QDomElement* body) override
    {
        CAPIUpdateCatalog::onSuccessfulTransfer(body);
        QDomElement catalog = body->firstChildElement();
        m_record.came = !catalog.isNull();
        if (!m_record.came)
            return;
        if (!m_quiet)
            m_display.activity(QStringLiteral("Filling the database"));
        m_categories = CountCategories(catalog);
        m_record.filled = ProcessVantrelCatalogRequest(catalog);
    }

    bool WaitForOtherUpdate() override
    {
        if (!m_waits && !m_quiet)
            m_display.activity(QStringLiteral("Waiting for another update to end"));
        m_waits = true;
        return CAPIUpdateCatalog::WaitForOtherUpdate() && !Interrupt::received();
    }

    void ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file) override
    {
        CAPIUpdateCatalog::ProcessRecordsInCategory(category, file);
        ++m_done;
        m_progress.tell(1, double(m_done) / std::max(m_categories, m_done));
    }

private:
    // KDE Frameworks 6 report the length of a reply only at its end; until then it is
    // assumed to be as long as the last one.
    void ShowReceived(const KIO::Job& job)
    {
        const auto total = job.totalAmount(KJob::Bytes);
        if (total > 0)
            m_progress.tell(0, double(job.processedAmount(KJob::Bytes)) / double(total));
        else if (m_expected > 0)
            m_progress.tell(0, std::min(0.99, double(m_received) / double(m_expected)));
    }

    Console& m_display;
    const bool m_quiet;
    UpdateRecord& m_record;
    UpdateProgress m_progress;
    int m_categories = 0;
    const qint64 m_expected
        = QFileInfo(SystemPath(GetRootPath() + QLatin1String(".catalog"))).size();
    qint64 m_received = 0; // bytes of the reply
    int m_done = 0;
    bool m_waits = false;
};

// ---- the output ----

QString Count(std::size_t count, const char* one, const char* many)
{
    return QString::number(qulonglong(count)) + QLatin1Char(' ')
        + QLatin1String(count == 1 ? one : many);
}

void SayList(Console& display, const char* label, const std::map<int, QString>& products)
{
    constexpr std::size_t shown = 10;
    if (products.empty())
        return;
    QStringList names;
    for (const auto& [serial, name] : products) {
        if (std::size_t(names.size()) == shown)
            break;
        names << QStringLiteral("%1 (%2)").arg(name).arg(serial);
    }
    QString text = QLatin1String(label) + QString::number(qulonglong(products.size()))
        + QLatin1String(": ") + names.join(QStringLiteral(", "));
    if (products.size() > shown)
        text += QStringLiteral(" and %1 more").arg(qulonglong(products.size() - shown));
    display.sayText(text);
}

void Tell(Console& display, const Snapshot& before, const Snapshot& after)
{
    display.sayText(QStringLiteral("The catalog has %1 in %2.")
                        .arg(Count(after.products.size(), "product", "products"),
                             Count(after.categories.size(), "category", "categories")));
    if (!before.exists)
        return;
    const Difference difference = Compare(before, after);
    if (difference.added.empty() && difference.changed.empty() && difference.gone.empty())
        display.sayText(QStringLiteral("Nothing has changed since the last update."));
    SayList(display, "New since the last update, ", difference.added);
    SayList(display, "Changed, ", difference.changed);
    SayList(display, "Gone, ", difference.gone);
}

QJsonArray ListAsJson(const std::map<int, QString>& products)
{
    QJsonArray list;
    for (const auto& [serial, name] : products)
        list << QJsonObject{ { QStringLiteral("serial"), serial },
                             { QStringLiteral("name"), name } };
    return list;
}

void TellJson(Console& display, const Snapshot& before, const Snapshot& after)
{
    const Difference difference = Compare(before, after);
    display.sayJson(QJsonObject{ { QStringLiteral("products"), int(after.products.size()) },
                                 { QStringLiteral("categories"), int(after.categories.size()) },
                                 { QStringLiteral("new"), ListAsJson(difference.added) },
                                 { QStringLiteral("changed"), ListAsJson(difference.changed) },
                                 { QStringLiteral("gone"), ListAsJson(difference.gone) } });
}

// What went wrong with a catalog that has arrived; empty if nothing did.
QString Failure(const UpdateRecord& record, const SavedMark& saved)
{
    if (!record.came)
        return QStringLiteral("the store's answer has no catalog in it");
    if (!saved.isNew())
        return QStringLiteral("the answer could not be saved in %1").arg(saved.path());
    if (!record.filled)
        return QStringLiteral("the catalog database cannot be written in %1").arg(GetRootPath());
    return QString();
}

} // namespace

int UpdateCommand(Console& display, const BoxWatcher& boxes, bool json)
{
    const Snapshot before = TakeSnapshot();
    if (!json)
        display.activity(QStringLiteral("Asking for the catalog"));
    const SavedMark saved(".catalog");
    UpdateRecord record;
    bool succeeded = false;
    auto* request = new CatalogUpdate(display, json, record);
    QObject::connect(request, &CAPI::APIComplete, [&succeeded](bool ok) { succeeded = ok; });
    request->Execute();
    if (Interrupt::received())
        return ExitInterrupted;
    const QString failure
        = succeeded ? Failure(record, saved) : QStringLiteral("the request failed");
    if (!failure.isEmpty()) {
        // Usually a box has already shown why the request failed.
        if (succeeded || boxes.errors() == 0)
            display.complain(failure);
        return ExitFailed;
    }
    const Snapshot after = TakeSnapshot();
    if (json)
        TellJson(display, before, after);
    else
        Tell(display, before, after);
    return ExitDone;
}
