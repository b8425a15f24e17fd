// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/capigetapilist.h"

#include "support/ctracer.h"

#include <QDomElement>

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
