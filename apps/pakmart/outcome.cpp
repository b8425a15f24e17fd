// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "outcome.h"

#include "console.h"

#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <cstdio>
#include <sys/stat.h>
#include <vantrelagent/install/crunaptget.h>
#include <vantrelagent/request/capi.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

namespace
{

// Empty if it is not there, or only its configuration is.
std::string VersionOf(const PackageState& state)
{
    const bool isHere = state.status != "not-installed" && state.want != "deinstall";
    return isHere ? state.version : std::string();
}

} // namespace

DpkgStatus ReadDpkgStatus()
{
    return DpkgStatus(SystemPath(std::string("/var/lib/dpkg")));
}

QString Trouble(const QString& name, const PackageState& state)
{
    if (state.IsGone())
        return QStringLiteral("%1 is not installed").arg(name);
    const QString words = QString::fromStdString(state.Words());
    if (!state.IsHalfWay())
        return QStringLiteral(
                   "%1 is to be removed (its state is '%2'): 'pakmart remove %1' does so")
            .arg(name, words);
    return QStringLiteral("%1 is %2 (its state is '%3'): 'pakmart install --package %1' tries "
                          "again, 'pakmart remove %1' removes it")
        .arg(name, QString::fromStdString(state.status), words);
}

bool AreInstalled(Console& console, const QStringList& names, const DpkgStatus& now)
{
    if (!now.IsReadable()) {
        console.complain(QStringLiteral("the installed packages are unknown: "
                                        "/var/lib/dpkg/status cannot be read"));
        return false;
    }
    bool all = !names.isEmpty();
    for (const QString& name : names) {
        const PackageState state = now.Of(name.toStdString());
        if (!state.IsInstalled())
            console.complain(Trouble(name, state));
        all = all && state.IsInstalled();
    }
    return all;
}

void SayNewTrouble(Console& console, const QStringList& names, const DpkgStatus& before,
                   const DpkgStatus& now)
{
    for (const auto& [name, state] : now.All()) {
        const QString known = QString::fromStdString(name);
        if (state.IsHalfWay() && !before.Of(name).IsHalfWay() && !names.contains(known))
            console.complain(Trouble(known, state));
    }
}

QMap<QString, QString> InstalledVersions()
{
    QMap<QString, QString> versions;
    const DpkgStatus status = ReadDpkgStatus();
    for (const auto& [key, state] : status.All()) {
        const QString name = QString::fromStdString(BareName(key));
        const QString version = QString::fromStdString(VersionOf(state));
        if (!version.isEmpty() && !versions.contains(name))
            versions[name] = version;
    }
    return versions;
}

QString InstalledVersion(const DpkgStatus& status, const char* package)
{
    const std::string version = VersionOf(status.Of(package));
    return version.empty() ? QString() : QString::fromStdString(version);
}

namespace
{

QStringList TreeOptions()
{
    const auto setting = [](const char* name, const std::string& path) {
        return QLatin1String(name) + QFile::decodeName(path.c_str());
    };
    const QString option = QStringLiteral("-o");
    return { option, setting("Dir::Etc::Sourcelist=", CRunAptGet::SourcesFile(true)), option,
             setting("Dir::State::lists=", CRunAptGet::ListsDir(true)) };
}

} // namespace

QStringList FrontEndResult::errors() const
{
    QStringList found;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("E:")))
            found << line.mid(2).trimmed();
    }
    return found;
}

FrontEndResult RunFrontEnd(const QStringList& words)
{
    FrontEndResult result;
    if (Interrupt::received())
        return result;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    QEventLoop loop;
    QObject::connect(&process, &QProcess::errorOccurred, &loop, [&](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            loop.quit();
    });
    QObject::connect(&process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
                     [&loop] { loop.quit(); });
    const Interrupt::Handler handler([&process] { process.terminate(); });
    process.start(SystemPath(QStringLiteral("/usr/bin/vos-apt-get")), words + TreeOptions());
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    if (process.error() != QProcess::FailedToStart && process.exitStatus() == QProcess::NormalExit)
        result.status = process.exitCode();
    const QByteArray output = process.readAll();
    std::fwrite(output.constData(), 1, std::size_t(output.size()), stdout);
    std::fflush(stdout);
    result.lines = QString::fromUtf8(output).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return result;
}

SavedMark::SavedMark(const char* name)
    : m_path(GetRootPath() + QLatin1String(name)), m_before(Mark())
{
}

QByteArray SavedMark::Mark() const
{
    struct stat info = {};
    if (stat(QFile::encodeName(SystemPath(m_path)).constData(), &info) != 0)
        return QByteArray();
    return QByteArray::number(qulonglong(info.st_ino)) + ' '
        + QByteArray::number(qlonglong(info.st_mtim.tv_sec)) + '.'
        + QByteArray::number(qlonglong(info.st_mtim.tv_nsec));
}
