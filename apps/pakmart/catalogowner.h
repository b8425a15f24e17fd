// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog of a machine belongs to a user of its own, as whom it is refreshed: without a
// password, and never by root.

#pragma once

#include <optional>

class Console;

// Has the owner of the data folder update the catalog, and prints what has changed. Returns
// nothing if this process may do that itself: it works in a private root, or is that user.
std::optional<int> UpdateAsOwner(Console& console);
