// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The valid names of packages. These texts reach the command lines and files of package
// tools, so anything else is refused, by whoever writes one: platform/arguments.h,
// platform/helper/wish.h, src/install/crunaptget.h, src/host/planrun.h.

#pragma once

#include <string_view>

namespace Agent
{

// The name of a Debian package: 2 to 128 lower-case letters, digits and "+-.", the first
// one a letter or a digit.
bool IsPackageName(std::string_view name);

// Letters, digits and "+-.:~", at most 128, the first one a letter or a digit.
bool IsPackageVersion(std::string_view version);

// Whether a package tool can only read `word` as the name of one package to install or
// remove: it begins with a letter or digit and holds only letters, digits and "+-.";
// ":ARCHITECTURE" or "=VERSION" may follow. A '-' at the end is refused, since the tools
// take it for a request to remove; a '+' is not, since it is part of real names (g++).
bool IsPackageWord(std::string_view word);

} // namespace Agent
