// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The recently used applications: showing them, starting one, forgetting one.

#include "base/descriptor.h"
#include "commands.h"
#include "console.h"
#include "layout.h"
#include "outcome.h"

#include <KLocalizedString>
#include <Pakmart/OpenJob>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <unistd.h>
#include <vantrelagent/db/catalogscan.h>
#include <vantrelagent/db/crufile.h>
#include <vantrelagent/install/crun.h>
#include <vantrelagent/store/indexfile.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

namespace
{

// A missing file can be made.
bool IsUsableFile(const std::string& path)
{
    const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    return file || errno == ENOENT;
}

// What keeps the list from being opened: one of its files, or their folder.
QString Obstacle()
{
    const std::string data = CRUFile::RUDATAFILE;
    std::vector<std::string> paths{ data.substr(0, data.find_last_of('/')), data,
                                    CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 };
    for (const std::string& path : paths) {
        const bool isFolder = path == paths.front();
        if (isFolder ? access(path.c_str(), W_OK | X_OK) == 0 : IsUsableFile(path))
            continue;
        return QFile::decodeName(path.c_str()) + QLatin1String(": ")
            + QString::fromLocal8Bit(std::strerror(errno));
    }
    return i18n("'pakmart repair' may be able to mend it");
}

// Runs `work` with the open list. ExitFailed if the list cannot be opened.
int WithList(Console& display, const std::function<int(CRUFile&)>& work)
{
    int status = ExitFailed;
    InitIndex();
    {
        CRUFile list;
        if (list.OpenOrRepair())
            status = work(list);
        else
            display.Fail(QStringLiteral("other"), i18n("the list of applications cannot be opened"),
                         Obstacle());
    }
    UnInitIndex();
    return status;
}

// The name comes from the server, so it is forced onto one line.
QString Name(const CRUFile& list)
{
    return QString::fromUtf8(list.Description()).simplified();
}

int ShowList(Console& display, CRUFile& list)
{
    int place = 0;
    QJsonArray all;
    for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem()) {
        const QDateTime time = QDateTime::fromSecsSinceEpoch(list.LastAccessed());
        display.SayText(QStringLiteral("%1  %2  %3 (%4)")
                            .arg(++place, 3)
                            .arg(DateText(time), Name(list))
                            .arg(list.ServerSerialNumber()));
        all << QJsonObject{ { QStringLiteral("serial"), list.ServerSerialNumber() },
                            { QStringLiteral("name"), Name(list) },
                            { QStringLiteral("used"), time.toString(Qt::ISODate) } };
    }
    display.SayJson(all);
    if (place == 0)
        display.SayText(i18n("No application has been used yet."));
    return ExitDone;
}

bool FindPlace(CRUFile& list, int place)
{
    bool found = list.FindLastAccessedItem();
    for (; found && place > 1; --place)
        found = list.FindPrevAccessedItem();
    return found;
}

// The package of a product, according to the catalog; empty if it is not in there.
QString PackageOf(int serial)
{
    CatalogScan scan;
    while (scan && scan.Next()) {
        if (scan.ServerSerialNumber() == serial)
            return QString::fromUtf8(scan.PackageName());
    }
    return QString();
}

// Why the application that the list has loaded is not started; empty if it may be.
QString RefusalOf(const CRUFile& list)
{
    const QString program = QString::fromUtf8(list.ExecutablePath());
    const QString package = PackageOf(list.ServerSerialNumber());
    if (package.isEmpty())
        return i18n("product %1 is not in the catalog ('pakmart update' fetches it), so "
                    "its package is not known",
                    QString::number(list.ServerSerialNumber()));
    if (Pakmart::OpenJob::isProgramOf({ package }, program))
        return QString();
    if (ReadDpkgStatus().Of(package.toStdString()).IsGone())
        return i18n("its package, %1, is not installed", package.simplified());
    return i18n("its package, %1, has no program %2", package.simplified(), program.simplified());
}

int Start(Console& display, CRUFile& list, int place)
{
    if (!FindPlace(list, place)) {
        display.Complain(i18n("there is no application number %1", place));
        return ExitFailed;
    }
    const QString name = Name(list);
    const QString program = QString::fromUtf8(list.ExecutablePath());
    const QString refusal = RefusalOf(list);
    if (!refusal.isEmpty()) {
        display.Complain(i18n("%1 cannot be started: %2", name, refusal));
        return ExitFailed;
    }
    CRun run(SystemPath(program), QString(), false);
    run.Run();
    if (run.pid() < 0) {
        display.Complain(i18n("%1 cannot be started: %2 not found", name, program));
        return ExitFailed;
    }
    display.SayText(i18n("%1 is started.", name));
    display.SayJson(QJsonObject{ { QStringLiteral("started"), name } });
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    list.SetLastAccessed(std::int32_t(std::min<qint64>(now, INT32_MAX)));
    list.Update();
    return ExitDone;
}

} // namespace

int RecentCommand(Console& display, int run)
{
    return WithList(display, [&display, run](CRUFile& list) {
        return run == 0 ? ShowList(display, list) : Start(display, list, run);
    });
}

int ForgetCommand(Console& display, const QStringList& serials)
{
    return WithList(display, [&display, &serials](CRUFile& list) {
        // An item that an interrupted change left cannot be found by its number.
        list.Repair();
        int status = ExitDone;
        QJsonArray all;
        for (const QString& serial : serials) {
            bool fits = false;
            const int number = serial.toInt(&fits);
            const bool isThere = fits && number > 0 && list.FindServerSerialNumber(number);
            if (isThere && list.DeleteRecord(number)) {
                display.SayText(i18n("%1 is forgotten.", Name(list)));
                all << number;
                continue;
            }
            display.Complain(
                isThere ? i18n("%1 cannot be forgotten: the list could not be written", Name(list))
                        : i18n("there is no application with the serial number %1", serial));
            status = ExitFailed;
        }
        if (status == ExitDone)
            display.SayJson(all);
        return status;
    });
}
