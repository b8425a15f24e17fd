// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart's errors for invalid command lines, and the content of its help.

#include "tests/apps/demomachine.h"

#include <QtTest>

class UsageTest : public QObject
{
    Q_OBJECT

private slots:
    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("words");
        const auto row = [](const char* name, const char* words) {
            QTest::newRow(name) << QString::fromLatin1(words).split(QLatin1Char(' '),
                                                                    Qt::SkipEmptyParts);
        };
        row("nothing", "");
        row("unknown command", "frobnicate");
        row("unknown option", "install --frobnicate 1");
        row("no serial", "install");
        row("negative", "install -- -5");
        row("zero", "install 0");
        row("too large", "install 99999999999999999999");
        row("run of no number", "recent --run x");
        for (const char* words : { "remove",
                                   "update-sources x",
                                   "remove --package x",
                                   "forget",
                                   "forget starlander",
                                   "recent 1",
                                   "install 1001 --run 1",
                                   "recent --run",
                                   "recent --run 0",
                                   "install 1 --pictures",
                                   "update x",
                                   "categories x",
                                   "list",
                                   "search",
                                   "show",
                                   "show 0",
                                   "show 1 -- -2",
                                   "list --installed x",
                                   "list --package x",
                                   "update --dry-run",
                                   "status --yes=no",
                                   "repair x",
                                   "repair --json",
                                   "upgrade --json",
                                   "help x",
                                   "help install x",
                                   "installed a b",
                                   "update --package",
                                   "search --run 1 x",
                                   "aisles x",
                                   "sync x",
                                   "aisles --package",
                                   "install 1 --json",
                                   "--json",
                                   "status now",
                                   "register 42",
                                   "os-update vantrelagent",
                                   "remove --json x",
                                   "os-update --json",
                                   "status --package",
                                   "os-update --package x" })
            row(words, words);
    }
    void usageErrors()
    {
        QFETCH(QStringList, words);
        const DemoMachine::Result result = DemoMachine::pakmart(words);
        QCOMPARE(result.status, 2);
        QCOMPARE(result.out, QString());
        QVERIFY(result.err.contains(QStringLiteral("Try 'pakmart --help'.")));
    }

    // A missing value is not an unknown option.
    void theErrorSaysWhatIsWrong_data()
    {
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("says");
        QTest::newRow("unknown option") << "install --frobnicate 1"
                                        << "unknown option 'frobnicate'";
        QTest::newRow("missing value") << "recent --run"
                                       << "missing value after '--run'";
        QTest::newRow("value of a switch") << "status --yes=no"
                                           << "unexpected value after '--yes'";
        QTest::newRow("unknown command") << "frobnicate"
                                         << "unknown command: frobnicate";
        QTest::newRow("option of another command") << "search --run 1 x"
                                                   << "--run goes with recent";
        QTest::newRow("json without consent") << "remove --json x"
                                              << "remove --json asks nothing, so it needs --yes";
    }
    void theErrorSaysWhatIsWrong()
    {
        QFETCH(QString, words);
        QFETCH(QString, says);
        const DemoMachine::Result result = DemoMachine::pakmart(words.split(QLatin1Char(' ')));
        QCOMPARE(result.status, 2);
        QVERIFY2(result.err.startsWith(QLatin1String("pakmart: ") + says), qPrintable(result.err));
    }

    // Scripts have them from before there were previews and names everywhere. This machine has no
    // catalog, so that most fail, but as commands that were understood.
    void oldSpellingsAreUnderstood_data()
    {
        QTest::addColumn<QString>("words");
        for (const char* words : { "categories",
                                   "list Games",
                                   "search star lander",
                                   "show 1001 1002",
                                   "install --yes 1001 1002",
                                   "install 1001 -y",
                                   "--yes install 1001",
                                   "install --package --yes libpixel",
                                   "--package install -y libpixel",
                                   "install --yes --pictures /tmp 1001",
                                   "remove --yes starlander libpixel",
                                   "installed",
                                   "installed lib*",
                                   "recent",
                                   "recent --run 1",
                                   "--run 1 recent",
                                   "forget 1001 1002",
                                   "-v categories",
                                   "--verbose --json categories",
                                   "--json search star",
                                   "installed --json",
                                   "os-update --yes --json",
                                   "os-update -y" })
            QTest::newRow(words) << QString::fromLatin1(words);
    }
    void oldSpellingsAreUnderstood()
    {
        QFETCH(QString, words);
        const DemoMachine::Result result = DemoMachine::pakmart(words.split(QLatin1Char(' ')));
        QVERIFY2(result.status == 0 || result.status == 1, qPrintable(result.err));
        QVERIFY2(!result.err.contains(QLatin1String("pakmart --help")), qPrintable(result.err));
    }

    void everyCommandHasItsHelp()
    {
        const auto help
            = DemoMachine::pakmart({ QStringLiteral("help"), QStringLiteral("remove") });
        QCOMPARE(help.status, 0);
        QVERIFY2(help.out.startsWith(QLatin1String("Usage: pakmart [OPTION]... remove NAME...\n\n"
                                                   "remove packages\n")),
                 qPrintable(help.out));
        QVERIFY(help.out.contains(QLatin1String("      --allow-removals ")));
        QVERIFY(!help.out.contains(QLatin1String("--package")));
        for (const char* option : { "-h", "--help", "-vh" })
            QCOMPARE(DemoMachine::pakmart({ QStringLiteral("remove"), QLatin1String(option) }).out,
                     help.out);
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("help") }).out,
                 DemoMachine::pakmart({ QStringLiteral("--help") }).out);
    }

    void aHelpThatCannotBeWrittenIsAFailure()
    {
        QProcess process;
        process.setStandardOutputFile(QStringLiteral("/dev/full"));
        process.start(QStringLiteral(PAKMART), { QStringLiteral("--help") });
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 1);
    }

    void helpNamesEveryCommand()
    {
        const DemoMachine::Result help = DemoMachine::pakmart({ QStringLiteral("--help") });
        QCOMPARE(help.status, 0);
        for (const char* word : { "  install NAME",
                                  "  remove NAME",
                                  "  repair  ",
                                  "  upgrade [NAME...]",
                                  "  reinstall NAME",
                                  "  hold NAME",
                                  "  history [undo N]",
                                  "  autoremove  ",
                                  "--download-only",
                                  "  why NAME",
                                  "  depends NAME",
                                  "  help [COMMAND]",
                                  "  update  ",
                                  "  categories  ",
                                  "  list CATEGORY",
                                  "  search WORD",
                                  "  show NAME",
                                  "  installed ",
                                  "  recent",
                                  "  forget SERIAL",
                                  "  aisles  ",
                                  "  sync  ",
                                  "  os-update  ",
                                  "  status  ",
                                  "  register  ",
                                  "  update-sources",
                                  "--json" })
            QVERIFY2(help.out.contains(QLatin1String(word)), word);
    }
};

QTEST_GUILESS_MAIN(UsageTest)
#include "tst_usage.moc"
