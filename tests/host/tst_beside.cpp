// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Work in a thread: when its end is told, how it is cancelled, and what happens if those who
// asked for it go.

#include "host/beside.h"

#include <QThread>
#include <QtTest>
#include <atomic>
#include <memory>

using Pakmart::Beside;
using Pakmart::RunBeside;

class BesideTest : public QObject
{
    Q_OBJECT

private:
    static constexpr int patience = 60000; // milliseconds
    static void untilCancelled(const Beside& beside)
    {
        while (!beside.isCancelled())
            QThread::yieldCurrentThread();
    }

private slots:
    void theEndIsToldFromTheEventLoop()
    {
        Beside beside;
        QVERIFY(!beside.isRunning());
        QThread *worker = nullptr, *teller = nullptr;
        bool isOver = false;
        beside.start([&] { worker = QThread::currentThread(); },
                     [&] {
                         teller = QThread::currentThread();
                         isOver = !beside.isRunning();
                     });
        QVERIFY(beside.isRunning());
        QVERIFY(!teller);
        QTRY_VERIFY_WITH_TIMEOUT(teller, patience);
        QCOMPARE(teller, QThread::currentThread());
        QVERIFY(worker && worker != teller);
        QVERIFY(isOver);
    }
    void theNextWorkMayBeginAtTheEndOfTheFirst()
    {
        Beside beside;
        int ends = 0;
        bool wasCancelled = true;
        beside.start([&] { untilCancelled(beside); },
                     [&] {
                         ++ends;
                         beside.start([&] { wasCancelled = beside.isCancelled(); },
                                      [&] { ++ends; });
                     });
        beside.cancel();
        QTRY_COMPARE_WITH_TIMEOUT(ends, 2, patience);
        QVERIFY(!wasCancelled);
    }
    void reportsComeFromTheEventLoop()
    {
        Beside beside;
        int reports = 0;
        bool isHere = true, isOver = false;
        connect(&beside, &Beside::reported, this, [&] {
            ++reports;
            isHere = isHere && QThread::currentThread() == thread();
        });
        beside.start(
            [&] {
                beside.report();
                beside.report();
            },
            [&] { isOver = true; });
        QTRY_VERIFY_WITH_TIMEOUT(isOver && reports == 2, patience);
        QVERIFY(isHere);
    }
    // It cancels the work and waits for it, and tells nobody.
    void aBesideMayGoBeforeItsWork()
    {
        std::atomic<bool> isOver{ false };
        bool isTold = false;
        auto beside = std::make_unique<Beside>();
        Beside* const running = beside.get();
        beside->start(
            [&, running] {
                untilCancelled(*running);
                isOver = true;
            },
            [&] { isTold = true; });
        beside.reset();
        QVERIFY(isOver);
        QCoreApplication::processEvents();
        QVERIFY(!isTold);
    }

    void theEndIsToldToThoseWhoAreThere()
    {
        std::atomic<bool> mayEnd{ false }, isOver{ false };
        int told = 0;
        auto gone = std::make_unique<QObject>();
        const auto work = [&] {
            while (!mayEnd)
                QThread::yieldCurrentThread();
            isOver = true;
        };
        RunBeside(gone.get(), work, [&] { told += 100; });
        gone.reset();
        mayEnd = true;
        QTRY_VERIFY_WITH_TIMEOUT(isOver, patience);
        const QThread* teller = nullptr;
        RunBeside(this, work, [&] {
            ++told;
            teller = QThread::currentThread();
        });
        QTRY_VERIFY_WITH_TIMEOUT(teller, patience);
        QCOMPARE(told, 1);
        QCOMPARE(teller, static_cast<const QThread*>(thread()));
    }
};

QTEST_GUILESS_MAIN(BesideTest)
#include "tst_beside.moc"
