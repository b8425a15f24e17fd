// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs a piece of work repeatedly: with each call to the file system failing in turn, or
// in a process that dies at each of its writes.

#pragma once

#include "tests/db/onfiles.h"
#include "tests/store/storescenarios.h"
#include "tests/store/storeshims.h"

#include <functional>

struct FaultyWork {
    std::function<void()> prepare; // makes the files at the beginning of each run
    std::function<void(StoreFiles& files)> run; // any call of `files` may fail
    std::function<void()> verify; // afterwards, when no call fails any more
};

inline void FaultRows()
{
    struct Kind {
        const char* name;
        Fault fault;
    };
    const Kind kinds[] = { { "open", Fault::Open },          { "seek", Fault::Seek },
                           { "read", Fault::Read },          { "short read", Fault::ShortRead },
                           { "write", Fault::Write },        { "short write", Fault::ShortWrite },
                           { "full disk", Fault::FullDisk }, { "status", Fault::Status } };
    QTest::addColumn<int>("fault");
    QTest::addColumn<bool>("forGood");
    for (const Kind& kind : kinds) {
        QTest::addRow("%s, once", kind.name) << int(kind.fault) << false;
        QTest::addRow("%s, for good", kind.name) << int(kind.fault) << true;
    }
}

// Also with the calls that replace a file by a new one.
inline void FaultRowsOfNewFiles()
{
    FaultRows();
    QTest::newRow("rename, once") << int(Fault::Rename) << false;
    QTest::newRow("rename, for good") << int(Fault::Rename) << true;
}

// Runs a piece of work with its k-th call hit, for each k. Returns the number of calls,
// and checks that each run closes its descriptors.
template <typename RunHitAt> int HitEach(const FaultyWork& work, RunHitAt runHitAt)
{
    bool hit = true;
    int k = 0;
    for (; hit && !QTest::currentTestFailed(); ++k) {
        work.prepare();
        const int descriptors = OpenDescriptors();
        hit = runHitAt(k);
        [&] { QCOMPARE(OpenDescriptors(), descriptors); }();
        work.verify();
        if (QTest::currentTestFailed())
            qWarning("call %d was hit", k);
    }
    qInfo("%d calls hit", k - 1);
    return k - 1;
}

// Fails the row's kind of call.
inline void FailEach(const FaultyWork& work)
{
    QFETCH(int, fault);
    QFETCH(bool, forGood);
    const int faults = HitEach(work, [&](int k) {
        FailingFiles files(Fault(fault), k, forGood);
        work.run(files);
        return files.hasFailed();
    });
    QVERIFY(faults > 0);
}

// Kills the process at its changes of files.
inline void DieAtEach(const FaultyWork& work)
{
    const int kills = HitEach(work, [&work](int k) { return KilledAt(k, work.run); });
    QVERIFY(kills >= 10);
}
