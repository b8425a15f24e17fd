// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/archivecheck.h"

#include "host/beside.h"
#include "host/privatetreepaths.h"
#include "util/paths.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QRegularExpression>

namespace Pakmart
{

namespace
{

QString Text(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

QByteArray SumOf(QFile& file)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return hash.addData(&file) ? hash.result().toHex() : QByteArray();
}

// What is wrong with the file of an archive in the folder.
Failure FaultOf(const QString& folder, const ListedArchive& archive)
{
    QFile file(folder + archive.name);
    if (!file.open(QIODevice::ReadOnly))
        return {
            Error::DownloadFailed,
            Text(QT_TRANSLATE_NOOP("Pakmart", "%1 has not been downloaded.")).arg(archive.name)
        };
    if (file.size() != archive.size || SumOf(file) != archive.sum)
        return { Error::ChecksumMismatch,
                 Error::sentence(Error::ChecksumMismatch) + QLatin1Char(' ') + file.fileName() };
    return Failure();
}

Failure FaultOf(const QString& folder, const QList<ListedArchive>& listed)
{
    for (const ListedArchive& archive : listed) {
        const Failure fault = FaultOf(folder, archive);
        if (fault.code != Error::NoError)
            return fault;
    }
    return Failure();
}

} // namespace

ListedArchive ListedArchive::of(const QString& line)
{
    static const QRegularExpression form(QStringLiteral(
        "^'[^']*' ([A-Za-z0-9][A-Za-z0-9+.~%_-]*) ([0-9]{1,13}) SHA256:([0-9a-f]{64})$"));
    const QRegularExpressionMatch match = form.match(line);
    ListedArchive archive;
    if (!match.hasMatch())
        return archive;
    archive.name = match.captured(1);
    archive.size = match.captured(2).toLongLong();
    archive.sum = match.captured(3).toLatin1();
    return archive;
}

ArchiveCheck::~ArchiveCheck()
{
    ToolRun::letGo(std::move(m_run), nullptr, nullptr, true);
}

void ArchiveCheck::start(const QStringList& words)
{
    m_run = std::make_unique<ToolRun>();
    connect(m_run.get(), &ToolRun::lineRead, this, [this](const QString& line) {
        // What a source has on this machine's disk is not downloaded.
        if (!line.startsWith(QLatin1Char('\'')) || line.startsWith(QLatin1String("'file:")))
            return;
        m_listed << ListedArchive::of(line);
        if (m_listed.last().name.isEmpty())
            m_failure = { Error::PlanNotUnderstood, Error::sentence(Error::PlanNotUnderstood) };
    });
    connect(m_run.get(), &ToolRun::ended, this, &ArchiveCheck::onListed);
    m_run->start(FrontEndProgram(),
                 QStringList{ QStringLiteral("--print-uris"), QStringLiteral("-o"),
                              QStringLiteral("Acquire::ForceHash=SHA256") }
                     + words);
}

void ArchiveCheck::onListed(int status)
{
    if (status != 0 && m_failure.code == Error::NoError)
        m_failure = FailureOf(m_run->lines());
    if (m_failure.code != Error::NoError) {
        emit ended();
        return;
    }
    const QString folder = Agent::SystemPath(QStringLiteral("/var/cache/apt/archives/"));
    const auto fault = std::make_shared<Failure>();
    RunBeside(
        this, [fault, folder, listed = m_listed] { *fault = FaultOf(folder, listed); },
        [this, fault] {
            m_failure = *fault;
            emit ended();
        });
}

} // namespace Pakmart
