// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What packages may be called. These texts reach the command lines and files of package
// tools, so nothing else passes.

#pragma once

#include <string_view>

namespace Agent
{

// What a Debian package is called: small letters, digits and "+-.", 2 to 128 of them, the
// first one a letter or a digit.
bool IsPackageName(std::string_view name);

// Letters, digits and "+-.:~", at most 128, the first one a letter or a digit.
bool IsPackageVersion(std::string_view version);

// Whether a package tool can only read `word` as the name of one package to install or
// remove: it begins with a letter or digit and holds only letters, digits and "+-.";
// ":ARCHITECTURE" or "=VERSION" may follow. A '-' at the end is refused, since the tools
// take it for an order to remove; a '+' is not, since it is part of real names (g++).
bool IsPackageWord(std::string_view word);

} // namespace Agent
