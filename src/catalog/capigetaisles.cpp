// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capigetaisles.h"

#include "catalog/savedtree.h"

CAPIGetAisles::CAPIGetAisles(bool bSilent) : CAPI(bSilent, false, false) { }

void CAPIGetAisles::onSuccessfulTransfer(QDomElement* pElement)
{
    SaveFirstElement(*pElement, ".aisles");
}
