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
        row("no number", "install abc");
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
                                   "show x",
                                   "show 1 x",
                                   "installed a b",
                                   "update --package",
                                   "search --run 1 x",
                                   "aisles x",
                                   "sync x",
                                   "aisles --package",
                                   "install 1 --json",
                                   "update-sources --json",
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

    void helpNamesEveryCommand()
    {
        const DemoMachine::Result help = DemoMachine::pakmart({ QStringLiteral("--help") });
        QCOMPARE(help.status, 0);
        for (const char* word :
             { "  install SERIAL", "  remove NAME", "  update  ", "  categories  ",
               "  list CATEGORY", "  search WORD", "  show SERIAL", "  installed ", "  recent",
               "  forget SERIAL", "  aisles  ", "  sync  ", "  os-update  ", "  status  ",
               "  register  ", "  update-sources", "--json" })
            QVERIFY2(help.out.contains(QLatin1String(word)), word);
    }
};

QTEST_GUILESS_MAIN(UsageTest)
#include "tst_usage.moc"
