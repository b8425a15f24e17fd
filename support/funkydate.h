// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The date format that the agent and the package daemon share.

#pragma once

#include <string>

/// The current local date and time as "YYYY-MM-DD HH:MM:SS" (19 characters), the
/// format of "DateOfLastUpdate". Empty when the clock cannot be read.
std::string funky_date_str();
