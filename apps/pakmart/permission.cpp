// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "permission.h"

#include "base/privateroot.h"
#include "commands.h"
#include "console.h"

#include <KLocalizedString>
#include <Pakmart/Error>
#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <algorithm>
#include <unistd.h>
#include <vantrelagent/util/paths.h>

using namespace Pakmart;

namespace
{

// Refuses what the helper for users who are not root does not do; empty if it can make the
// change.
QString LeftToRoot(const Change& change, const Plan& plan, const QString& command)
{
    const bool isDowngrade
        = std::any_of(plan.rows.begin(), plan.rows.end(),
                      [](const PlanRow& row) { return row.action == PlanRow::Downgraded; });
    if (isDowngrade)
        return i18n("nothing was changed: only root may put an older version in place of a newer "
                    "one: %1",
                    command);
    const Request& request = change.request;
    const bool isOfNames = request.kind != Request::Reinstall
        && (request.kind != Request::Upgrade || !request.packages.isEmpty());
    return change.consent.downloadOnly && !isOfNames
        ? i18n("nothing was changed: only root may download this without installing it: %1",
               command)
        : QString();
}

// A command with these words, for a shell.
QString SudoCommand(const QStringList& words)
{
    static const QRegularExpression special(QStringLiteral("[^A-Za-z0-9_.:=+/-]"));
    QString command = QStringLiteral("sudo pakmart");
    for (QString word : words) {
        if (word.isEmpty() || word.contains(special))
            word = QLatin1Char('\'') + word.replace(QLatin1Char('\''), QLatin1String("'\\''"))
                + QLatin1Char('\'');
        command += QLatin1Char(' ') + word;
    }
    return command;
}

} // namespace

int SayWhatPackagesNeed(Console& console)
{
    const QByteArray folder = QFile::encodeName(Agent::SystemPath(QStringLiteral("/var/lib/dpkg")));
    if (access(folder.constData(), W_OK) == 0)
        return ExitDone;
    if (Agent::PrivateRoot().empty()) {
        console.SayText(i18n("This needs the permission of an administrator, for which "
                             "you will be asked."));
        return ExitDone;
    }
    console.Fail(Error::name(Error::NotPermitted),
                 i18n("nothing was changed: you may not write to %1. Run pakmart as root, "
                      "or as the owner of that folder",
                      QFile::decodeName(folder)));
    return ExitFailed;
}

QString RefusalWithoutRoot(const Change& change, const Plan& plan, const QStringList& words)
{
    return LeftToRoot(change, plan, SudoCommand(words));
}

int SayWhatIsNeeded(Console& console, const Change& change, const Plan& plan)
{
    if (plan.isEmpty())
        return ExitDone;
    const QString refusal = RefusalWithoutRoot(change, plan, QCoreApplication::arguments().mid(1));
    if (refusal.isEmpty() || Agent::MayChangePackages())
        return SayWhatPackagesNeed(console);
    console.Fail(Error::name(Error::NotPermitted), refusal);
    return ExitFailed;
}
