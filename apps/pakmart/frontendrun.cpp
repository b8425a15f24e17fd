// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "frontendrun.h"

#include "interrupt.h"

#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <cstdio>
#include <vantrelagent/install/crunaptget.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

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
