// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/catalogowner.h"

#include "base/descriptor.h"
#include "base/privateroot.h"
#include "util/paths.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Pakmart
{

namespace
{

constexpr qint64 longestAnswer = 1024 * 1024; // bytes: three lists of a thousand products

// The text of a file; empty if it was written before `begin`. It belongs to another user, who
// could have put something there that blocks its reader.
QByteArray TextSince(const QString& path, const QDateTime& begin)
{
    const Agent::Descriptor file(
        open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat info = {};
    if (!file || fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode)
        || info.st_mtime < begin.toSecsSinceEpoch())
        return QByteArray();
    QFile reader;
    return reader.open(file.Get(), QIODevice::ReadOnly) ? reader.read(longestAnswer) : QByteArray();
}

QJsonObject Changes(const QJsonObject& answer, const char* list, const char* count)
{
    const QJsonArray products = answer[QLatin1String(list)].toArray();
    const int all = answer[QLatin1String(count)].toInt(int(products.size()));
    return { { QStringLiteral("count"), all }, { QStringLiteral("products"), products } };
}

// The code with a name; Other for an unknown one.
Error::Code CodeOf(const QString& name)
{
    for (int code = Error::Cancelled; code <= Error::Last; ++code)
        if (Error::fromNumber(code) == code && Error::name(Error::Code(code)) == name)
            return Error::Code(code);
    return Error::Other;
}

} // namespace

std::optional<OwnerCommand> CommandOfCatalogOwner()
{
    const QByteArray folder = QFile::encodeName(GetRootPath());
    struct stat info = {};
    const uid_t self = geteuid();
    if (!Agent::PrivateRoot().empty() || stat(folder.constData(), &info) != 0 || info.st_uid == 0
        || info.st_uid == self || (self != 0 && access(folder.constData(), W_OK) == 0))
        return std::nullopt;
    // Any user may start the service. Without systemd, root runs what the service runs.
    if (self != 0 || QFileInfo::exists(QStringLiteral("/run/systemd/system")))
        return OwnerCommand{ QStringLiteral("systemctl"),
                             { QStringLiteral("start"), QStringLiteral("pakmart-refresh.service") },
                             QStringLiteral("/run/pakmart-refresh/result") };
    return OwnerCommand{ QStringLiteral("/usr/bin/setpriv"),
                         { QStringLiteral("--reuid=%1").arg(info.st_uid),
                           QStringLiteral("--regid=%1").arg(info.st_gid),
                           QStringLiteral("--clear-groups"), QStringLiteral("--no-new-privs"),
                           QStringLiteral("/usr/libexec/pakmart-refresh") },
                         QString() };
}

OwnerRun::~OwnerRun()
{
    detach();
}

void OwnerRun::letGo(std::unique_ptr<OwnerRun> run)
{
    if (!run)
        return;
    run->disconnect();
    run->detach();
    run.release()->deleteLater();
}

// Nobody waits for a process that is let go: it ends by itself.
void OwnerRun::detach()
{
    if (!m_process)
        return;
    QProcess* const process = m_process.release();
    process->disconnect();
    if (process->state() == QProcess::NotRunning) {
        process->deleteLater();
        return;
    }
    process->setParent(QCoreApplication::instance());
    connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), process,
            &QObject::deleteLater);
    process->terminate();
}

void OwnerRun::start(const OwnerCommand& command)
{
    constexpr int stampMilliseconds = 2000; // of the coarsest file systems
    m_command = command;
    m_begin = QDateTime::currentDateTime().addMSecs(-stampMilliseconds);
    m_process = std::make_unique<QProcess>();
    connect(m_process.get(), QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &OwnerRun::onFinished);
    connect(m_process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            onFinished();
    });
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->start(command.program, command.arguments);
}

void OwnerRun::stop()
{
    if (m_process)
        m_process->terminate();
}

QJsonObject OwnerRun::answer()
{
    const QByteArray text = m_command.resultFile.isEmpty()
        ? m_process->readAllStandardOutput().left(longestAnswer)
        : TextSince(m_command.resultFile, m_begin);
    return QJsonDocument::fromJson(text).object();
}

void OwnerRun::onFinished()
{
    const QJsonObject answer = this->answer();
    const bool isDone = m_process->error() == QProcess::UnknownError
        && m_process->exitStatus() == QProcess::NormalExit && m_process->exitCode() == 0;
    if (isDone && answer.contains(QStringLiteral("products"))) {
        m_result = answer;
        m_result.insert(QStringLiteral("added"), Changes(answer, "new", "newCount"));
        m_result.insert(QStringLiteral("changed"), Changes(answer, "changed", "changedCount"));
        m_result.insert(QStringLiteral("gone"), Changes(answer, "gone", "goneCount"));
    } else {
        takeFailure(answer);
    }
    emit ended();
}

// An owner whose update has failed says why.
void OwnerRun::takeFailure(const QJsonObject& answer)
{
    const QString sentence = answer[QStringLiteral("sentence")].toString();
    if (!sentence.isEmpty()) {
        m_failure = { CodeOf(answer[QStringLiteral("code")].toString()), sentence };
        m_details = answer[QStringLiteral("details")].toString();
        return;
    }
    m_failure = { Error::ToolsMissing,
                  QCoreApplication::translate("Pakmart",
                                              "The service that updates the catalog, "
                                              "pakmart-refresh.service, could not be run.") };
    m_details = QString::fromLocal8Bit(m_process->readAllStandardError()).trimmed();
    if (m_details.isEmpty() && m_process->error() != QProcess::UnknownError)
        m_details = m_process->errorString();
}

} // namespace Pakmart
