// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The parser of the package front end's output, line by line.

#include "parsedoutput.h"
#include "tests/common/observe.h"

#include <QtTest>

class ParseTest : public QObject
{
    Q_OBJECT

private:
    using Parsed = ParsedOutput;

private slots:
    void listOfNewPackages()
    {
        Parsed p;
        p.feed("The following NEW packages will be installed:\n  libhp hpapp \n  third\n"
               "Need to get 2,345kB of archives.\n");
        QCOMPARE(p.events.list,
                 (QStringList{ QStringLiteral("names hpapp=0,libhp=0,third=0"),
                               QStringLiteral("total 2,345kB") }));
        QCOMPARE(p.runner.TotalSize(), std::string("2,345kB"));
        QCOMPARE(p.runner.PackageCount(), 3);
    }

    void theFollowingInformationOpensNoList()
    {
        Parsed p;
        p.feed("The following information may help:\n  notapackage\n");
        QVERIFY(!p.inList);
        QCOMPARE(p.runner.PackageCount(), 0);
        p.feed("The following packages:\n  a\nThe following information may help:\n  b\n");
        QVERIFY(!p.inList);
        QCOMPARE(p.runner.PackageCount(), 1);
    }

    void listEndsAtTheFirstLineThatIsNotIndented()
    {
        Parsed p;
        p.feed("The following x:\n  a\nother\n  b\n");
        QCOMPARE(p.runner.PackageCount(), 1);
    }

    void errorLineInsideAListOnlyEndsIt()
    {
        Parsed p;
        p.feed("The following x:\n  a\nE: lost\n");
        QCOMPARE(p.errors(), QStringList());
        QVERIFY(!p.inList);
    }

    void nameListedAgainLosesItsSize()
    {
        Parsed p;
        p.feed(
            "Get:1 http://h/r ./. libhp 1.0-1 [716B]\nThe following x:\n  libhp\nNeed to get \n");
        QVERIFY(p.events.list.contains(QStringLiteral("names libhp=0")));
    }

    void needToGetWithoutASizeTellsTheEarlierOne()
    {
        Parsed p;
        p.feed("Need to get 0B/1234kB of archives.\nNeed to get \n");
        QCOMPARE(p.events.list,
                 (QStringList{ QStringLiteral("names "), QStringLiteral("total 0B/1234kB"),
                               QStringLiteral("names "), QStringLiteral("total 0B/1234kB") }));
    }

    void getLinesBeginAndEndPackages()
    {
        Parsed p;
        p.feed("Get:1 http://h/r ./. libhp 1.0-1 [716B]\nGet:2 http://h/r ./. hpapp 2 [9kB]\n"
               "Setting up libhp (1.0-1) ...\nSetting up hpapp (2) ...\n");
        QCOMPARE(p.events.list,
                 (QStringList{ QStringLiteral("get libhp|716B"), QStringLiteral("got libhp"),
                               QStringLiteral("get hpapp|9kB"), QStringLiteral("got hpapp"),
                               QStringLiteral("setup libhp"), QStringLiteral("got hpapp"),
                               QStringLiteral("setup hpapp") }));
        QCOMPARE(p.runner.Packages().at("libhp"), std::string("716B"));
    }

    void getLineWithoutASizeKeepsTheZero()
    {
        Parsed p;
        p.feed("The following x:\n  libhp\nGet:1 http://h/r ./. libhp 1.0-1\n");
        QCOMPARE(p.events.list, QStringList(QStringLiteral("get libhp|")));
        QCOMPARE(p.runner.Packages().at("libhp"), std::string("0"));
    }

    void getLineThatStopsEarlyTellsEmptyTexts()
    {
        Parsed p;
        p.feed("Get:1\nGet:2 http://h/r ./.\n");
        QCOMPARE(p.events.list, (QStringList{ QStringLiteral("get |"), QStringLiteral("get |") }));
    }

    void setupWithoutADownloadEndsTheEmptyName()
    {
        Parsed p;
        p.feed("Setting up libhp (1.0-1) ...\n");
        QCOMPARE(p.events.list,
                 (QStringList{ QStringLiteral("got "), QStringLiteral("setup libhp") }));
    }

    void sorryTellsFourThings()
    {
        Parsed p;
        p.feed("Sorry, but it is there already\n");
        QCOMPARE(p.events.list,
                 (QStringList{ QStringLiteral("names "), QStringLiteral("get |"),
                               QStringLiteral("got "), QStringLiteral("setup ") }));
    }

    void quotedUrisAreFileNames()
    {
        Parsed p;
        p.feed("'http://h/r/libfoo_1.2-3_i386.deb' libfoo_1.2-3_i386.deb 716 SHA256:00\n"
               "'http://h/a%3ab.deb' a 1 x\n'nopath' x\n'http://h/unclosed\n");
        QCOMPARE(p.files(),
                 (QStringList{ QStringLiteral("libfoo_1.2-3_i386.deb"), QStringLiteral("a%3ab.deb"),
                               QString(), QStringLiteral("unclosed") }));
    }

    void pulses_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("event");
        QTest::newRow("item and whole")
            << QByteArray("45% [2 libfoo 12345/67890 18%]") << "pulse 18 45";
        QTest::newRow("a word in brackets") << QByteArray("45% [Working]") << "pulse 0 45";
        QTest::newRow("no closing bracket") << QByteArray("45% [Conn") << "pulse 0 45";
        QTest::newRow("no blank before the bracket") << QByteArray("45%]") << "pulse 45 45";
        QTest::newRow("somewhere in the line") << QByteArray("x 7% [3%]") << "pulse 0 0";
        QTest::newRow("blank before the bracket") << QByteArray("9% [a ]") << "pulse 0 9";
    }
    void pulses()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, event);
        Parsed p;
        p.feed(line + '\n');
        QCOMPARE(p.events.list, QStringList(event));
    }

    void couldNotFindPackageOnceIsARetryTwiceAnError()
    {
        Parsed p;
        p.feed("E: Couldn't find package x\n");
        QCOMPARE(p.errors(), QStringList());
        QVERIFY(!p.inError);
        p.feed("E: Couldn't find package x\n");
        QCOMPARE(p.errors(), QStringList(QStringLiteral("Couldn't find package x")));
    }

    void deleteIsNoControlCharacter()
    {
        Parsed p;
        p.feed("a\x7f"
               "b\x1f"
               "c\n");
        QCOMPARE(QByteArray::fromStdString(p.runner.Messages().at(0)),
                 QByteArray("a\x7f"
                            "bc"));
    }

    void errorTextBeginsAtTheFourthCharacter()
    {
        Parsed p;
        p.feed("E:foo\nE: bar\nE:\nW: warned\n");
        QCOMPARE(p.errors(),
                 (QStringList{ QStringLiteral("oo"), QStringLiteral("bar"), QString(),
                               QStringLiteral("warned") }));
    }

    void indentedLinesExtendAnError()
    {
        Parsed p;
        p.feed("E: one\n two\n  three\nfour\n five\n");
        QCOMPARE(p.errors(),
                 (QStringList{ QStringLiteral("one"), QStringLiteral(" two"),
                               QStringLiteral("  three") }));
        QVERIFY(!p.inError);
    }

    void theLineThatEndsAnErrorIsStillRead()
    {
        Parsed p;
        p.feed("W: careful\nNeed to get 5B of archives.\n");
        QCOMPARE(p.events.list,
                 (QStringList{ QStringLiteral("names "), QStringLiteral("total 5B") }));
    }

    void progressInsideAnErrorIsIgnored()
    {
        Parsed p;
        p.feed("E: bad\n 45% [x 5%]\nE: worse\n");
        QCOMPARE(p.events.list, QStringList());
        QVERIFY(p.inError);
    }

    void controlCharactersAreDropped()
    {
        Parsed p;
        p.feed("E: a\tb\x1b[1mc\r\n\x01ok\n");
        QCOMPARE(p.messages(), (QStringList{ QStringLiteral("E: ab[1mc"), QStringLiteral("ok") }));
    }

    void lastLineNeedsNoLineEnd()
    {
        Parsed p;
        p.feed("one\ntwo");
        QCOMPARE(p.messages(), (QStringList{ QStringLiteral("one"), QStringLiteral("two") }));
    }

    void overlongLineIsSplitAndLosesACharacter()
    {
        Parsed p;
        p.feed(QByteArray(2047, 'a') + "X" + "bcd\n");
        QCOMPARE(p.messages(),
                 (QStringList{ QString(2047, QLatin1Char('a')), QStringLiteral("bcd") }));
        Parsed exact;
        exact.feed(QByteArray(2047, 'a') + "\nb\n");
        QCOMPARE(exact.messages(),
                 (QStringList{ QString(2047, QLatin1Char('a')), QStringLiteral("b") }));
    }

    void skippersStopAtTheEnd()
    {
        CRunAptGet runner;
        char text[] = " \t a b";
        char* cursor = text;
        runner.SkipWhite(&cursor);
        QCOMPARE(cursor, text + 3);
        runner.SkipNonWhite(&cursor);
        QCOMPARE(cursor, text + 4);
        runner.SkipWhite(&cursor);
        runner.SkipNonWhite(&cursor);
        runner.SkipNonWhite(&cursor);
        runner.SkipWhite(&cursor);
        QCOMPARE(cursor, text + 6);
    }

    void eventsAreProcessedWhileReading()
    {
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
        timer.start(0);
        Parsed p;
        p.feed(QByteArray(100, 'a') + '\n');
        // At the lengths 0, 10, 20 and so on.
        QCOMPARE(ticks, 10);
    }
};

QTEST_MAIN(ParseTest)
#include "tst_crunaptget_parse.moc"
