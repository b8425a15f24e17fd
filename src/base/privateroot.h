// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The private root: a directory that takes the place of "/".

#pragma once

#include <string>

namespace Agent
{

// The directory that PAKMART_SYSROOT names, as an absolute path without a slash at its
// end; empty if it is not set, which means the machine itself. A relative name is resolved
// in the working directory of the first call. The variable is read once, and not at all in
// a set-user-id program.
const std::string& PrivateRoot();

// Whether this process may change packages itself: as root, or in a private root. Otherwise only
// the package front end can, with an administrator's permission.
bool MayChangePackages();

} // namespace Agent
