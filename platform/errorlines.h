// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// apt-get's error lines: one that should name packages, and one whose weight is known
// at the end only.

#pragma once

#include <optional>
#include <string>
#include <vector>

class ErrorLines
{
public:
    // With `holdsBack` the line that says that dpkg failed is kept until the end: dpkg
    // may have failed for packages that nobody asked for.
    explicit ErrorLines(bool holdsBack) : m_holdsBack(holdsBack) { }

    // The line as it is to be printed; nothing when it is kept. An install that is
    // refused for what it would remove gets the names:
    //   "E: Packages need to be removed but remove is disabled: libold, oldapp"
    std::optional<std::string> Take(const std::string& line);

    // Whether dpkg failed, and nothing else did.
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
