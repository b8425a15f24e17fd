// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A long use of the window, in short: each page again and again. What a page took is given back
// when it is left.

#include "tests/host/storemachine.h"
#include "tests/window/openwindow.h"

#include <Pakmart/RefreshCatalogJob>
#include <QSignalSpy>
#include <unistd.h>

namespace
{

// Of the process, with what the allocator keeps and the pages that it shares with others.
double MegabytesInUse()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read the size of this process");
    return file.readAll().split(' ')[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / 1e6;
}

// The sanitizers keep what was freed for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double most = 4000, mostGrowth = 1000;
#else
constexpr double most = 200, mostGrowth = 20;
#endif

const char* const pages[]
    = { "front",  "category/Games", "product/1001", "search/er", "installed", "updates",
        "recent", "history",        "account",      "settings",  "about" };

} // namespace

class WindowVisitsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;

    static void visitAll(OpenWindow& store)
    {
        for (const char* const page : pages) {
            store.store().go(ReadAddress(QString::fromLatin1(page)));
            QVERIFY(!store.picture(QStringLiteral("visit")).isNull());
        }
    }
    static int objects(const OpenWindow& store)
    {
        return int(store.window()->findChildren<QObject*>().size());
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        qunsetenv("WINDOW_PICTURES");
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        auto* const job = new Pakmart::RefreshCatalogJob;
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        QVERIFY(ends.wait(120000));
    }

    void manyVisitsTakeNoMoreThanSome()
    {
        OpenWindow store;
        QVERIFY(store.open());
        for (int round = 0; round < 5; ++round)
            visitAll(store);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const double before = MegabytesInUse();
        const int objectsBefore = objects(store);
        constexpr int rounds = 20; // 220 visits
        for (int round = 0; round < rounds; ++round)
            visitAll(store);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const double after = MegabytesInUse();
        qInfo("%.1f MB, after %d visits %.1f MB; %d objects, then %d", before,
              int(rounds * std::size(pages)), after, objectsBefore, objects(store));
        QCOMPARE(objects(store), objectsBefore);
        QVERIFY(after - before < mostGrowth);
        QVERIFY(after < most);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
};

QTEST_MAIN(WindowVisitsTest)
#include "tst_window_visits.moc"
