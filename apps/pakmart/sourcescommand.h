// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Refreshes the lists of packages that installs use to resolve dependencies.

#pragma once

#include <QString>

class Console;

// Fetches the store's package sources, and the lists of packages from each of them.
// Returns an error message for the user, or an empty text if the lists are current. If
// there is a console, prints what it waits for.
QString RefreshSources(Console* console);
