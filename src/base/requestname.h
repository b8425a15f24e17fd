// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A request to the store server as both sides name it.

#pragma once

#include <string>
#include <string_view>

namespace Agent
{

// The address with its query in one form, however its bytes are escaped on the way: the host
// in small letters, without the scheme's usual port; a byte is escaped unless it is a letter,
// a digit, "-._~", or separates something.
std::string RequestName(std::string_view url);

} // namespace Agent
