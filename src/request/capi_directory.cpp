// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The API directory: its entries, the request that fetches it, and the URL of a request.

#include "request/capi_p.h"
#include "request/capigetapilist.h"
#include "request/capilist.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "util/desktop.h"
#include "util/logrequest.h"
#include "util/paths.h"
#include "util/standardoutput.h"
#include "util/vendor.h"

#include <QDomElement>

using namespace Agent;

namespace
{

// Why there is no directory: the reason for which every later request fails.
struct {
    AgentError::Code code = AgentError::NoFailure;
    QString sentence; // where that of the code does not say enough
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
                if (nCode == AgentError::ReplyNotTrusted)
                    directoryFailure.sentence = sSentence; // it names the store
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
        SetFailure(directoryFailure.code, directoryFailure.sentence,
                   QLatin1String("The API directory could not be fetched. ")
                       + directoryFailure.details);
    else
        SetFailure(AgentError::UnknownFunction, QString(),
                   QLatin1String("The API directory does not list ") + sName);
}

CAPIListObject::~CAPIListObject() = default;

CAPIList::~CAPIList() = default;

QString CAPIList::url(const QString& sName)
{
    return m_entries[sName].url();
}

void CAPIList::AddAPI(const QString& sName, const QString& sURL)
{
    CAPIListObject entry;
    entry.name(sName);
    entry.url(sURL);
    m_entries[sName] = entry;
}

void CAPIList::dump() const
{
    CTracer tracer("CAPIList::dump");
    for (const auto& entry : m_entries)
        WriteLine(QLatin1String("Name: ") + entry.first + QLatin1String(" url: ")
                  + entry.second.url());
}

CAPIGetAPIList::CAPIGetAPIList(bool bSilent) : CAPI(bSilent, true, true)
{
    CTracer tracer("CAPIGetAPIList::CAPIGetAPIList");
}

QString CAPIGetAPIList::GetAPIName()
{
    return QStringLiteral("agentapi");
}

void CAPIGetAPIList::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetAPIList::onSuccessfulTransfer");
    const QString list = QStringLiteral("getagentapi");
    const QString api = QStringLiteral("api");
    m_URLList.Clear();
    for (QDomElement lists = pElement->firstChildElement(list); !lists.isNull();
         lists = lists.nextSiblingElement(list)) {
        for (QDomElement entry = lists.firstChildElement(api); !entry.isNull();
             entry = entry.nextSiblingElement(api)) {
            const QString name = entry.lastChildElement(QStringLiteral("name")).text();
            const QString url = entry.lastChildElement(QStringLiteral("url")).text();
            if (!name.isEmpty() && !url.isEmpty())
                m_URLList.AddAPI(name, url);
        }
    }
}
