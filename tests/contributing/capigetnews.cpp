// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "capigetnews.h"

#include "support/ctracer.h"
#include "util/urlcodec.h"

#include <QDomElement>

CAPIGetNews::CAPIGetNews(int count, bool bSilent) : CAPI(bSilent, false, false), m_nCount(count) { }

QString CAPIGetNews::DecorateURI()
{
    return QStringLiteral("?count=%1").arg(m_nCount);
}

void CAPIGetNews::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetNews::onSuccessfulTransfer");
    const QString tag = QStringLiteral("headline");
    QStringList headlines;
    for (QDomElement line = pElement->firstChildElement(tag);
         !line.isNull() && headlines.size() < m_nCount; line = line.nextSiblingElement(tag))
        headlines << url_decode(line.text());
    if (headlines.isEmpty())
        onErroneousTransfer(QStringLiteral("The store has no news."));
    else
        emit signalNews(headlines);
}
