// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The output of every command with --json is as the schema says, failures included.

#include "tests/apps/demomachine.h"
#include "tests/common/statusfile.h"

#include <QtTest>

class JsonTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    QByteArray m_outputs;
    QStringList m_unwritten; // commands whose output had no place

    static QStringList wordsOf(const QString& text)
    {
        return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }
    // Runs a command, and keeps its line for the comparison with the schema.
    void run(const char* words, int status)
    {
        const QStringList list = wordsOf(QLatin1String(words));
        const auto result = DemoMachine::pakmart(list + QStringList(QStringLiteral("--json")));
        QVERIFY2(result.status == status,
                 qPrintable(QLatin1String(words) + QLatin1String(": ") + result.out + result.err));
        QVERIFY2(result.out.endsWith(QLatin1Char('\n')) && result.out.count(QLatin1Char('\n')) == 1,
                 qPrintable(QLatin1String(words) + QLatin1String(": ") + result.out));
        m_outputs += list.first().toUtf8() + '\t' + QByteArray::number(result.status) + '\t'
            + result.out.toUtf8();
    }
    void runAll(std::initializer_list<const char*> commands, int status)
    {
        for (const char* words : commands)
            run(words, status);
    }

private slots:
    void initTestCase() { QVERIFY(m_machine.setUp()); }

    void withoutACatalog()
    {
        runAll({ "categories", "list Games", "list --installed", "search x", "show 1001",
                 "recent --run 1", "forget 5" },
               1);
        runAll({ "history", "recent", "installed" }, 0);
    }

    // Whatever a command has to say: if that cannot be written, it has failed.
    void outputThatCannotBeWritten_data()
    {
        QTest::addColumn<QString>("words");
        for (const char* words : { "update",
                                   "categories",
                                   "list Games",
                                   "search dice",
                                   "show 1001",
                                   "install --dry-run 1003",
                                   "install --yes 1003",
                                   "remove --dry-run dicecards",
                                   "reinstall --dry-run dicecards",
                                   "upgrade --yes",
                                   "repair --check",
                                   "autoremove --yes",
                                   "hold dicecards",
                                   "unhold dicecards",
                                   "installed",
                                   "depends dicecards",
                                   "why dicecards",
                                   "history",
                                   "recent",
                                   "forget 1003",
                                   "update-sources",
                                   "aisles",
                                   "sync",
                                   "os-update --dry-run",
                                   "status",
                                   "register",
                                   "help",
                                   "help install",
                                   "remove --yes dicecards" })
            QTest::newRow(words) << QString::fromLatin1(words);
    }
    void outputThatCannotBeWritten()
    {
        QFETCH(QString, words);
        const QStringList options = words.startsWith(QLatin1String("help"))
            ? QStringList{ QString() }
            : QStringList{ QString(), QStringLiteral(" --json") };
        for (const QString& option : options) {
            if (words == QLatin1String("forget 1003"))
                QCOMPARE(DemoMachine::pakmart(wordsOf(QLatin1String("install --yes 1003"))).status,
                         0);
            QProcess process;
            process.setStandardOutputFile(QStringLiteral("/dev/full"));
            process.start(QStringLiteral(PAKMART), wordsOf(words + option));
            QVERIFY(process.waitForFinished(120000));
            const QByteArray error = process.readAllStandardError();
            QVERIFY2(error.contains("the output cannot be written"), error);
            QCOMPARE(process.exitCode(), 1);
        }
        m_unwritten << wordsOf(words).first();
    }

    void withTheStore()
    {
        runAll({ "update",
                 "update",
                 "categories",
                 "list Games",
                 "search dice",
                 "show 1001 1003",
                 "install --dry-run 1001",
                 "install --yes --download-only 1003",
                 "install --yes 1001",
                 "list --installed",
                 "list --upgradable",
                 "installed",
                 "installed *land*",
                 "depends starlander",
                 "why libpixel",
                 "hold starlander",
                 "unhold starlander",
                 "reinstall --dry-run starlander",
                 "reinstall --yes starlander",
                 "upgrade --dry-run",
                 "upgrade --yes",
                 "repair --check",
                 "repair --yes",
                 "recent",
                 "remove --dry-run libpixel",
                 "update-sources",
                 "aisles",
                 "sync",
                 "status",
                 "os-update --dry-run",
                 "os-update --yes",
                 "register",
                 "forget 1001",
                 "remove --yes starlander",
                 "autoremove --dry-run",
                 "autoremove --yes",
                 "history",
                 "history undo --dry-run 1",
                 "history undo --yes 1" },
               0);
    }

    void failures()
    {
        runAll({ "install --yes 77777", "install --yes nosuch", "install --yes ./x",
                 "remove --yes nosuch", "reinstall --yes nosuch", "upgrade --yes nosuch",
                 "hold nosuch", "unhold nosuch", "depends nosuch", "why nosuch", "show 77777",
                 "show 1001 77777", "list Nothing", "recent --run 99", "forget 77777",
                 "history undo --yes 99" },
               1);
    }

    void withoutTheTools()
    {
        const QString program = m_machine.root + QStringLiteral("/usr/bin/vos-apt-get");
        QVERIFY(QFile::rename(program, program + QStringLiteral(".away")));
        runAll({ "autoremove --yes", "repair --yes" }, 1);
        QVERIFY(QFile::rename(program + QStringLiteral(".away"), program));
    }

    void withoutTheStore()
    {
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:9")));
        runAll({ "update", "update-sources", "aisles", "sync", "status", "register",
                 "os-update --yes", "install --yes 1001" },
               1);
    }

    void withoutAStatus()
    {
        const QString status = m_machine.root + QStringLiteral("/var/lib/dpkg/status");
        QVERIFY(QFile::rename(status, status + QStringLiteral(".away")) && QDir().mkdir(status));
        run("installed", 1);
        QVERIFY(QDir().rmdir(status) && QFile::rename(status + QStringLiteral(".away"), status));
    }

    // Each command of the program, with and without success.
    void allIsAsTheSchemaSays()
    {
        const QString outputs = m_machine.dir + QStringLiteral("/outputs");
        QVERIFY(WriteTextFile(outputs, m_outputs));
        QStringList commands;
        const QString lines = DemoMachine::pakmart({ QStringLiteral("--complete"), QString() }).out;
        for (const QString& line : lines.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            commands << line.section(QLatin1Char('\t'), 0, 0);
        for (const QString& command : commands)
            QVERIFY2(m_unwritten.contains(command), qPrintable(command));
        QVERIFY(commands.removeOne(QStringLiteral("help")));
        QProcess check;
        check.start(QStringLiteral("python3"),
                    QStringList{ QStringLiteral(CHECK), QStringLiteral(SCHEMA), outputs }
                        + commands);
        QVERIFY(check.waitForFinished(60000));
        QVERIFY2(check.exitCode() == 0, check.readAllStandardError().constData());
    }
};

QTEST_GUILESS_MAIN(JsonTest)
#include "tst_json.moc"
