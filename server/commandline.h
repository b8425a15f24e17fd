// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The command lines of the commands for the keeper of a store.

#pragma once

#include <functional>
#include <getopt.h>
#include <string>
#include <vector>

// The words of a command line after its options.
struct CommandWords {
    std::vector<std::string> rest;
    bool help = false;
    std::string error;
};

// Passes each option but --help ('h') to `take`, which returns false for an unknown one.
CommandWords ReadOptions(int argc, char** argv, const char* letters, const option* names,
                         const std::function<bool(int letter)>& take);

// Runs a command whose line is read and has `count` words; `needed` says which. Returns the exit
// status.
int RunCommand(const CommandWords& words, const char* help, std::size_t count, const char* needed,
               const std::function<int()>& command);
