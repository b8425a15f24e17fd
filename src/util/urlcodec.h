// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The escaping of text in query strings and in the local XML files. Text in bytes
/// is UTF-8.

#pragma once

#include <QString>
#include <string>
#include <vantrelagent/export.h>

/// Every '+' becomes "%2b", and the result is percent-encoded as encode_string
/// does, so a '+' is sent as "%252b": the other side expects this double step. The
/// std form takes the text up to its first zero byte.
/// @{
VANTRELAGENT_EXPORT QString url_encode(const QString& text);
VANTRELAGENT_EXPORT std::string url_encode(const std::string& text);
/// @}

/// A backslash keeps the next character as it is (one at the end is dropped),
/// any other '+' is a blank, and percent escapes are decoded last. The std form
/// takes the text up to its first zero byte.
/// @{
VANTRELAGENT_EXPORT QString url_decode(const QString& text);
VANTRELAGENT_EXPORT std::string url_decode(const std::string& text);
/// @}
