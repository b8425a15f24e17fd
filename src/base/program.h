// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Running another program to its end.

#pragma once

#include <string>
#include <vector>

namespace Agent
{

struct ProgramResult {
    int status = -1; // its exit status; -1 if it could not be started or was killed
    std::string output;
    std::string errors;
};

struct ProgramLimits {
    int seconds = 0; // after which it is killed; 0: none
    std::vector<std::string> environment; // its variables; empty: this process's
};

// Runs the program words[0], which is looked up in PATH, with `input` on its standard input.
// It gets none of this process's blocked or ignored signals, and prints untranslated texts.
ProgramResult RunProgram(const std::vector<std::string>& words, const std::string& input,
                         const ProgramLimits& limits = {});

} // namespace Agent
