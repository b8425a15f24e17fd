// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The key length of an index is not in its file, but the length of its pages
// follows from it.

#pragma once

#include <string>

namespace DbTool
{

// The only key length that an index file can have. Throws Trouble, with those
// that are possible, if that is not sure.
int KeyLengthOf(const std::string& path);

} // namespace DbTool
