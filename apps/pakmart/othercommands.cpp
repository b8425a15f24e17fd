// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Removing packages, refreshing the sources.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "interrupt.h"

#include <fstream>
#include <vantrelagent/install/crunaptget.h>
#include <vantrelagent/util/paths.h>

namespace
{

// Whether the package manager's status file says that a package is installed.
bool IsInstalled(const std::string& name)
{
    std::ifstream status(SystemPath("/var/lib/dpkg/status"));
    std::string line;
    bool here = false;
    while (std::getline(status, line)) {
        if (line.compare(0, 9, "Package: ") == 0)
            here = line.substr(9) == name;
        else if (here && line.compare(0, 8, "Status: ") == 0)
            return line.size() > 10 && line.compare(line.size() - 10, 10, " installed") == 0;
    }
    return false;
}

// The name that the status file has for an argument: without an architecture.
std::string PlainName(const QString& argument)
{
    return argument.section(QLatin1Char(':'), 0, 0).toStdString();
}

} // namespace

int RemoveCommand(Console& display, const QStringList& names, bool yes)
{
    for (const QString& name : names) {
        if (!IsInstalled(PlainName(name))) {
            display.complain(QStringLiteral("%1 is not installed").arg(name));
            return ExitFailed;
        }
    }
    if (!yes && !display.ask(QStringLiteral("Remove %1?").arg(names.join(QLatin1Char(' ')))))
        return Interrupt::received() ? ExitInterrupted : ExitDeclined;
    CRunAptGet runner;
    const std::string list = names.join(QLatin1Char(' ')).toStdString();
    const int status = runner.Run('R', list, false, false);
    for (const std::string& error : runner.Errors())
        display.complain(QString::fromStdString(error));
    if (Interrupt::received())
        return ExitInterrupted;
    // A remove does not tell how it ended, so the status file is asked.
    bool removed = status == 0;
    for (const QString& name : names) {
        if (IsInstalled(PlainName(name))) {
            display.complain(QStringLiteral("%1 could not be removed").arg(name));
            removed = false;
        } else if (removed) {
            display.sayText(QStringLiteral("%1 is removed.").arg(name));
        }
    }
    return removed ? ExitDone : ExitFailed;
}

int UpdateSourcesCommand(Console& display, const BoxWatcher& boxes)
{
    display.activity(QStringLiteral("Asking for the package sources"));
    CRunAptGet().update(true);
    if (Interrupt::received())
        return ExitInterrupted;
    if (boxes.errors() > 0)
        return ExitFailed;
    display.sayText(QStringLiteral("The package sources are up to date."));
    return ExitDone;
}
