// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The signed file `InRelease` of a repository, after apt has verified its signature: what it
// says, and whether a machine should believe it. apt itself accepts more: a file without an
// end, one of another repository with the same key, and silently keeps a newer one.

#pragma once

#include <ctime>
#include <string>

struct ReleaseFile {
    std::string text; // the whole file; empty without one
    std::time_t date = 0; // 0: not there, or no date
    std::time_t validUntil = 0;
    std::string origin;
    std::string suite;

    explicit operator bool() const { return !text.empty(); }
};

// What a machine expects of a repository's file.
struct ReleaseExpectations {
    std::string origin;
    std::string suite;
    std::time_t maxAge = 0; // seconds
};

// Reads a file of apt's lists.
ReleaseFile ReadRelease(const std::string& path);

// Why the file must not be believed at the time `now`, as the rest of a sentence about its
// store; empty if it can be. `known` is the newest one so far, if there is one.
std::string FaultOf(const ReleaseFile& file, const ReleaseExpectations& expected,
                    const ReleaseFile& known, std::time_t now);

// A date in universal time, as such files write it; 0 for anything else.
std::time_t ParseDate(const std::string& text);

// "22 November 2026 12:00 UTC"
std::string DateText(std::time_t when);
