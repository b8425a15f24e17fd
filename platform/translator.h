// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Translates apt-get's screen text to the format that readers of this front end know.

#pragma once

#include "platform/progress.h"

#include <optional>
#include <string>
#include <vector>

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

// apt-get's error lines: one that should name packages, and one that proves to be
// important or not only at the end.
class ErrorLines
{
public:
    // With `holdsBack` the line that reports dpkg's failure is kept until the end: dpkg
    // may have failed only for packages that were not requested.
    explicit ErrorLines(bool holdsBack) : m_holdsBack(holdsBack) { }

    // The line to print; nothing if it is kept. The error of an install that is refused
    // because it would remove packages gets their names:
    //   "E: Packages need to be removed but remove is disabled: libold, oldapp"
    std::optional<std::string> Take(const std::string& line);

    // Whether dpkg's failure was the only error.
    bool OnlyDpkgFailed() const { return !m_held.empty() && !m_others; }
    // The lines that are kept.
    const std::vector<std::string>& Held() const { return m_held; }

private:
    void NoteRemovals(const std::string& line);
    std::string Named(const std::string& line) const;

    const bool m_holdsBack;
    bool m_inRemovals = false; // the lines that are indented name what would go
    bool m_others = false;
    std::vector<std::string> m_removals;
    std::vector<std::string> m_held;
};
