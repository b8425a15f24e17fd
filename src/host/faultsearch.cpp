// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/faultsearch.h"

#include "base/descriptor.h"
#include "base/dpkgstatus.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "host/beside.h"
#include "install/crunaptget.h"
#include "request/spoolfile.h"
#include "util/paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pakmart
{

namespace
{

// The paths that are searched, which are worked out in the main thread.
struct Places {
    std::string dpkg = Agent::SystemPath("/var/lib/dpkg");
    std::string catalog = Agent::CatalogFolder();
    std::string recent = Agent::RecentFolder();
    QString sources = QFile::decodeName(CRunAptGet::SourcesFile(true).c_str());
    QString lists = QFile::decodeName(CRunAptGet::ListsDir(true).c_str());
    QString signedLists = Agent::SystemPath(QStringLiteral("/var/lib/pakmart/stores/lists"));
};

QString Text(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

RepairFinding Finding(RepairFinding::Kind kind, const QString& name, const QString& sentence)
{
    RepairFinding finding;
    finding.kind = kind;
    finding.name = name;
    finding.sentence = sentence;
    return finding;
}

void SearchPackages(const Places& places, QList<RepairFinding>& found)
{
    const Agent::DpkgStatus dpkg(places.dpkg);
    if (dpkg.WasInterrupted())
        found << Finding(RepairFinding::InterruptedRun, QString(),
                         Text(QT_TRANSLATE_NOOP("Pakmart", "dpkg was interrupted.")));
    for (const auto& [name, state] : dpkg.All()) {
        if (!state.IsHalfWay())
            continue;
        const QString package = QString::fromStdString(name);
        found << Finding(
            RepairFinding::BrokenPackage, package,
            Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is not fully installed (its state is '%2')."))
                .arg(package, QString::fromStdString(state.Words())));
    }
}

// How apt begins the names of a source's lists: the address without its scheme and user, with
// some characters escaped, and '_' for '/'.
QString ListPrefix(const QString& address)
{
    QString name;
    const QString place = address.mid(address.indexOf(QLatin1String("://")) + 3);
    for (const char byte : place.mid(place.indexOf(QLatin1Char('@')) + 1).toUtf8()) {
        const bool isPlain
            = byte > ' ' && byte < 127 && !std::strchr("\\|{}[]<>\"^~_=!@#$%^&*", byte);
        name += byte == '/' ? QStringLiteral("_")
            : isPlain       ? QString(QLatin1Char(byte))
                            : QStringLiteral("%%1").arg(int(uchar(byte)), 2, 16, QLatin1Char('0'));
    }
    return name;
}

// The address in "deb [options] http://host/path ./".
QString AddressIn(const QByteArray& line)
{
    static const QRegularExpression form(
        QStringLiteral("^deb\\s+(?:\\[[^\\]]*\\]\\s+)?(\\S+://\\S+)"));
    return form.match(QString::fromUtf8(line)).captured(1);
}

// Sources without lists of theirs: the lists were removed, or never fetched, or the sources have
// changed since.
void SearchLists(const Places& places, QList<RepairFinding>& found)
{
    QFile sources(places.sources);
    if (!sources.open(QIODevice::ReadOnly))
        return;
    constexpr int mostBytes = 1024 * 1024;
    // Those of stores with a key have a folder of their own, which all accounts share.
    const QStringList kind{ QStringLiteral("*_Packages*") };
    const QStringList lists = QDir(places.lists).entryList(kind, QDir::Files)
        + QDir(places.signedLists).entryList(kind, QDir::Files);
    bool lacks = false;
    for (const QByteArray& line : sources.read(mostBytes).split('\n')) {
        const QString address = AddressIn(line);
        const QString prefix = ListPrefix(address);
        lacks = lacks
            || (!address.isEmpty()
                && std::none_of(lists.begin(), lists.end(), [&prefix](const QString& list) {
                       return list.startsWith(prefix);
                   }));
    }
    if (!lacks)
        return;
    found << Finding(
        RepairFinding::MissingLists, places.lists,
        lists.isEmpty() ? Text(QT_TRANSLATE_NOOP("Pakmart", "The package lists are missing."))
                        : Text(QT_TRANSLATE_NOOP(
                            "Pakmart", "The package lists are not those of the package sources.")));
}

// Whether no process has it open in earnest: those that work with it keep it locked.
bool IsAbandoned(const QString& path)
{
    const Agent::Descriptor opened(
        open(QFile::encodeName(path).constData(),
             O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_DIRECTORY));
    struct stat info = {};
    return opened && fstat(opened.Get(), &info) == 0 && info.st_uid == geteuid()
        && flock(opened.Get(), LOCK_EX | LOCK_NB) == 0;
}

void AddLeftover(const QString& path, QList<RepairFinding>& found)
{
    found << Finding(
        RepairFinding::Leftover, path,
        Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is left of a process that has ended.")).arg(path));
}

void SearchLeftovers(const Places& places, QList<RepairFinding>& found)
{
    for (const std::string& path : Agent::SpoolFile::Abandoned())
        AddLeftover(QFile::decodeName(path.c_str()), found);
    const QDir catalog(QFile::decodeName(places.catalog.c_str()));
    const QString current
        = QDir(QFile::decodeName(Agent::CurrentCatalogFolder(places.catalog).c_str())).dirName();
    for (const QString& name : catalog.entryList({ QStringLiteral(".VACatalog.gen-*") },
                                                 QDir::Dirs | QDir::Hidden | QDir::NoSymLinks)) {
        if (name != current && IsAbandoned(catalog.filePath(name)))
            AddLeftover(catalog.filePath(name), found);
    }
}

QString FirstOf(const Agent::DbFindings& check)
{
    return QString::fromStdString(check.faults.front());
}

void SearchDatabases(const Places& places, QList<RepairFinding>& found)
{
    const QString catalog = QFile::decodeName((places.catalog + ".VACatalog.fil").c_str());
    const QString saved = QFile::decodeName((places.catalog + ".catalog").c_str());
    const QString recent = QFile::decodeName((places.recent + ".rulist.fil").c_str());
    if (QFile::exists(catalog)) {
        const Agent::PinnedGeneration pinned(places.catalog);
        const Agent::DbFindings check = Agent::CheckCatalog(pinned.Folder());
        if (!check.faults.empty())
            found << Finding(
                RepairFinding::DamagedCatalog, FirstOf(check),
                Text(QT_TRANSLATE_NOOP("Pakmart", "The database of the catalog is damaged.")));
    } else if (QFile::exists(saved)) {
        found << Finding(
            RepairFinding::DamagedCatalog, QString(),
            Text(QT_TRANSLATE_NOOP("Pakmart", "The database of the catalog is missing.")));
    }
    if (!QFile::exists(recent))
        return;
    const Agent::DbFindings check = Agent::CheckRecent(places.recent);
    if (!check.faults.empty())
        found << Finding(RepairFinding::DamagedRecentList, FirstOf(check),
                         Text(QT_TRANSLATE_NOOP("Pakmart",
                                                "The list of recently used applications is "
                                                "damaged.")));
}

} // namespace

void SearchFaults(QObject* context,
                  const std::function<void(const QList<RepairFinding>& found)>& done)
{
    const auto found = std::make_shared<QList<RepairFinding>>();
    RunBeside(
        context,
        [found, places = Places()] {
            SearchPackages(places, *found);
            SearchLists(places, *found);
            SearchLeftovers(places, *found);
            SearchDatabases(places, *found);
        },
        [found, done] { done(*found); });
}

void RemoveLeftovers(QObject* context, const std::function<void()>& done)
{
    RunBeside(
        context,
        [places = Places()] {
            Agent::SpoolFile::RemoveAbandoned();
            Agent::RemoveOldGenerations(places.catalog);
        },
        done);
}

QString AdviceOnScript(const QString& package)
{
    return Text(QT_TRANSLATE_NOOP("Pakmart",
                                  "A script of %1 fails. Remove %1, or install another version."))
        .arg(package);
}

} // namespace Pakmart
