// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The phases of the store benchmark and what one contender came to in them. All
// results of a contender are checked: wrong data ends the program.

#pragma once

#include "store/contender.h"

#include <array>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

enum Phase {
    InsertRandom,
    Find, // the number under a name
    FindAgain, // what the phase before has left in memory is there
    FindAndRead, // and the record
    WalkNames,
    WalkAgain,
    DeleteHalf,
    InsertAgain,
    InsertAscending, // into another, empty store
    phases
};
const char* PhaseName(int phase);

// Looks for a file of this name, which is not there, with the phase behind it:
// so one sees in the output of strace where a phase begins (or, with `phases`,
// ends).
constexpr char phaseMark[] = "phase:";
void MarkPhase(int phase);

// The products in the order in which they are inserted, and the names of those
// that are looked up, in another order.
struct Workload {
    explicit Workload(int count);

    struct Lookup {
        std::uint32_t place; // in random
        char name[productKeyLength + 1];
    };
    std::vector<Product> random;
    std::vector<Product> ascending;
    std::vector<Lookup> lookups;

    // How many operations a phase is.
    double Operations(int phase) const;
};

// Runs the work of a phase, and measures what is wanted of it.
using PhaseRunner = std::function<void(Phase phase, const std::function<void()>& work)>;

using Factory = ContenderPtr (*)(const std::string& folder);

// Takes a contender through all phases. The folder is left empty. Returns the
// bytes of the store's files after InsertRandom.
double RunPhases(Factory make, const std::string& folder, const Workload& workload,
                 const PhaseRunner& run);

// System calls of a kind of StoreFiles, counted.
enum CallKind { opens, seeks, reads, writes, closes, otherCalls, callKinds };

struct Result {
    std::array<double, phases> seconds{};
    std::array<std::array<double, callKinds>, phases> calls{}; // of ours only
    double fileBytes = 0;
    double peakBytes = 0; // of memory, above what the process had at first
};

using Measurement = Result (*)(const std::string& folder, const Workload& workload);

// Times a contender.
template <Factory make> Result Measure(const std::string& folder, const Workload& workload);

// Our own contender, its system calls counted.
Result MeasureOurs(const std::string& folder, const Workload& workload);
// The open, seek, read or write, and close calls of our contender alone, in its
// order, at its offsets, with its sizes.
Result MeasureCalls(const std::string& folder, const Workload& workload);

// What phases are timed with: the time of day, or the processor time of the
// process, which other programs on the machine disturb less.
extern clockid_t phaseClock;
double TimedPhase(const std::function<void()>& work);

template <Factory make> Result Measure(const std::string& folder, const Workload& workload)
{
    Result result;
    result.fileBytes = RunPhases(make, folder, workload, [&](Phase phase, const auto& work) {
        result.seconds[phase] = TimedPhase(work);
    });
    return result;
}
