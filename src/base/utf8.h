// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Standard UTF-8: the shortest form of each character up to U+10FFFF, no surrogates.

#pragma once

#include <cstddef>
#include <string_view>

namespace Agent
{

// The bytes of the character that begins at `at`, which is inside the text: 1 to 4, or 0
// when there is no valid one.
std::size_t Utf8Length(std::string_view text, std::size_t at);

} // namespace Agent
