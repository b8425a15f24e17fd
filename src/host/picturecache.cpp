// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/picturecache.h"

#include "base/wholefile.h"
#include "host/picturereader.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <sys/stat.h>
#include <unistd.h>

namespace Pakmart
{

namespace
{

constexpr mode_t privateFolder = 0700, privateFile = 0600;

bool IsOwnFolder(const QByteArray& path)
{
    struct stat info = {};
    return lstat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid();
}

} // namespace

QString PictureCache::usualFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/pakmart/pictures");
}

// An address may be longer than a file name, and have any characters.
QString PictureCache::pathOf(const QString& url) const
{
    const QByteArray sum = QCryptographicHash::hash(url.toUtf8(), QCryptographicHash::Sha256);
    return m_folder + QLatin1Char('/') + QString::fromLatin1(sum.toHex());
}

PictureCache::Found PictureCache::find(const QString& url) const
{
    Found found;
    const QString path = pathOf(url);
    const QFileInfo info(path);
    const qint64 age = info.lastModified().secsTo(QDateTime::currentDateTime());
    found.bytes = ReadPictureFile(path, m_limits.bytes, false);
    if (found.bytes.isEmpty())
        found.isRefused
            = info.isFile() && info.size() == 0 && age >= 0 && age < m_limits.refusedSeconds;
    else
        found.isFresh = age >= 0 && age < m_limits.freshSeconds;
    return found;
}

// The addresses of pictures say what somebody has looked at: only the user may read them.
bool PictureCache::makeFolder() const
{
    const QByteArray path = QFile::encodeName(m_folder);
    if (mkdir(path.constData(), privateFolder) != 0 && !IsOwnFolder(path)) {
        QDir().mkpath(QFileInfo(m_folder).path());
        mkdir(path.constData(), privateFolder);
    }
    return IsOwnFolder(path) && chmod(path.constData(), privateFolder) == 0;
}

void PictureCache::keep(const QString& url, const QByteArray& bytes) const
{
    if (!makeFolder())
        return;
    Agent::FileReplacement file(QFile::encodeName(pathOf(url)).toStdString(), privateFile);
    if (file && file.Write({ bytes.constData(), std::size_t(bytes.size()) }) && file.Commit())
        removeOldest();
}

void PictureCache::removeOldest() const
{
    constexpr qint64 block = 4096; // what a small file takes on the disk
    const QFileInfoList files
        = QDir(m_folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDir::Time);
    qint64 total = 0;
    for (const QFileInfo& file : files) { // the newest first
        total += (file.size() + block) / block * block;
        if (total > m_limits.total)
            QFile::remove(file.filePath());
    }
}

} // namespace Pakmart
