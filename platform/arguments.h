// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The command line: what of it is for apt-get, and which names it holds.

#pragma once

#include <string>
#include <vector>

struct Arguments {
    std::vector<std::string> words; // for apt-get, without what is for us alone
    std::vector<std::string> options; // those of them that are neither command nor names
    std::string command; // "install"; empty without one
    std::vector<std::string> names; // what follows the command
    std::string listsFolder; // Dir::State::lists; empty where it is not given
    bool printUris = false;
    bool simulates = false;
    bool ownSources = false; // a sources list of the store's is named
    bool mayRemove = false; // "--allow-removals": an install may take packages away
    int lockSeconds = 300; // how long a held lock is waited for
};

// Sorts the words behind the program's name.
Arguments SortArguments(const std::vector<std::string>& words);

// Whether packages come or go, and not only lists or files are handled.
bool ChangesPackages(const Arguments& arguments);

// Whether packages are to come, and none asked to go.
bool Installs(const Arguments& arguments);

// Whether packages are to go, or would be in a simulation.
bool Removes(const Arguments& arguments);

// Whether the status file has a package of that name. A name that ends in '+'
// is, for a remove, an order to install the package without it, unless a package
// of the whole name is there.
bool IsKnownPackage(const std::string& statusFile, const std::string& name);

// What is wrong with the names, as an error line; empty when nothing is.
std::string NameError(const Arguments& arguments, const std::string& statusFile);
