// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/capisetoeminfo.h"

#include "support/ctracer.h"

CAPISetOEMInfo::CAPISetOEMInfo() : CAPI(true, false, false)
{
    CTracer tracer("CAPISetOEMInfo::CAPISetOEMInfo");
}

QString CAPISetOEMInfo::DecorateURI()
{
    CTracer tracer("CAPISetOEMInfo::DecorateURI");
    return QLatin1String("?id=") + QString::fromStdString(m_OEMInfo.getID());
}

void CAPISetOEMInfo::onSuccessfulTransfer(QDomElement*)
{
    CTracer tracer("CAPISetOEMInfo::onSuccessfulTransfer");
}
