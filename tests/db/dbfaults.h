// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs a piece of work again and again: with each call to the file system failing
// in turn, or in a process that dies at each of its writes.

#pragma once

#include "tests/store/storescenarios.h"
#include "tests/store/storeshims.h"

#include <functional>
#include <sys/wait.h>

struct FaultyWork {
    std::function<void()> prepare; // the files that each run begins with
    std::function<void()> run; // any call may fail
    std::function<void()> verify; // afterwards, with everything in order again
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

// With what is called where a new file takes the place of another, too.
inline void FaultRowsOfNewFiles()
{
    FaultRows();
    QTest::newRow("rename, once") << int(Fault::Rename) << false;
    QTest::newRow("rename, for good") << int(Fault::Rename) << true;
}

// The row's kind of call, the k-th one of a run, for each k.
inline void FailEach(const FaultyWork& work)
{
    QFETCH(int, fault);
    QFETCH(bool, forGood);
    bool hasFailed = true;
    int k = 0;
    for (; hasFailed && !QTest::currentTestFailed(); ++k) {
        work.prepare();
        const int descriptors = OpenDescriptors();
        {
            FailingFiles files(Fault(fault), k, forGood);
            const UsedStoreFiles used(&files);
            work.run();
            hasFailed = files.hasFailed();
        }
        QCOMPARE(OpenDescriptors(), descriptors);
        work.verify();
        if (QTest::currentTestFailed())
            qWarning("call %d failed", k);
    }
    qInfo("%d faults", k - 1);
    QVERIFY(k > 1);
}

inline void DieAtEach(const FaultyWork& work)
{
    bool killed = true;
    int k = 0;
    for (; killed && !QTest::currentTestFailed(); ++k) {
        work.prepare();
        const pid_t child = ::fork();
        if (child == 0) {
            CrashingFiles files(k);
            SetStoreFiles(&files);
            work.run();
            ::_exit(0);
        }
        int status = -1;
        QVERIFY(child > 0 && ::waitpid(child, &status, 0) == child);
        killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        QVERIFY(killed || status == 0);
        work.verify();
        if (QTest::currentTestFailed())
            qWarning("killed at write %d", k);
    }
    qInfo("killed at %d writes", k - 1);
    QVERIFY(k > 10);
}
