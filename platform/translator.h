// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Translates apt-get's screen text to the format that readers of this front end know.

#pragma once

#include "platform/progress.h"

#include <string>

// The line to relay; sizes in it are passed to `progress`.
//   "Get:1 http://h/r ./. i386 libhp amd64 1.0-1 [716 B]"
//      becomes "Get:1 http://h/r ./. libhp 1.0-1 [716B]"
//   "The following packages have unmet dependencies:" gets an "E: " before it, so
//      that it and the indented lines below it are read as an error, and not as a
//      list of packages that swallows the error line after it.
//   "Need to get 1444 B of archives." becomes "Need to get 1444B of archives."
// Other lines stay as they are.
std::string Translate(const std::string& line, Progress& progress);

// "2,345 kB" or "2345kB" in bytes; 0 for anything that is not a size.
double SizeInBytes(const std::string& text);
