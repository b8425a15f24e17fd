// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs a piece of work repeatedly with each of its allocations failing in turn. Include
// it in one source file of a program only (failingmemory.h).

#pragma once

#include "tests/db/dbfaults.h"
#include "tests/store/failingmemory.h"

inline void AllocationRows()
{
    QTest::addColumn<bool>("forGood");
    QTest::newRow("once") << false;
    QTest::newRow("for good") << true;
}

// Makes what a piece of work itself needs, while no allocation fails.
template <typename Make> auto MadeCalmly(const Make& make)
{
    const Memory::Pause pause;
    return make();
}

inline void FailEachAllocation(const FaultyWork& work)
{
    QFETCH(bool, forGood);
    const int faults = HitEach(work, [&](int k) {
        Memory::failFrom(k, forGood);
        work.run(MachineFiles());
        return Memory::heal();
    });
    QVERIFY(faults >= 10);
}
