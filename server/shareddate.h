// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The date with which several servers of one store sign the same state of it.
//
// A machine refuses a reply that is older than one it has seen, from whichever server it came. So
// servers of one store have to agree on the date without asking each other: it is the time of the
// store's newest file, or the beginning of this day (UTC) if that is later. Files with a time in
// the future count from then on.

#pragma once

#include <ctime>
#include <string>

// Of the store in `folder`.
std::time_t SharedDate(const std::string& folder, std::time_t now);
