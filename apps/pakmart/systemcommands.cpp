// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The state of this machine's connection to the store, and its registration.

#include "commands.h"
#include "console.h"

#include <QDomElement>
#include <QEventLoop>
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

QString Builder()
{
    return QString::fromStdString(CGetOEMInfo().getID());
}

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
    const auto line = [&display](const char* what, const QString& text, const char* otherwise) {
        display.sayText(QLatin1String(what) + (text.isEmpty() ? QLatin1String(otherwise) : text));
    };
    display.sayText(QStringLiteral("The store server can be reached: %1").arg(url));
    line("System: ", GetVantrelOSVersionInfo().trimmed(), "unknown");
    line("Last update of the system: ", LastUpdate(), "never");
    line("System builder: ", Builder(), "none");
}

} // namespace

int StatusCommand(Console& display, bool json)
{
    const QString url = CAPI::GetAgentAPIURL();
    const bool asked = CouldBeAsked(QUrl(url));
    const bool reached = asked && (new CAPIStatus)->Execute();
    if (Interrupt::received())
        return ExitInterrupted;
    if (json)
        display.sayJson(QJsonObject{
            { QStringLiteral("reached"), reached },
            { QStringLiteral("server"), url },
            { QStringLiteral("system"), TextOrNull(GetVantrelOSVersionInfo().trimmed()) },
            { QStringLiteral("lastUpdate"), TextOrNull(LastUpdate()) },
            { QStringLiteral("builder"), Builder() } });
    else if (reached)
        TellStatus(display, url);
    if (!asked)
        display.complain(
            QStringLiteral("the settings name no address of a store server: '%1'").arg(url));
    else if (!reached)
        display.complain(QStringLiteral("the store server cannot be reached: %1").arg(url));
    return reached ? ExitDone : ExitFailed;
}

int RegisterCommand(Console& display, bool json)
{
    QString error;
    bool succeeded = false, ended = false;
    QEventLoop loop;
    auto* request = new CAPISetOEMInfo;
    QObject::connect(request, &CAPI::ErroneousTransfer, &loop,
                     [&error](const QString& text) { error = text; });
    QObject::connect(request, &CAPI::FailedTransfer, &loop, [&error](QDomElement* reply) {
        error = reply->attribute(QStringLiteral("msg"), QStringLiteral("Unspecified API error"));
    });
    QObject::connect(request, &CAPI::APIComplete, &loop, [&](bool ok) {
        succeeded = ok;
        ended = true;
        loop.quit();
    });
    if (request->Execute() && !ended)
        loop.exec();
    if (Interrupt::received())
        return ExitInterrupted;
    succeeded = succeeded && error.isEmpty();
    if (json)
        display.sayJson(QJsonObject{ { QStringLiteral("registered"), succeeded },
                                     { QStringLiteral("builder"), Builder() },
                                     { QStringLiteral("error"), TextOrNull(error) } });
    else if (succeeded)
        display.sayText(
            QStringLiteral("The store knows that this machine comes from the system builder "
                           "%1.")
                .arg(Builder()));
    if (!succeeded)
        display.complain(error);
    return succeeded ? ExitDone : ExitFailed;
}
