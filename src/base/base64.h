// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Bytes as text of letters, digits, "+/=".

#pragma once

#include <string>
#include <string_view>

namespace Agent
{

std::string ToBase64(std::string_view bytes);

// False for a text that ToBase64 does not make.
bool FromBase64(std::string_view text, std::string& bytes);

} // namespace Agent
