// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Refreshes the lists of packages that installs use to resolve dependencies.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"

#include <QCoreApplication>
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

// If there is a console, prints what the refresh waits for.
template <typename Sender> void FollowWait(const Sender* sender, Console* console)
{
    if (console)
        QObject::connect(sender, &Sender::signalWaitingFor, qApp,
                         [console](const std::string& text) {
                             console->activity(QString::fromStdString(text));
                         });
}

// Why the lists of packages are not current; empty if they are.
QString RefreshLists(Console* console)
{
    CRunAptGet runner;
    FollowWait(&runner, console);
    const Interrupt::Handler handler([&runner] { runner.Cancel(); });
    if (Interrupt::received())
        return AgentError::Sentence(AgentError::Cancelled);
    if (runner.RefreshLists(true))
        return QString();
    if (runner.Failure() != AgentError::RefreshFailed)
        return runner.FailureSentence();
    QString text = QStringLiteral("the lists of packages could not be refreshed");
    for (const std::string& error : runner.Errors())
        text += QLatin1Char('\n') + QString::fromStdString(error.substr(2)).trimmed();
    return text;
}

} // namespace

QString RefreshSources(Console* console)
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
    FollowWait(request, console);
    request->Execute();
    if (!answered || !failure.isEmpty())
        return failure.isEmpty() ? QStringLiteral("the package sources could not be fetched")
                                 : failure;
    return HasSources() ? RefreshLists(console)
                        : QStringLiteral("the store names no package sources");
}

int UpdateSourcesCommand(Console& console, const BoxWatcher& boxes)
{
    console.activity(QStringLiteral("Asking for the package sources"));
    const QString failure = RefreshSources(&console);
    if (Interrupt::received())
        return ExitInterrupted;
    if (!failure.isEmpty() || boxes.errors() > 0) {
        // Usually a box has already shown why.
        if (boxes.errors() == 0)
            console.complain(failure);
        return ExitFailed;
    }
    console.sayText(QStringLiteral("The package sources are up to date."));
    return ExitDone;
}
