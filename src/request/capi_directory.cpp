// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Looks up the URL of a request.

#include "request/capi.h"
#include "request/capigetapilist.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/diagnostics.h"
#include "util/paths.h"
#include "util/vendor.h"

using namespace Agent;

namespace
{

// Why there is no directory: the reason for which every later request fails.
struct {
    AgentError::Code code = AgentError::NoFailure;
    QString details;
} directoryFailure;

} // namespace

CAPIList CAPI::m_URLList;

void CAPI::GetURLList()
{
    CTracer tracer("CAPI::GetURLList");
    static bool requested = false;
    if (requested)
        return;
    // Set first, since the constructor of the request made here calls this function.
    requested = true;
    auto* list = new CAPIGetAPIList(true);
    connect(list, &CAPI::signalFailure,
            [](AgentError::Code nCode, const QString& sSentence, const QString& sDetails) {
                directoryFailure.code = nCode;
                directoryFailure.details = sSentence + QLatin1Char(' ') + sDetails;
            });
    list->Execute();
    while (m_bExecutionLocked)
        ProcessMessages();
    if (m_URLList.Empty())
        qCInfo(logRequest, "there is no API directory, so that every request will fail");
}

QString CAPI::GetURL(const QString& sAPIName)
{
    CTracer tracer("CAPI::GetURL");
    if (sAPIName == QLatin1String("agentapi"))
        return GetAgentAPIURL();
    GetURLList();
    return m_URLList.url(sAPIName);
}

QString CAPI::GetAgentAPIURL()
{
    CTracer tracer("CAPI::GetAgentAPIURL");
    const std::string bootstrap = std::string("http://") + VendorStoreHost + "/getagentapi.php";
    const CConfigFile settings(SettingsFile(), false);
    return QString::fromStdString(settings.GetStringValue("agent api url", bootstrap));
}

// Sets the reason for a missing address: there is no directory, or no entry in it.
void CAPI::NoteMissingURL()
{
    const QString sName = GetAPIName();
    if (sName == QLatin1String("agentapi"))
        SetFailure(AgentError::BadAddress);
    else if (directoryFailure.code != AgentError::NoFailure)
        SetFailure(directoryFailure.code, QString(),
                   QLatin1String("The API directory could not be fetched. ")
                       + directoryFailure.details);
    else
        SetFailure(AgentError::UnknownFunction, QString(),
                   QLatin1String("The API directory does not list ") + sName);
}
