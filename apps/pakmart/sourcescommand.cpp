// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sourcescommand.h"

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "frontendrun.h"
#include "interrupt.h"

#include <fstream>
#include <vantrelagent/install/capigetsourceslist.h>
#include <vantrelagent/install/crunaptget.h>

namespace
{

bool HasSources()
{
    std::ifstream sources(CRunAptGet::SourcesFile(true));
    for (std::string line; std::getline(sources, line);) {
        if (line.compare(0, 4, "deb ") == 0)
            return true;
    }
    return false;
}

} // namespace

// The library's own refresh does not say how it went. The front end does.
QString RefreshSources()
{
    QString failure;
    bool answered = false;
    QObject context;
    auto* request = new CAPIGetSourcesList(false, true);
    QObject::connect(request, &CAPI::signalFailure, &context,
                     [&failure](AgentError::Code, const QString& sentence, const QString&) {
                         failure = sentence;
                     });
    QObject::connect(request, &CAPI::APIComplete, &context,
                     [&answered](bool succeeded) { answered = succeeded; });
    request->Execute();
    if (!answered || !failure.isEmpty())
        return failure.isEmpty() ? QStringLiteral("the package sources could not be fetched")
                                 : failure;
    if (!HasSources())
        return QStringLiteral("the store names no package sources");
    const FrontEndResult update = RunFrontEnd({ QStringLiteral("update") });
    if (update.status == 0)
        return QString();
    return QStringLiteral("the lists of packages could not be refreshed") + QLatin1Char('\n')
        + update.errors().join(QLatin1Char('\n'));
}

int UpdateSourcesCommand(Console& console, const BoxWatcher& boxes)
{
    console.activity(QStringLiteral("Asking for the package sources"));
    const QString failure = RefreshSources();
    if (Interrupt::received())
        return ExitInterrupted;
    if (!failure.isEmpty() || boxes.errors() > 0) {
        // A box has told why, as a rule.
        if (boxes.errors() == 0)
            console.complain(failure);
        return ExitFailed;
    }
    console.sayText(QStringLiteral("The package sources are up to date."));
    return ExitDone;
}
