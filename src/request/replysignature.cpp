// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replysignature.h"

#include "base/privateroot.h"
#include "base/storesettings.h"
#include "request/transfer.h"
#include "util/eventwait.h"
#include "util/paths.h"
#include "util/translated.h"

#include <KIO/Job>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>
#include <unistd.h>

namespace Agent
{

namespace
{

constexpr qint64 longestCheck = 60 * 1000; // milliseconds

// The folders with the dates of earlier replies: all are believed, and the first is written.
// That is the data folder for its owner; nobody else leaves a file there, not even root.
QStringList DateFolders()
{
    const QString data = QDir::cleanPath(SystemPath(GetRootPath()));
    const QString machine = SystemPath(QStringLiteral("/var/lib/pakmart/replies"));
    const QString own = QDir::homePath() + QLatin1String("/.kde/share/apps/vantrelagent");
    if (QFileInfo(data).ownerId() == geteuid())
        return { data, machine };
    return geteuid() == 0 ? QStringList{ machine, data } : QStringList{ own, data, machine };
}

// Waits for the end of the front end. False if it was ended.
bool Await(QProcess& process, const GoOn& goOn)
{
    QElapsedTimer time;
    time.start();
    while (process.state() != QProcess::NotRunning) {
        if (!goOn() || time.hasExpired(longestCheck)) {
            process.kill();
            process.waitForFinished(-1);
            return false;
        }
        PassEvents();
    }
    return process.error() != QProcess::FailedToStart
        && process.exitStatus() == QProcess::NormalExit;
}

// The text after "F: " or "E: " in what the front end printed.
QString LineOf(const QString& sOutput, const char* begin)
{
    const QStringList lines = sOutput.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String(begin)))
            return line.mid(3);
    }
    return QString();
}

struct Asked {
    const QString& url;
    const QString& statement;
    std::time_t started;
};

// Has the front end decide.
SignatureFault Check(QProcess& process, const QStringList& words, const Asked& asked,
                     const GoOn& goOn)
{
    const QString request
        = QString::fromLatin1(QUrl(asked.url).toEncoded(QUrl::FullyEncoded | QUrl::RemoveFragment));
    process.start(
        SystemPath(QStringLiteral("/usr/bin/vos-apt-get")),
        words + QStringList{ request, asked.statement, QString::number(qint64(asked.started)) }
            + DateFolders());
    const bool ended = Await(process, goOn);
    const QString output = QString::fromUtf8(process.readAllStandardOutput());
    if (ended && process.exitCode() == 0 && output.isEmpty())
        return {};
    const QString code = LineOf(output, "F: "), sentence = LineOf(output, "E: ");
    if (ended && !code.isEmpty() && !sentence.isEmpty())
        return { code, sentence };
    return { QStringLiteral("not-checked"),
             Translated("The signature of the store's reply could not be checked. Please check "
                        "that the package vos-apt-get is installed, and try again.") };
}

} // namespace

bool RepliesMustBeSigned()
{
    return ReadStoreSettings(PrivateRoot()).requireSignedReplies;
}

QString StatementOf(KIO::Job* pJob)
{
    return HeaderOf(pJob, "pakmart-statement");
}

SignatureFault CheckSignature(const QFile& reply, const QString& sURL, const QString& sStatement,
                              std::time_t started, const GoOn& goOn)
{
    QProcess process;
    process.setStandardInputFile(reply.fileName());
    return Check(process, { QStringLiteral("--verify-reply") }, { sURL, sStatement, started },
                 goOn);
}

SignatureFault CheckUnchanged(const QString& sSha256, qint64 nSize, const QString& sURL,
                              const QString& sStatement, std::time_t started, const GoOn& goOn)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    return Check(process, { QStringLiteral("--verify-unchanged"), sSha256, QString::number(nSize) },
                 { sURL, sStatement, started }, goOn);
}

} // namespace Agent
