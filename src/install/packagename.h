// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which names may stand on the command line of a package tool.

#pragma once

#include <string>

namespace Agent
{

// Whether `name` can only be read as the name of one package to install or
// remove: it begins with a letter or digit and holds only letters, digits and
// "+-."; ":ARCHITECTURE" or "=VERSION" may follow. A '-' at the end is refused,
// since the package tools take it for an order to remove.
bool IsSafePackageName(const std::string& name);

} // namespace Agent
