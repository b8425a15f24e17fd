// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/catalogrecord.h"

bool RebuildCatalogDatabase(const std::function<void(CCatalogFile&)>&)
{
    // No database that could be created.
    return false;
}

void RecordProduct(const CatalogProduct&, CCatalogFile&) { }
