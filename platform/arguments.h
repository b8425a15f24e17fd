// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The command line: the words for apt-get, and the names among them.

#pragma once

#include <string>
#include <vector>

struct Arguments {
    std::vector<std::string> words; // for apt-get, without the front end's own options
    std::vector<std::string> options; // those of them that are neither command nor names
    std::string command; // "install"; empty without one
    std::vector<std::string> names; // what follows the command
    std::string sourcesList; // Dir::Etc::Sourcelist; empty if not given
    std::string listsFolder; // Dir::State::lists; empty if not given
    int stallSeconds = 30; // in which a download of the store must bring 1 KB a second
    bool printUris = false;
    std::vector<std::string> settings; // the values of its "-o" options
    bool simulates = false;
    bool plans = false; // "--plan": simulate, and print what would be done for programs
    bool ownSources = false; // a sources list of the store is named
    bool trustedStores = false; // "--trusted-stores": the stores are all that the machine trusts
    bool hasSignedLists = false; // of the stores, refreshed and verified
    std::vector<std::string> removals; // "--remove=NAME": an install is to remove these, too
    bool downloadsOnly = false; // the archives are fetched, and nothing is installed
    bool mayRemove = false; // "--allow-removals": an install may remove packages
    std::string expectedPlan; // "--expect=DIGEST": the only plan that may be carried out
    int lockSeconds = 300; // how long to wait for a held lock
};

// Sorts the words after the program's name.
Arguments SortArguments(const std::vector<std::string>& words);

// Whether packages are installed or removed, and not only lists or files are handled.
bool ChangesPackages(const Arguments& arguments);

// Whether packages are to be installed, and none to be removed.
bool Installs(const Arguments& arguments);

// Whether packages are to be removed, also in a simulation.
bool Removes(const Arguments& arguments);

// Whether the status file has a package of that name. In a remove, apt-get takes a name
// that ends in '+' as a request to install the package without the '+', unless a package
// of the whole name exists.
bool IsKnownPackage(const std::string& statusFile, const std::string& name);

// The fault of the names, as an error line; empty if they are valid.
std::string NameError(const Arguments& arguments, const std::string& statusFile);
