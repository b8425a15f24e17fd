// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Plain text helpers: letter case, trailing blanks, fixed-width buffers and
/// walking a path one component at a time.

#pragma once

#include <string>
#include <vantrelagent/export.h>

/// The text with every byte passed through toupper/tolower of the C locale:
/// only ASCII letters change.
/// @{
VANTRELAGENT_EXPORT std::string UpCase(const std::string& text);
VANTRELAGENT_EXPORT std::string LowCase(const std::string& text);
/// @}

/// The last character that is not white space, and everything after it: "abc  "
/// gives "c  ". This is not a trim in the usual sense; callers depend on this result.
/// Throws std::out_of_range for an empty or all-blank text.
VANTRELAGENT_EXPORT std::string TrimRight(const std::string& text);

/// Copies `len` bytes from `src + start` to `dst` and ends them with a zero; the
/// caller gives `dst` room for len + 1 bytes. Returns `dst`.
VANTRELAGENT_EXPORT char* CopyStr(char* src, int start, int len, char* dst);

/// Copies `src` to `dst`, padded on the right with `pad` to `width` characters; a
/// longer text is copied whole. `dst` has room for the longer of the two and a
/// zero, and may be `src` itself. Returns `dst`.
VANTRELAGENT_EXPORT char* PadStr(char* src, int width, char pad, char* dst);

/// Cuts the first component off a slash-separated path: returns a copy of it,
/// which the caller frees with free(), and moves `*ppPath` past it and the slash
/// that follows. At the end of the path the copy is empty and the pointer stays.
VANTRELAGENT_EXPORT char* getGroup(char** ppPath);
