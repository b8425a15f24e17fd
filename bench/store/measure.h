// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The phases of the store benchmark, and the results of one contender. All data that a
// contender returns is checked: wrong data ends the program.

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
    FindAgain, // with the pages that the phase before has left in memory
    FindAndRead, // the record as well
    WalkNames,
    WalkAgain,
    DeleteHalf,
    InsertAgain,
    InsertAscending, // into another, empty store
    phases
};
const char* PhaseName(int phase);

// Looks up a file with this name and the number of the phase, which does not exist. This
// marks in the output of strace where a phase begins (or, with `phases`, ends).
constexpr char phaseMark[] = "phase:";
void MarkPhase(int phase);

// The products in the order of insertion, and the names to look up, in another order.
struct Workload {
    explicit Workload(int count);

    struct Lookup {
        std::uint32_t place; // in random
        char name[productKeyLength + 1];
    };
    std::vector<Product> random;
    std::vector<Product> ascending;
    std::vector<Lookup> lookups;

    // The number of operations in a phase.
    double Operations(int phase) const;
};

// Runs the work of a phase and measures it.
using PhaseRunner = std::function<void(Phase phase, const std::function<void()>& work)>;

using Factory = ContenderPtr (*)(const std::string& folder);
using Maker = std::function<ContenderPtr(const std::string& folder)>;

// Runs all phases of a contender, and leaves the folder empty. Returns the size of the
// store's files after InsertRandom.
double RunPhases(const Maker& make, const std::string& folder, const Workload& workload,
                 const PhaseRunner& run);

// The kinds of counted system calls.
enum CallKind { opens, seeks, reads, writes, closes, otherCalls, callKinds };

struct Result {
    std::array<double, phases> seconds{};
    std::array<std::array<double, callKinds>, phases> calls{}; // of ours only
    double fileBytes = 0;
    double peakBytes = 0; // of memory, above that of the process before
};

using Measurement = Result (*)(const std::string& folder, const Workload& workload);

// Times a contender.
template <Factory make> Result Measure(const std::string& folder, const Workload& workload);

// The same for our own store, with its system calls counted.
Result MeasureOurs(const std::string& folder, const Workload& workload);
// Only the open, seek, read or write, and close calls of our store, in the same order, with
// the same offsets and sizes.
Result MeasureCalls(const std::string& folder, const Workload& workload);

// The clock for the phases: elapsed time, or the processor time of the process, which other
// programs on the machine disturb less.
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
