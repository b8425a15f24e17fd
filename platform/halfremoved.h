// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Packages whose removal has got stuck.

#pragma once

#include <string>

// Of a package whose removal stopped at a script that fails, dpkg still lists folders. It
// takes the package for replaced by whatever is installed into the same folders, runs the
// script for that, and fails the install of the other package with it.
//
// So this adds to dpkg's list of such a package a path that no package has. dpkg finds
// nothing there when it removes the package in the end. Nothing happens where more than
// folders is left of the package, or where another process has dpkg's lock.
//
// `root` is the private root, `package` a name as DpkgStatus has it.
void KeepFromVanishing(const std::string& root, const std::string& package);
