// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// No text of a store reaches the terminal or a program in a form that deceives.

#include "demomachine.h"
#include "tests/common/datafolder.h"
#include "tests/common/scriptedserver.h"

#include <QRegularExpression>
#include <QtTest>

class HostileTextsTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;

    // Whether a text has nothing that a terminal obeys, and no line that looks like pakmart's.
    static bool isPlain(const QString& text)
    {
        static const QRegularExpression bad(QStringLiteral(
            "[\\x{00}-\\x{09}\\x{0B}-\\x{1F}\\x{7F}-\\x{9F}\\x{061C}\\x{200E}\\x{200F}"
            "\\x{2028}-\\x{202E}\\x{2066}-\\x{2069}]"));
        return !text.contains(bad) && !text.contains(QLatin1String("\npakmart: hacked"));
    }
    static DemoMachine::Result run(const QByteArray& words)
    {
        QProcess process;
        process.start(QStringLiteral(PAKMART), QString::fromUtf8(words).split(QLatin1Char(' ')));
        [&] { QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000); }();
        return { process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError()) };
    }
    static void answerWith(ScriptedServer& server, const QByteArray& body)
    {
        server.answer("/getagentapi.php",
                      ScriptedServer::http(
                          "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><getagentapi>"
                          "<api><name>CAPIUpdateCatalog</name><url>"
                          + server.url("/c") + "</url></api></getagentapi></agentfunction>"));
        server.answer("/c", ScriptedServer::http(body));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_machine.setUp());
        ScriptedServer server;
        answerWith(
            server,
            "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><catalog>"
            "<category name=\"Ga%1b]0;x%07mes\"><product name=\"Ev%1b[2Jil "
            "%e2%80%aeemag%c2%9b%0apakmart: hacked\"><serialnumber>1</serialnumber>"
            "<packagename>good</packagename><longdescription>one%1b[31m%0d%e2%80%a8pakmart: "
            "hacked%0a"
            "%e2%81%a6three%08</longdescription></product></category></catalog></agentfunction>");
        QVERIFY(m_machine.useServer(QString::fromLatin1(server.url(""))));
        const DemoMachine::Result update = run("update");
        QVERIFY2(update.status == 0, qPrintable(update.err));
        QVERIFY(isPlain(update.out + update.err));
    }

    void everyOutputIsPlain_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words : { "categories", "search il", "show 1", "install --dry-run il" })
            for (const char* option : { "", " --json", " --verbose" })
                QTest::addRow("%s%s", words, option) << QByteArray(words) + option;
    }
    void everyOutputIsPlain()
    {
        QFETCH(QByteArray, words);
        const DemoMachine::Result result = run(words);
        QVERIFY2(isPlain(result.out), qPrintable(result.out));
        QVERIFY2(isPlain(result.err), qPrintable(result.err));
        QVERIFY(words.startsWith("install") || result.out.contains(QLatin1String("il"))
                || words.startsWith("categories"));
    }

    void theTextOfARefusalIsPlain()
    {
        ScriptedServer server;
        answerWith(server,
                   "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"ERROR\" "
                   "msg=\"No&#10;pakmart: hacked &#x202e;&#x9b;2J\"/>");
        QVERIFY(m_machine.useServer(QString::fromLatin1(server.url(""))));
        for (const char* words : { "update", "update --json" }) {
            const DemoMachine::Result result = run(words);
            QCOMPARE(result.status, 1);
            QVERIFY2(isPlain(result.err), qPrintable(result.err));
            QVERIFY2(isPlain(result.out), qPrintable(result.out));
        }
    }
};

QTEST_GUILESS_MAIN(HostileTextsTest)
#include "tst_hostiletexts.moc"
