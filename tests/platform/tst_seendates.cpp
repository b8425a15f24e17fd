// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which dates of replies a machine keeps, and which of them count.

#include "platform/seendates.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <ctime>

class SeenDatesTest : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_dir;
    const std::time_t m_now = std::time(nullptr);

    QString folder() const { return m_dir.filePath(QStringLiteral("a/b")); }
    SeenDates dates() const { return SeenDates(folder().toStdString()); }
    QString fileName() const { return folder() + QStringLiteral("/.replydates"); }
    QByteArray text() const
    {
        QFile file(fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void write(const QByteArray& text) const
    {
        QDir().mkpath(folder());
        QFile file(fileName());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    // "DATE NOTED ORIGIN", with the time of the note in seconds from now.
    QByteArray line(int date, int noted, const QByteArray& origin = "Shop") const
    {
        return QByteArray::number(date) + ' ' + QByteArray::number(qint64(m_now) + noted) + ' '
            + origin + '\n';
    }

private slots:
    void cleanup() { QDir(folder()).removeRecursively(); }

    void whatCounts_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("newest");
        QTest::newRow("nothing") << QByteArray() << 0;
        QTest::newRow("one") << line(70, -200) << 70;
        QTest::newRow("the newest, not the last") << line(80, -300) + line(70, -200) << 80;
        QTest::newRow("of another store") << line(70, -200, "Shop 2") << 0;
        QTest::newRow("one that was noted during the transfer") << line(80, -50) << 0;
        QTest::newRow("before and during it") << line(70, -200) + line(80, -50) << 70;
        QTest::newRow("when it began") << line(80, -100) << 0;
        QTest::newRow("before the clock was set back") << line(80, 24 * 60 * 60) << 80;
        QTest::newRow("before a line that is damaged") << line(70, -200) + "x\n" << 70;
        QTest::newRow("without a store") << line(70, -200, "\nShop").replace(" \n", "\n") << 0;
        QByteArray many;
        for (int store = 0; store < 256; ++store)
            many += line(60, -200, "Shop" + QByteArray(store, '+'));
        QTest::newRow("of as many stores as are kept") << many + line(70, -200) << 70;
        many.replace("Shop\n", "Corner\n");
        QTest::newRow("of one more") << many + line(70, -200) << 0;
        QTest::newRow("half a line") << line(70, -200).trimmed().chopped(2) << 0;
    }
    void whatCounts()
    {
        QFETCH(QByteArray, text);
        write(text);
        QTEST(int(dates().Newest("Shop", m_now - 100)), "newest");
    }

    void onlyNewerDatesAreNoted()
    {
        dates().Note("Corner shop", 70); // makes the folders
        const QByteArray first = text();
        QVERIFY2(first.startsWith("70 ") && first.endsWith(" Corner shop\n"), first);
        QCOMPARE(first.count('\n'), 1);
        dates().Note("Corner shop", 70);
        dates().Note("Corner shop", 69);
        QCOMPARE(text(), first);
        dates().Note("Corner shop", 71);
        dates().Note("Bazaar", 60);
        QCOMPARE(text().count('\n'), 3);
        QVERIFY(text().contains(first));
    }
    // The notes of a store do not grow, and the newest stay.
    void theOldestDateOfAStoreGoes()
    {
        QByteArray all = line(60, -900, "Bazaar");
        for (int date = 71; date <= 77; ++date)
            all += line(date, -200);
        write(all);
        dates().Note("Shop", 78);
        QVERIFY2(text().startsWith(all), text());
        dates().Note("Shop", 79);
        const QByteArray now = text();
        QCOMPARE(now.count('\n'), 1 + 8);
        QVERIFY2(now.startsWith(line(60, -900, "Bazaar") + line(72, -200)), now);
        QVERIFY2(now.contains("\n79 "), now);
    }
};

QTEST_GUILESS_MAIN(SeenDatesTest)
#include "tst_seendates.moc"
