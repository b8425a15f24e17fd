// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/knowncatalog.h"

#include "base/descriptor.h"
#include "base/wholefile.h"
#include "catalog/catalogmark.h"
#include "catalog/savedtree.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "request/capi.h"
#include "request/takenreply.h"
#include "request/transfer.h"
#include "util/paths.h"

#include <QFile>
#include <QStringList>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Agent;

namespace
{

constexpr char savedName[] = ".catalog", markName[] = ".catalogmark";
constexpr qint64 longestMark = 64 * 1024;
// Another version of the library may make another database of the same reply.
constexpr char version[] = "vantrelagent " VANTREL_VERSION;

QString Identity(const struct stat& info)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(info.st_ino)
        .arg(info.st_size)
        .arg(info.st_mtim.tv_sec)
        .arg(info.st_mtim.tv_nsec);
}

// Empty if there is no such file.
QString IdentityOf(const std::string& path)
{
    struct stat info = {};
    return stat(path.c_str(), &info) == 0 ? Identity(info) : QString();
}

QString IdentityOfFile()
{
    return IdentityOf(QFile::encodeName(SavedTreePath(savedName)).toStdString());
}

// Of all files of the database; empty if one is missing.
QString IdentityOfDatabase()
{
    const std::string folder = CurrentCatalogFolder(CatalogFolder());
    QStringList all;
    for (const std::string& name : CatalogFileNames()) {
        all << IdentityOf(folder + name);
        if (all.back().isEmpty())
            return QString();
    }
    return all.join(QLatin1Char(' '));
}

// The lines of the mark that have to be as they are now, before those about the reply.
QStringList Present(const QString& file, const QString& database)
{
    return { QLatin1String(version), CAPI::GetURL(QStringLiteral("agentapi")), file, database };
}

void Write(const TakenReply& reply, const QString& file, const QString& database)
{
    const QStringList lines = Present(file, database)
        + QStringList{ reply.url, reply.mark, reply.sha256, QString::number(reply.size) };
    const QByteArray path = QFile::encodeName(SavedTreePath(markName));
    if (database.isEmpty() || reply.mark.isEmpty()
        || !ReplaceFile(path.toStdString(), lines.join(QLatin1Char('\n')).toStdString() + '\n',
                        0644))
        QFile::remove(QString::fromLocal8Bit(path));
}

// Without an address if there is no mark for the present files.
TakenReply Read()
{
    QFile mark(SavedTreePath(markName));
    if (!mark.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(mark.read(longestMark)).split(QLatin1Char('\n'));
    const QStringList present = Present(IdentityOfFile(), IdentityOfDatabase());
    if (lines.size() != present.size() + 5 || lines.mid(0, present.size()) != present)
        return {};
    const QStringList reply = lines.mid(present.size());
    return { reply[0], reply[1], reply[2], reply[3].toLongLong() };
}

} // namespace

// The file's date tells users how old the offers are. The mark then is for the file with its new
// date; should another update replace the file now, it is worthless.
bool Agent::IsCatalogCurrent(const std::function<bool()>& goOn)
{
    const TakenReply reply = Read();
    const QString database = IdentityOfDatabase();
    if (reply.url.isEmpty() || !IsUnchanged(reply, goOn))
        return false;
    const QByteArray path = QFile::encodeName(SavedTreePath(savedName));
    const Descriptor file(open(path.constData(), O_RDONLY | O_CLOEXEC));
    struct stat info = {};
    if (Read().mark == reply.mark && futimens(file.Get(), nullptr) == 0
        && fstat(file.Get(), &info) == 0)
        Write(reply, Identity(info), database);
    return true;
}

qint64 Agent::TransferredBytes(bool& isUnpacked)
{
    isUnpacked = SentByServer().isUnpacked;
    return SentByServer().count;
}

// The file is replaced before the database: if it is still ours now, so was the database before.
void Agent::NoteCatalog(const TakenReply& reply, const struct stat& file)
{
    const QString database = IdentityOfDatabase();
    if (IdentityOfFile() == Identity(file))
        Write(reply, Identity(file), database);
}
