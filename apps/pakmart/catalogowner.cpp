// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalogowner.h"

#include "base/privateroot.h"
#include "commands.h"
#include "console.h"

#include <QDateTime>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <sys/stat.h>
#include <unistd.h>
#include <vantrelagent/util/paths.h>

namespace
{

const char script[] = "/usr/libexec/pakmart-refresh";
const char resultFile[] = "/run/pakmart-refresh/result";
constexpr qint64 longestResult = 16 * 1024 * 1024;

struct Owner {
    uid_t user;
    gid_t group;
};

// The owner of the data folder, if only that user is to write it.
std::optional<Owner> OwnerToAsk()
{
    const QByteArray folder = QFile::encodeName(GetRootPath());
    struct stat info = {};
    const uid_t self = geteuid();
    if (!Agent::PrivateRoot().empty() || stat(folder.constData(), &info) != 0 || info.st_uid == 0
        || info.st_uid == self || (self != 0 && access(folder.constData(), W_OK) == 0))
        return std::nullopt;
    return Owner{ info.st_uid, info.st_gid };
}

bool HasSystemd()
{
    return QFileInfo::exists(QStringLiteral("/run/systemd/system"));
}

// Starts the service, which any user may, or without systemd, as root, what the service runs.
void Start(QProcess& process, const Owner& owner)
{
    if (geteuid() != 0 || HasSystemd())
        process.start(QStringLiteral("systemctl"),
                      { QStringLiteral("start"), QStringLiteral("pakmart-refresh.service") });
    else
        process.start(QStringLiteral("/usr/bin/setpriv"),
                      { QStringLiteral("--reuid=%1").arg(owner.user),
                        QStringLiteral("--regid=%1").arg(owner.group),
                        QStringLiteral("--clear-groups"), QStringLiteral("--no-new-privs"),
                        QString::fromLatin1(script) });
}

// The result of a run that has begun at `begin` or later, on the process's output or in a file.
QJsonObject ResultOf(QProcess& process, const QDateTime& begin)
{
    QByteArray text = process.readAllStandardOutput();
    QFile file{ QString::fromLatin1(resultFile) };
    if (text.isEmpty() && file.open(QIODevice::ReadOnly) && QFileInfo(file).lastModified() >= begin)
        text = file.read(longestResult);
    return QJsonDocument::fromJson(text).object();
}

QString Products(int count)
{
    return count == 1 ? QStringLiteral("1 product") : QStringLiteral("%1 products").arg(count);
}

void SayList(Console& console, const QString& label, const QJsonArray& products)
{
    if (!products.isEmpty())
        console.SayText(label + Products(int(products.size())) + QLatin1Char('.'));
}

void SayResult(Console& console, const QJsonObject& result)
{
    console.SayJson(result);
    console.SayText(QStringLiteral("The catalog has %1.")
                        .arg(Products(result[QStringLiteral("products")].toInt())));
    SayList(console, QStringLiteral("New since the last update: "),
            result[QStringLiteral("new")].toArray());
    SayList(console, QStringLiteral("Changed: "), result[QStringLiteral("changed")].toArray());
    SayList(console, QStringLiteral("Gone: "), result[QStringLiteral("gone")].toArray());
}

void SayFailure(Console& console, const QJsonObject& result, const QString& output)
{
    const QString sentence = result[QStringLiteral("sentence")].toString();
    if (!sentence.isEmpty())
        console.Fail(result[QStringLiteral("code")].toString(), sentence,
                     result[QStringLiteral("details")].toString());
    else
        console.Fail(QStringLiteral("tools-missing"),
                     QStringLiteral("the service that updates the catalog, "
                                    "pakmart-refresh.service, could not be run"),
                     output);
}

} // namespace

std::optional<int> UpdateAsOwner(Console& console)
{
    const std::optional<Owner> owner = OwnerToAsk();
    if (!owner)
        return std::nullopt;
    constexpr int stampMilliseconds = 2000; // of the coarsest file systems
    const QDateTime begin = QDateTime::currentDateTime().addMSecs(-stampMilliseconds);
    QProcess process;
    QEventLoop loop;
    QObject::connect(&process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
                     &QEventLoop::quit);
    const Interrupt::Handler handler([&process] { process.terminate(); });
    Start(process, *owner);
    if (process.waitForStarted(-1))
        loop.exec();
    if (Interrupt::Received())
        return ExitInterrupted;
    const bool isDone = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
        && process.error() == QProcess::UnknownError;
    const QJsonObject result = ResultOf(process, begin);
    if (isDone && result.contains(QStringLiteral("products"))) {
        SayResult(console, result);
        return ExitDone;
    }
    SayFailure(console, result, QString::fromLocal8Bit(process.readAllStandardError()));
    return ExitFailed;
}
