// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/paths.h"

#include "base/privateroot.h"
#include "support/ctracer.h"
#include "util/logsettings.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace
{

// Makes a folder that only the user may write to, whatever the process's umask is. A folder
// that another process has made meanwhile is accepted; ".." is not.
bool MakeFolder(const QString& parent, const QString& name)
{
    const QString path = parent + name;
    return mkdir(QFile::encodeName(path).constData(), 0755) == 0
        || (errno == EEXIST && !name.startsWith(QLatin1Char('.')) && QDir(path).exists());
}

} // namespace

std::string Agent::SystemPath(const std::string& path)
{
    return PrivateRoot() + path;
}

std::string Agent::SystemPath(const char* path)
{
    return PrivateRoot() + path;
}

QString Agent::SystemPath(const QString& path)
{
    return QFile::decodeName(PrivateRoot().c_str()) + path;
}

QString Agent::PlainPath(const QString& path)
{
    const QString root = QFile::decodeName(PrivateRoot().c_str());
    return !root.isEmpty() && path.startsWith(root + QLatin1Char('/')) ? path.mid(root.size())
                                                                       : path;
}

void SetRootPath(const char*) { }

QString GetRootPath()
{
    return QStringLiteral("/usr/share/apps/vantrelagent/");
}

std::string Agent::SettingsFile()
{
    const std::string path = SystemPath((GetRootPath() + QLatin1String(".vauf")).toStdString());
    // A missing file is usual. Checked only if the category is on.
    if (logSettings().isInfoEnabled() && access(path.c_str(), R_OK) != 0 && errno != ENOENT)
        qCInfo(logSettings, "cannot read %s: %s; all settings have their defaults", path.c_str(),
               std::strerror(errno));
    return path;
}

// By value: the signature is fixed.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool CreateFolderTree(QString path)
{
    CTracer tracer("CreateFolderTree");
    const QChar separator = QDir::separator();
    QString existing = path;
    while (!existing.isEmpty() && !QDir(existing).exists())
        existing.truncate(std::max(0, int(existing.lastIndexOf(separator))));
    // Nothing of a relative path exists: it begins in the working directory.
    if (!existing.isEmpty() || path.startsWith(separator))
        existing += separator;
    QString rest = path.mid(existing.size());
    QString part = rest.section(separator, 0, 0);
    bool ok = true;
    while (!rest.isEmpty() && !part.isEmpty() && ok) {
        ok = MakeFolder(existing, part);
        existing += part + separator;
        rest = rest.mid(part.size() + 1);
        part = rest.section(separator, 0, 0);
    }
    return true;
}

QString GetVantrelOSVersionInfo()
{
    CTracer tracer("GetVantrelOSVersionInfo");
    QFile file(SystemPath(QStringLiteral("/etc/vantrelos-version")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
