// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The window with 63,000 products, drawn in software: the time to the first picture, the longest
// frame while a list is scrolled, the longest time for which the event loop is blocked, and the
// memory. All figures are printed; the limits are wide, since other programs use the machine, and
// builds differ.

#include "tests/common/pulse.h"
#include "tests/window/openwindow.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <unistd.h>

namespace
{

// Thirty times what is promised. Without optimisation, and with the sanitizers, everything takes
// longer, and these need memory of their own.
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
constexpr int factor = 30;
constexpr double mostMegabytes = 200;
#else
constexpr int factor = 100;
constexpr double mostMegabytes = 2000;
#endif
constexpr qint64 firstPicture = 500 * factor;
constexpr qint64 longestFrame = 33 * factor;

// Of the process, with what the allocator keeps and the pages that it shares with others.
double MegabytesInUse()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read the size of this process");
    return file.readAll().split(' ')[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / 1e6;
}

// The time until the window has drawn again.
qint64 Draw(QQuickWindow* window)
{
    bool isDrawn = false;
    QObject context;
    QObject::connect(window, &QQuickWindow::frameSwapped, &context, [&] { isDrawn = true; });
    QElapsedTimer timer;
    timer.start();
    window->update();
    while (!isDrawn && timer.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    return timer.elapsed();
}

} // namespace

class WindowLargeTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        // Such a catalog, by another process.
        QCOMPARE(QProcess::execute(QStringLiteral(CATALOG_MAKER),
                                   { QStringLiteral("--make"), QStringLiteral("1.") }),
                 0);
    }

    void theFirstPictureIsThereAtOnce()
    {
        QElapsedTimer timer;
        timer.start();
        OpenWindow store;
        QVERIFY(store.open());
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("category-section1")), 60000);
        Draw(store.window());
        const qint64 took = timer.elapsed();
        qInfo("first picture %d ms", int(took));
        QVERIFY(took < firstPicture);
    }

    void scrollingIsSmooth()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/e")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("products")), 60000);
        QQuickItem* const list = store.item(QStringLiteral("products"));
        QTRY_VERIFY_WITH_TIMEOUT(list->property("count").toInt() > 10000, 60000);
        QTest::qWait(500); // what is read beside has arrived
        const Pulse pulse;
        qint64 longest = 0, all = 0;
        constexpr int frames = 200;
        for (int frame = 0; frame < frames; ++frame) {
            list->setProperty("contentY", list->property("contentY").toReal() + 120);
            const qint64 took = Draw(store.window());
            longest = std::max(longest, took);
            all += took;
        }
        const double used = MegabytesInUse();
        qInfo("%d frames: longest %d ms, mean %.1f ms, longest gap %d ms, %.1f MB", frames,
              int(longest), double(all) / frames, int(pulse.longestGap()), used);
        QVERIFY(longest < longestFrame);
        QVERIFY(used < mostMegabytes);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
};

QTEST_MAIN(WindowLargeTest)
#include "tst_window_large.moc"
