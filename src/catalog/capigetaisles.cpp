// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capigetaisles.h"

#include "catalog/savedtree.h"
#include "support/ctracer.h"

using namespace Agent;

CAPIGetAisles::CAPIGetAisles(bool bSilent) : CAPI(bSilent, false, false)
{
    CTracer tracer("CAPIGetAisles::CAPIGetAisles");
}

void CAPIGetAisles::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetAisles::onSuccessfulTransfer");
    SaveFirstElement(*pElement, ".aisles");
}
