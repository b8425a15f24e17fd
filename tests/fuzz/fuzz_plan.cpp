// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The reader of plans: whatever the front end prints, a plan that is taken for whole has
// names, versions and sizes that are in range, says the same when it is written down and read
// again, and is none without its last line.

#include "base/packagename.h"
#include "fuzzer.h"
#include "host/planreader.h"

#include <QSet>

using namespace Pakmart;

namespace
{

using Rows = std::optional<QList<PlanRow>>;

Rows Read(const QStringList& lines)
{
    PlanReader reader;
    for (const QString& line : lines)
        reader.take(line);
    return reader.rows();
}

void DemandSound(const PlanRow& row)
{
    Demand(Agent::IsPackageWord(row.package.toStdString()), "a name is a package's");
    for (const QString& version : { row.oldVersion, row.newVersion })
        Demand(version.isEmpty() || Agent::IsPackageVersion(version.toStdString()),
               "a version is one");
    Demand(row.action < PlanRow::Configured && row.oldVersion.isEmpty() == !row.action,
           "only what is installed anew has no old version");
    Demand(row.newVersion.isEmpty() == (row.action == PlanRow::Removed),
           "only what goes has no new version");
    for (const qint64 size : { row.downloadSize, row.oldSize, row.newSize })
        Demand(size >= 0 && size < 10000000000000, "a size is in range");
}

QStringList Written(const QList<PlanRow>& rows)
{
    static const char* const actions[]
        = { "install", "upgrade", "downgrade", "reinstall", "remove" };
    static const char* const reasons[] = { "asked",    "needed",     "recommended", "unused",
                                           "conflict", "dependency", "other",       "other" };
    QStringList lines{ QStringLiteral("Plan: 1"), QString() };
    const auto add = [&lines](const char* field, const QString& value) {
        if (!value.isEmpty())
            lines << QLatin1String(field) + QLatin1String(": ") + value;
    };
    for (const PlanRow& row : rows) {
        add("Package", row.package);
        add("Action", QLatin1String(actions[row.action]));
        add("Old-Version", row.oldVersion);
        add("New-Version", row.newVersion);
        add("Architecture", row.architecture);
        add("Download-Size", QString::number(row.downloadSize));
        add("Old-Size", QString::number(row.oldSize));
        add("New-Size", QString::number(row.newSize));
        add("Essential", row.isEssential ? QStringLiteral("yes") : QStringLiteral("no"));
        add("Reason", QLatin1String(reasons[row.reason]));
        add("Because-Of", row.because);
        lines << QString();
    }
    return lines << QStringLiteral("End: %1").arg(rows.size());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QStringList lines = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size))
                                  .split(QLatin1Char('\n'));
    const Rows rows = Read(lines);
    if (!rows)
        return 0;
    QSet<QString> names;
    for (const PlanRow& row : *rows) {
        DemandSound(row);
        names.insert(row.package);
    }
    Demand(names.size() == rows->size(), "each package is there once");
    const QStringList written = Written(*rows);
    const Rows again = Read(written);
    Demand(again && Written(*again) == written, "it says the same when it is read again");
    Demand(!Read(written.mid(0, written.size() - 1)), "a plan that was cut off is none");
    return 0;
}
