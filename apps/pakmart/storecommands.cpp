// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the store sends beside products: the catalog, package sources, its arrangement, the
// account's applications; and the registration of this machine.

#include "commands.h"
#include "console.h"
#include "runjob.h"

#include <KLazyLocalizedString>
#include <KLocalizedString>
#include <Pakmart/AislesJob>
#include <Pakmart/RefreshCatalogJob>
#include <Pakmart/RefreshSourcesJob>
#include <Pakmart/RegisterJob>
#include <Pakmart/SyncJob>
#include <QJsonArray>
#include <QJsonObject>
#include <QLocale>

using namespace Pakmart;

namespace
{

// `label` takes the number of products and their names.
void SayList(Console& console, const KLazyLocalizedString& label, int count,
             const QList<CatalogChange>& products)
{
    constexpr int most = 10;
    if (count == 0)
        return;
    QStringList names;
    for (const CatalogChange& product : products.mid(0, most))
        names << QStringLiteral("%1 (%2)").arg(product.name.simplified()).arg(product.serial);
    QString text = names.join(QStringLiteral(", "));
    if (count > names.size())
        text = i18np("%2 and %1 more", "%2 and %1 more", count - int(names.size()), text);
    console.SayText(label.subs(count).subs(text).toString());
}

void SayCatalog(Console& console, const RefreshCatalogJob& job)
{
    console.SayText(i18nc("%1: \"5 products\", %2: \"2 categories\"", "The catalog has %1 in %2.",
                          i18np("%1 product", "%1 products", job.products()),
                          i18np("%1 category", "%1 categories", job.categories())));
    if (job.isFirst())
        return;
    if (job.isUnchanged())
        console.SayText(i18n("Nothing has changed since the last update."));
    SayList(console, kli18n("New since the last update, %1: %2"), job.addedCount(), job.added());
    SayList(console, kli18n("Changed, %1: %2"), job.changedCount(), job.changed());
    SayList(console, kli18n("Gone, %1: %2"), job.goneCount(), job.gone());
}

void SaySent(Console& console, const RefreshCatalogJob& job)
{
    const QString size = QLocale().formattedDataSize(job.transferred());
    console.SayText(job.isTransferredUnpacked()
                        ? i18nc("%1: \"1.2 KiB\"", "The store has sent %1, counted unpacked.", size)
                        : i18nc("%1: \"1.2 KiB\"", "The store has sent %1.", size));
}

// A number and a name, of anything that has both.
template <typename Entry> QJsonObject EntryAsJson(const Entry& entry)
{
    return { { QStringLiteral("serial"), entry.serial }, { QStringLiteral("name"), entry.name } };
}

template <typename Entry> QJsonArray ListAsJson(const QList<Entry>& entries)
{
    QJsonArray list;
    for (const Entry& entry : entries)
        list << EntryAsJson(entry);
    return list;
}

QString Numbered(int serial, const QString& name)
{
    return QStringLiteral("%1  ").arg(serial, 6) + name.simplified();
}

} // namespace

int UpdateCommand(Console& console)
{
    console.Activity(i18n("Asking for the catalog"));
    RefreshCatalogJob job;
    const int status = RunJob(console, job);
    if (status != ExitDone)
        return status;
    console.SayJson(
        QJsonObject{ { QStringLiteral("products"), job.products() },
                     { QStringLiteral("categories"), job.categories() },
                     { QStringLiteral("first"), job.isFirst() },
                     { QStringLiteral("new"), ListAsJson(job.added()) },
                     { QStringLiteral("newCount"), job.addedCount() },
                     { QStringLiteral("changed"), ListAsJson(job.changed()) },
                     { QStringLiteral("changedCount"), job.changedCount() },
                     { QStringLiteral("gone"), ListAsJson(job.gone()) },
                     { QStringLiteral("goneCount"), job.goneCount() },
                     { QStringLiteral("transferred"), job.transferred() },
                     { QStringLiteral("transferredUnpacked"), job.isTransferredUnpacked() } });
    SayCatalog(console, job);
    SaySent(console, job);
    return ExitDone;
}

int UpdateSourcesCommand(Console& console)
{
    console.Activity(i18n("Asking for the package sources"));
    RefreshSourcesJob job;
    const int status = RunJob(console, job);
    if (status != ExitDone)
        return status;
    console.SayJson(QJsonObject{ { QStringLiteral("sources"), job.sources() },
                                 { QStringLiteral("changed"), job.isChanged() } });
    console.SayText(i18n("The package sources are up to date."));
    return ExitDone;
}

int AislesCommand(Console& console)
{
    console.Activity(i18n("Asking for the aisles"));
    AislesJob job;
    const int status = RunJob(console, job);
    if (status != ExitDone)
        return status;
    QJsonArray all;
    for (const Aisle& aisle : job.aisles()) {
        all << QJsonObject{ { QStringLiteral("name"), aisle.name },
                            { QStringLiteral("description"), aisle.description },
                            { QStringLiteral("categories"), ListAsJson(aisle.categories) } };
        const QString text = aisle.description.simplified();
        console.SayText(aisle.name.simplified()
                        + (text.isEmpty() ? QString() : QLatin1String(": ") + text));
        for (const AisleCategory& category : aisle.categories)
            console.SayText(Numbered(category.serial, category.name));
    }
    console.SayJson(all);
    if (all.isEmpty())
        console.SayText(i18n("The store has no aisles."));
    return ExitDone;
}

int SyncCommand(Console& console)
{
    console.Activity(i18n("Asking for the profile of this machine"));
    SyncJob job;
    const int status = RunJob(console, job);
    if (status != ExitDone)
        return status;
    QJsonArray all;
    for (const MachineApplication& one : job.applications()) {
        QJsonObject entry = EntryAsJson(one);
        entry[QStringLiteral("package")] = one.package;
        all << entry;
        console.SayText(Numbered(one.serial, one.name) + QLatin1String(" (")
                        + one.package.simplified() + QLatin1Char(')'));
    }
    console.SayJson(all);
    if (all.isEmpty())
        console.SayText(i18n("Nothing of the account is installed on this machine."));
    return ExitDone;
}

int RegisterCommand(Console& console)
{
    RegisterJob job;
    const int status = RunJob(console, job);
    if (status == ExitInterrupted)
        return status;
    const bool done = status == ExitDone;
    const QString reason = job.details().section(QLatin1Char('\n'), 0, 0);
    const QString error = reason.isEmpty() ? job.errorString() : reason;
    console.SayJson(QJsonObject{ { QStringLiteral("registered"), done },
                                 { QStringLiteral("builder"), BuilderOfThisMachine() },
                                 { QStringLiteral("error"), done ? QJsonValue() : error },
                                 { QStringLiteral("code"), Error::name(job.errorCode()) },
                                 { QStringLiteral("sentence"), job.errorString() },
                                 { QStringLiteral("details"), job.details() } });
    if (done)
        console.SayText(i18n("The store knows that this machine comes from the system "
                             "builder %1.",
                             BuilderOfThisMachine()));
    return status;
}
