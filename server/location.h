// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `Location` of a repository whose archives are kept by somebody else:
//
//     Archives: http://deb.debian.org/debian

#pragma once

#include <string>

// The address that each Filename of the index is taken from; it ends without a
// slash.
std::string ParseLocation(const std::string& text, const std::string& path);
