// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The one place where the catalog goes into the catalog database.
//
// There is no such database yet: it cannot be created, and nothing is recorded.

#pragma once

#include <functional>

class CCatalogFile;
struct CatalogProduct;

// Makes the database afresh, with no product, lets `fill` record them, and closes
// it. False, without calling `fill`, when it cannot be created: always, for now.
bool RebuildCatalogDatabase(const std::function<void(CCatalogFile& file)>& fill);

// Adds a product as one new record, not installed.
void RecordProduct(const CatalogProduct& product, CCatalogFile& file);
