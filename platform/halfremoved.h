// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Packages whose removal has got stuck.

#pragma once

#include <string>

// When the removal of a package stopped at a failing script, dpkg still lists folders of
// the package. It treats the package as replaced by any other that is installed into the
// same folders, runs the script for that, and so fails the install of the other package.
//
// So this adds a path that no package has to dpkg's list of the stuck package. dpkg finds
// nothing there when it finally removes the package. Does nothing if more than folders is
// left of the package, or if another process has dpkg's lock.
//
// `root` is the private root, `package` a name as in DpkgStatus.
void KeepFromVanishing(const std::string& root, const std::string& package);
