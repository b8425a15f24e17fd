// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `registrations` of a store: a line for each machine that told which
// system builder it comes from,
//
//     2026-01-31T12:00:00Z 0000000042
//
// A store without the file keeps none: whoever wants them makes it, empty.

#pragma once

#include <string>

// Appends a line to the file in the store's folder, where there is one. `id` is
// text without line ends. Throws StoreError when the file cannot be written or
// has reached its limit of 64 MB.
void AddRegistration(const std::string& folder, const std::string& id);
