// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `updates` of a store: the packages of the operating system that
// clients are to bring up to date, one stanza for each.

#pragma once

#include <string>
#include <vector>

// The names of the packages, in the file's order.
using Updates = std::vector<std::string>;

Updates ParseUpdates(const std::string& text, const std::string& path);
