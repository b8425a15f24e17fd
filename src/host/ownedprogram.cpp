// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/ownedprogram.h"

#include "base/dpkgstatus.h"
#include "base/packagename.h"
#include "base/text.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <algorithm>

using namespace Agent;

namespace Pakmart
{

namespace
{

QList<QByteArray> LinesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
}

// The path below /usr of a file in a top folder that is only a link to there.
QString Merged(const QString& path)
{
    const QString top = path.left(path.indexOf(QLatin1Char('/'), 1));
    const QString below = QLatin1String("/usr") + top;
    const bool isLink = PlainPath(QFile::symLinkTarget(SystemPath(top))) == below;
    return isLink ? QLatin1String("/usr") + path : path;
}

// What an alternative leads to; otherwise the path itself.
QString Chosen(const QString& path)
{
    const QString link = PlainPath(QFile::symLinkTarget(SystemPath(path)));
    return link.startsWith(QLatin1String("/etc/alternatives/"))
        ? PlainPath(QFile::symLinkTarget(SystemPath(link)))
        : path;
}

// Where dpkg has put the files of a package that another package, or the administrator, wants
// elsewhere.
QMap<QString, QString> DiversionsFor(const QString& package)
{
    QMap<QString, QString> places;
    const QList<QByteArray> lines = LinesOf(SystemPath(QStringLiteral("/var/lib/dpkg/diversions")));
    for (int i = 0; i + 2 < lines.size(); i += 3) { // from, to, for whom
        if (QString::fromUtf8(lines[i + 2]) != package)
            places[Merged(QString::fromUtf8(lines[i]))] = Merged(QString::fromUtf8(lines[i + 1]));
    }
    return places;
}

bool Has(const QString& package, const QString& file)
{
    const DpkgStatus status(SystemPath(std::string("/var/lib/dpkg")));
    if (!IsPackageName(package.toStdString()) || status.Of(package.toStdString()).IsGone())
        return false;
    const QMap<QString, QString> diverted = DiversionsFor(package);
    const QDir info(SystemPath(QStringLiteral("/var/lib/dpkg/info")));
    // A list has the architecture in its name if the package can be there for several.
    const QStringList names{ package + QLatin1String(".list"), package + QLatin1String(":*.list") };
    for (const QString& name : info.entryList(names, QDir::Files)) {
        for (const QByteArray& line : LinesOf(info.filePath(name))) {
            const QString path = Merged(QString::fromUtf8(line));
            if (diverted.value(path, path) == file)
                return true;
        }
    }
    return false;
}

// Whether a file can be started, and is on this machine and not outside of its private root.
bool IsProgram(const QString& path)
{
    const QFileInfo program(SystemPath(path));
    const QString root
        = QDir(QFileInfo(SystemPath(QStringLiteral("/usr"))).canonicalPath()).filePath(QString());
    return program.isFile() && program.isExecutable()
        && program.canonicalFilePath().startsWith(root);
}

} // namespace

bool IsProgramOf(const QStringList& packages, const QString& path)
{
    const bool isShown = std::none_of(path.begin(), path.end(),
                                      [](QChar one) { return IsUnprintable(one.unicode()); });
    const bool isPlain = path.startsWith(QLatin1Char('/')) && isShown
        && !path.contains(QLatin1Char('\n')) && QDir::cleanPath(path) == path;
    if (!isPlain || !IsProgram(path))
        return false;
    const QString file = Merged(Chosen(path));
    return std::any_of(packages.begin(), packages.end(),
                       [&file](const QString& package) { return Has(package, file); });
}

} // namespace Pakmart
