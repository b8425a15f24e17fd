// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The state of this machine and its connection to the store.

#include "commands.h"
#include "connection.h"
#include "console.h"

#include <KLocalizedString>
#include <QJsonObject>
#include <QUrl>
#include <vantrelagent/request/capisetoeminfo.h>
#include <vantrelagent/request/capistatus.h>
#include <vantrelagent/support/cconfigfile.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

namespace
{

QJsonValue TextOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

// The time of the last system update; empty if there was none.
QString LastUpdate()
{
    const CConfigFile daemon(SystemPath(std::string("/etc/pakmartd.conf")), false);
    return QString::fromStdString(daemon.GetStringValue("DateOfLastUpdate", std::string()));
}

} // namespace

QString BuilderOfThisMachine()
{
    return QString::fromStdString(CGetOEMInfo().getID());
}

namespace
{

// Whether a request can be sent to an address. For the library an address that it cannot
// ask is not a failure.
bool CouldBeAsked(const QUrl& url)
{
    const bool web
        = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    return url.isValid() && web && !url.host().isEmpty();
}

void TellStatus(Console& display, const QString& url)
{
    const auto orElse = [](const QString& text, const QString& otherwise) {
        return text.isEmpty() ? otherwise : text;
    };
    display.SayText(i18n("The store server can be reached: %1", url));
    display.SayText(i18n("System: %1",
                         orElse(GetVantrelOSVersionInfo().trimmed(), i18nc("system", "unknown"))));
    display.SayText(
        i18n("Last update of the system: %1", orElse(LastUpdate(), i18nc("updated", "never"))));
    display.SayText(i18n("System builder: %1",
                         orElse(BuilderOfThisMachine(), i18nc("system builder", "none"))));
}

} // namespace

int StatusCommand(Console& display)
{
    const QString url = CAPI::GetAgentAPIURL();
    const bool asked = CouldBeAsked(QUrl(url));
    const bool reached = asked && (new CAPIStatus)->Execute();
    if (Interrupt::Received())
        return ExitInterrupted;
    const QString sentence = reached ? QString()
        : asked                      ? i18n("the store server cannot be reached: %1", url)
                : i18n("the settings name no address of a store server: '%1'", url);
    const QString obstacle = asked && !reached ? ObstacleTo(QUrl(url)) : QString();
    display.SayJson(QJsonObject{
        { QStringLiteral("reached"), reached },
        { QStringLiteral("server"), url },
        { QStringLiteral("system"), TextOrNull(GetVantrelOSVersionInfo().trimmed()) },
        { QStringLiteral("lastUpdate"), TextOrNull(LastUpdate()) },
        { QStringLiteral("builder"), BuilderOfThisMachine() },
        { QStringLiteral("code"), QLatin1String(reached ? "none" : "server-unreachable") },
        { QStringLiteral("sentence"), sentence },
        { QStringLiteral("details"), obstacle } });
    if (reached)
        TellStatus(display, url);
    else
        display.Fail(QStringLiteral("server-unreachable"), sentence, obstacle);
    return reached ? ExitDone : ExitFailed;
}
