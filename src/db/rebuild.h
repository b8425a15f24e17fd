// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Replaces the catalog database by a new one, which is filled in a folder of its own and
// published when it is complete.

#pragma once

#include <functional>

class CCatalogFile;

namespace Agent
{

struct DbOptions;

// Makes a new, empty database, lets `fill` record the products, and closes it. The new
// one replaces the old one in one step when it is complete and on the disk (see
// generations.h). False when it cannot be created (`fill` is not called then) or
// something could not be written: the old one stays, and the reason is logged.
//
// One update at a time: it waits for another process's update as long as `wait`, which
// is called repeatedly, returns true. An update inside another one of this process is
// refused.
bool RebuildCatalogDatabase(const DbOptions& options,
                            const std::function<void(CCatalogFile& file)>& fill,
                            const std::function<bool()>& wait);

} // namespace Agent
