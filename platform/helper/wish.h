// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a caller of the privileged helper may wish for, and nothing else. There is no option,
// path, locale or variable in it.

#pragma once

#include <string>
#include <vector>

struct Wish {
    std::string verb; // one of the table in wish.cpp
    std::vector<std::string> names; // of packages; "NAME-" goes in an exchange
    std::string digest; // of the plan that the caller has seen; empty for "clean"
};

// Why the wish is refused; null if it is valid.
const char* FaultOf(const Wish& wish);

// The arguments of the package front end for a valid wish.
std::vector<std::string> WordsOf(const Wish& wish);
