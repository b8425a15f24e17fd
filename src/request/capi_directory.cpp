// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where a request's URL comes from.

#include "request/capi.h"
#include "request/capigetapilist.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/diagnostics.h"
#include "util/paths.h"
#include "util/vendor.h"

CAPIList CAPI::m_URLList;

void CAPI::GetURLList()
{
    CTracer tracer("CAPI::GetURLList");
    static bool requested = false;
    if (requested)
        return;
    // First, since the request made here comes back through its constructor.
    requested = true;
    (new CAPIGetAPIList(true))->Execute();
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
