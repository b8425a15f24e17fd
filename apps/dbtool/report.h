// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The tool's output, and the report of a repair.

#pragma once

#include "newfile.h"
#include "store/storecheck.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace DbTool
{

using Agent::Findings;

// Ends a command with exit status 2.
class Trouble : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
    // With the reason in errno, if there is one.
    static Trouble Because(const std::string& what);
};

inline std::string Number(std::int64_t number)
{
    return std::to_string(number);
}

// The same, for an invalid command line.
class WrongUsage : public Trouble
{
public:
    using Trouble::Trouble;
};

// "1 item", "2 items".
std::string Count(std::int64_t number, const char* thing);

// The maximum number of faults reported per list, as in the checks of the record store.
constexpr std::size_t mostFindings = 100;

// Bytes as one word of printable ASCII; everything else, and the backslash, as \xHH.
std::string Escaped(std::string_view bytes);

// A line of `info`.
void PrintField(const char* name, const std::string& value);

// The last line of `info`, or the whole of `check`: the status.
int PrintCondition(const Findings& findings);
int PrintFindings(const std::string& path, const Findings& findings);
// The faults after a dump, on standard error.
int ComplainOfFindings(const std::string& path, const Findings& findings);

// What a repair did, what it could not restore, and whether its files are kept.
struct RepairReport {
    std::vector<std::string> done;
    std::vector<std::string> missing; // what could not be restored
    std::string total; // the amount of that, if it was counted

    // If `path` is a link, reports where it leads: the new file belongs there.
    void NoteLink(const std::string& path);

    // Prints both lists, and publishes the files, all or none, if nothing is missing or a
    // partial repair is wanted. Returns the exit status.
    int Finish(bool partial, const std::vector<NewFile*>& files) const;
};

} // namespace DbTool
