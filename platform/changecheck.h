// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The last look before dpkg begins: apt-get, which has its locks, prints what it is about to
// do, and what is not part of the plan ends the run. Nothing is unpacked by then. Whether dpkg's
// status is as planned afterwards is judged by who has shown the plan: src/host/outcome.h.

#pragma once

#include "base/descriptor.h"
#include "platform/plandigest.h"

#include <istream>
#include <set>
#include <string>
#include <vector>

// The changes of a plan, in a file without a name, and apt-get's words to have them checked.
class ChangeCheck
{
public:
    explicit ChangeCheck(const PrintedPlan& plan);

    // What a run may do: a part of the plan, which is crossed off then, or all that is left.
    enum class Scope { Part, Rest };

    // Empty if the check cannot be made.
    std::vector<std::string> Words(Scope scope = Scope::Rest) const;

private:
    Agent::Descriptor m_file;
};

// Whether apt-get's list, in version 3 of the format of its hooks, and the lines of a
// ChangeCheck's file are the same changes.
bool AreTheSame(std::istream& hookInput, std::istream& expected);

// Crosses apt-get's list off the lines. False, and nothing is crossed off, if there is something
// else in it, or if it cannot be read.
bool CrossOff(std::istream& hookInput, std::set<std::string>& expected);

// The hook: `words` after the program's name. -1 if they are not those of a hook, otherwise
// the exit status.
int RunChangeCheck(const std::vector<std::string>& words);
