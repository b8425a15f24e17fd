// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How the products of a catalog become the catalog database.

#pragma once

#include <functional>

class CCatalogFile;

namespace Agent
{

struct CatalogProduct;

// Makes the database afresh, with no product, lets `fill` record them, and closes
// it. The new one takes the place of the old one in one step when it is whole and
// on the disk (see generations.h). False when it cannot be created, without calling
// `fill`, or when something could not be written: the old one stays then, and the
// reason is logged.
//
// One update at a time: another process's is waited for as long as `wait`, which is
// called again and again meanwhile, returns true. One within another one of this
// process is refused.
bool RebuildCatalogDatabase(const std::function<void(CCatalogFile& file)>& fill,
                            const std::function<bool()>& wait);

// Adds a product as one new record, not installed. Texts are cut to their fields;
// what the database refuses of it stays out.
void RecordProduct(const CatalogProduct& product, CCatalogFile& file);

} // namespace Agent
