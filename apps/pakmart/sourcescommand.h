// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The lists of packages that installs are worked out from.

#pragma once

#include <QString>

class Console;

// Fetches the store's package sources, and the lists of packages from each of them.
// Returns what went wrong, as a text for the user; empty when the lists are those of
// now. Says on the console, if there is one, whom it waits for.
QString RefreshSources(Console* console);
