// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The digest of a plan, by which the plan that a person has seen and the one that is carried
// out are compared.

#pragma once

#include "platform/arguments.h"
#include "platform/relay.h"

#include <string>
#include <vector>

// What a run of the front end prints with "--plan", and its status.
struct PrintedPlan {
    int status = 0;
    std::vector<std::string> messages; // errors and warnings
    std::vector<std::string> lines; // the plan; none after a failure

    bool IsEmpty() const;
    // 64 hexadecimal digits, over all packages and fields but the bytes to fetch, which become
    // fewer when an archive gets into the cache.
    std::string Digest() const;
};

PrintedPlan MakePlan(const Arguments& arguments, const std::string& root);

// Brings the lists of the packages up to date and makes the plan again. Returns 0 if it is the
// expected one, which `plan` is then, or the exit status after an error line.
int CheckPlan(const Arguments& arguments, const std::string& root, const Writer& write,
              PrintedPlan& plan);
