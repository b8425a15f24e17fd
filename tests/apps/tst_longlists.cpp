// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Long lists go through the pager, and lines have colours, on terminals that are fit for it.

#include "tests/apps/demomachine.h"
#include "tests/apps/terminal.h"
#include "tests/common/statusfile.h"

#include <QtTest>

class LongListsTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    const QString m_paged = m_machine.dir + QStringLiteral("/paged");

    // A pager that keeps what it gets.
    QByteArray keeper() const { return "tee " + m_paged.toUtf8(); }
    QByteArray paged() const
    {
        QFile file(m_paged);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("none");
    }
    static void set(const char* variable, const QByteArray& value)
    {
        if (value == "unset")
            qunsetenv(variable);
        else
            qputenv(variable, value);
    }

private slots:
    void initTestCase()
    {
        for (const char* variable : { "COLUMNS", "PAGER", "LESS", "NO_COLOR" })
            qunsetenv(variable);
        QVERIFY(m_machine.setUp());
        QCOMPARE(m_machine.pakmart({ QStringLiteral("update") }).status, 0);
        const auto install = m_machine.pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QVERIFY2(install.status == 0, qPrintable(install.err));
        QByteArray status = StatusText();
        for (int i = 0; i < 5000; ++i)
            status += "\nPackage: many" + QByteArray::number(i)
                + "\nStatus: install ok installed\nArchitecture: all\nVersion: 1.0\n";
        WriteStatusFile(status + '\n');
    }
    void cleanup()
    {
        for (const char* variable : { "PAGER", "NO_COLOR" })
            qunsetenv(variable);
        QFile::remove(m_paged);
    }

    void aLongListGoesThroughThePager()
    {
        const QByteArray all
            = DemoMachine::pakmart({ QStringLiteral("installed"), QStringLiteral("many") })
                  .out.toUtf8();
        QCOMPARE(all.count('\n'), 5000);
        qputenv("PAGER", keeper());
        Terminal terminal(PAKMART, { "installed", "many" }, 80);
        QCOMPARE(terminal.end(), 0);
        QCOMPARE(paged(), all);
        QCOMPARE(terminal.written().count('\n'), 5000); // only what the pager shows
        QVERIFY(terminal.isAsBefore());
    }

    void otherOutputDoesNot_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::newRow("short") << QByteArray("installed many499");
        QTest::newRow("switched off") << QByteArray("installed many --no-pager");
        QTest::newRow("json") << QByteArray("installed many --json");
        QTest::newRow("no list") << QByteArray("status");
        QTest::newRow("a failure") << QByteArray("list nothing");
    }
    void otherOutputDoesNot()
    {
        QFETCH(QByteArray, words);
        qputenv("PAGER", keeper());
        Terminal terminal(PAKMART, words.split(' '), 80);
        QCOMPARE(terminal.end(), words.contains("nothing") ? 1 : 0);
        QCOMPARE(paged(), QByteArray("none"));
        QVERIFY(terminal.isAsBefore());
    }

    void aPipeHasNoPager()
    {
        qputenv("PAGER", keeper());
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("installed") }).status, 0);
        QCOMPARE(paged(), QByteArray("none"));
    }

    void aPagerThatIsNotThereOrEndsIsNoFailure_data()
    {
        QTest::addColumn<QByteArray>("pager");
        QTest::addColumn<int>("lines");
        QTest::newRow("ends early") << QByteArray("head -n 2") << 2;
        QTest::newRow("fails") << QByteArray("false") << 0;
        QTest::newRow("missing") << QByteArray("/nonexistent/pager -x") << 5000;
        QTest::newRow("not a program") << QByteArray("/etc/hostname") << 5000;
        QTest::newRow("cat") << QByteArray("cat") << 5000;
        QTest::newRow("none") << QByteArray("") << 5000;
        QTest::newRow("for a shell") << QByteArray("head -n 2; echo x") << 0; // "2;" is no number
    }
    void aPagerThatIsNotThereOrEndsIsNoFailure()
    {
        QFETCH(QByteArray, pager);
        QFETCH(int, lines);
        qputenv("PAGER", pager);
        Terminal terminal(PAKMART, { "installed", "many" }, 80);
        QCOMPARE(terminal.end(), 0);
        QCOMPARE(terminal.written().count("  1.0\r\n"), lines);
        QVERIFY(!terminal.written().contains("pakmart:"));
    }

    void lessIsTheOneWithoutAVariable()
    {
        Terminal terminal(PAKMART, { "installed", "many" }, 80);
        QVERIFY(terminal.awaits("many0  "));
        QVERIFY(terminal.awaits("\n:") || terminal.awaits("\r:"));
        QVERIFY(!terminal.written().contains("many999"));
        terminal.type("q");
        QCOMPARE(terminal.end(), 0);
    }

    void coloursAreForTerminals_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<QByteArray>("noColor");
        QTest::addColumn<bool>("colored");
        const auto row
            = [](const char* words, const char* kind, const char* noColor, bool colored) {
                  QTest::addRow("%s, %s, %s", words, kind, noColor)
                      << QByteArray(words) << QByteArray(kind) << QByteArray(noColor) << colored;
              };
        row("list --installed", "xterm", "unset", true);
        row("list --installed", "xterm", "", true);
        row("list --installed", "xterm", "1", false);
        row("list --installed", "dumb", "unset", false);
        row("list --installed", "", "unset", false);
        row("list --installed --color=never", "xterm", "unset", false);
        row("list --installed --color=auto", "xterm", "unset", true);
        row("list --installed --color=always", "dumb", "1", true);
        row("list --installed --json --color=always", "xterm", "unset", false);
    }
    void coloursAreForTerminals()
    {
        QFETCH(QByteArray, words);
        QFETCH(QByteArray, kind);
        QFETCH(QByteArray, noColor);
        QFETCH(bool, colored);
        set("NO_COLOR", noColor);
        Terminal terminal(PAKMART, words.split(' '), 80, kind.constData());
        QCOMPARE(terminal.end(), 0);
        QVERIFY(terminal.written().contains("Star Lander"));
        QCOMPARE(terminal.written().contains("\x1b[32m"), colored);
        QCOMPARE(terminal.written().contains('\x1b'), colored);
        QVERIFY(words.contains("json") || terminal.written().contains("[installed]"));
    }

    void removalsHaveAColourOfTheirOwn()
    {
        const QStringList words{ QStringLiteral("remove"), QStringLiteral("--dry-run"),
                                 QStringLiteral("starlander") };
        const QString plain = DemoMachine::pakmart(words).out;
        QVERIFY2(plain.startsWith(QLatin1String("To be REMOVED:\n  starlander")),
                 qPrintable(plain));
        QString colored
            = DemoMachine::pakmart(words + QStringList(QStringLiteral("--color=always"))).out;
        QVERIFY2(colored.startsWith(
                     QLatin1String("\x1b[1;31mTo be REMOVED:\x1b[0m\n\x1b[1;31m  starlander")),
                 qPrintable(colored));
        // The text is the same.
        QCOMPARE(colored.remove(QRegularExpression(QStringLiteral("\x1b\\[[0-9;]*m"))), plain);
    }

    void anotherColourIsAnError()
    {
        const auto result = DemoMachine::pakmart(
            { QStringLiteral("categories"), QStringLiteral("--color=mauve") });
        QCOMPARE(result.status, 2);
        QVERIFY(result.err.startsWith(
            QLatin1String("pakmart: --color takes auto, always or never, not 'mauve'\n")));
    }
};

QTEST_GUILESS_MAIN(LongListsTest)
#include "tst_longlists.moc"
