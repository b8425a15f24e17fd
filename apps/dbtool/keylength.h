// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Finds the key length of an index. It is not stored in the file, but it determines the
// length of the pages.

#pragma once

#include <string>

namespace DbTool
{

// The only key length that fits an index file. If there is not exactly one, throws Trouble,
// which lists the candidates.
int KeyLengthOf(const std::string& path);

} // namespace DbTool
