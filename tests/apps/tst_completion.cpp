// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What Tab offers in bash, zsh and fish, with a catalog whose names would like to be run.

#include "tests/apps/demomachine.h"
#include "tests/apps/terminal.h"
#include "tests/common/scriptedserver.h"
#include "tests/common/statusfile.h"

#include <QtTest>

namespace
{

// Each is a name that a shell would do something with; %1 is a file that must not come to be.
const char* const hostileNames[] = {
    "Evil $(touch %1)", "Evil `touch %1`",       "Evil; touch %1",      "Evil & touch %1",
    "Evil > %1",        "Evil' ; touch %1 ; '",  "Evil\" ; touch %1 #", "Evil ${x:=$(touch %1)}",
    "Evil !! ~ * ? [a", "Evil \\$(touch %1) \\", "Evil: a=b (c) {d,e}", "Evil <(touch %1)",
};

const QString folder = QStringLiteral(COMPLETION_DIR);

} // namespace

class CompletionTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    const QString m_touched = m_machine.dir + QStringLiteral("/touched");

    static QStringList sorted(QStringList list)
    {
        list.sort();
        return list;
    }
    QStringList evilNames() const
    {
        QStringList names;
        for (const char* name : hostileNames)
            names << QString::fromUtf8(name).replace(QLatin1String("%1"), m_touched);
        return names;
    }
    // What bash puts on the line for these words, and what it makes of each then.
    struct Offer {
        QStringList written, read;
    };
    Offer bashOffers(const QStringList& words) const
    {
        const QString script = m_machine.dir + QStringLiteral("/complete.bash");
        WriteTextFile(
            script,
            "source " + folder.toUtf8()
                + "/pakmart.bash\nCOMP_WORDS=(\"$@\")\nCOMP_CWORD=$(($# - 1))\n_pakmart\n"
                  "for one in \"${COMPREPLY[@]}\"; do eval \"read=($one)\"\n"
                  "printf '%s\\t%s\\t%s\\n' \"$one\" \"${#read[@]}\" \"${read[0]}\"; done\n");
        QProcess bash;
        bash.start(QStringLiteral("bash"), QStringList(script) + words);
        if (!bash.waitForFinished(60000))
            qFatal("bash does not end");
        Offer offer;
        for (const QString& line : QString::fromUtf8(bash.readAllStandardOutput())
                                       .split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QStringList parts = line.split(QLatin1Char('\t'));
            offer.written << parts.value(0);
            offer.read << (parts.value(1) == QLatin1String("1") ? parts.value(2)
                                                                : QStringLiteral("several words"));
        }
        return offer;
    }
    static QStringList candidates(const QStringList& words)
    {
        QStringList found;
        const QString lines
            = DemoMachine::pakmart(QStringList(QStringLiteral("--complete")) + words).out;
        for (const QString& line : lines.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            found << line.section(QLatin1Char('\t'), 0, 0);
        return found;
    }

private slots:
    void initTestCase()
    {
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFileInfo(QStringLiteral(PAKMART)).path().toLocal8Bit() + ':' + path);
        QVERIFY(m_machine.setUp());
        QFile file(m_machine.store() + QStringLiteral("/products"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray products = file.readAll() + '\n';
        int serial = 77000;
        for (const QString& name : evilNames()) {
            ++serial;
            products += "Serial: " + QByteArray::number(serial) + "\nName: " + name.toUtf8()
                + "\nCategory: " + name.toUtf8() + "\nPackage: evil" + QByteArray::number(serial)
                + "\nDescription: d\n\n";
        }
        products += "Serial: 78000\nName: \"Quoted\nCategory: Games\nPackage: quoted\n"
                    "Description: d\n\n";
        QVERIFY(WriteTextFile(m_machine.store() + QStringLiteral("/products"), products));
        const auto update = m_machine.pakmart({ QStringLiteral("update") });
        QVERIFY2(update.status == 0, qPrintable(update.err));
        QByteArray status = StatusText();
        for (const char* package : { "goodone", "goodtwo" })
            status += QByteArray("\nPackage: ") + package
                + "\nStatus: install ok installed\nArchitecture: all\nVersion: 2.0\n";
        WriteStatusFile(status + '\n');
    }
    void cleanup() { QVERIFY(!QFile::exists(m_touched)); }

    void eachWordHasItsCandidates_data()
    {
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("found");
        const auto row
            = [](const char* words, const char* found) { QTest::newRow(words) << words << found; };
        row("inst", "install installed");
        row("frob ", "");
        row("--json inst", "install installed");
        row("help re", "recent register reinstall remove repair");
        row("install --a", "--allow-removals");
        row("status --a", "");
        row("status --ver", "--verbose --version");
        row("status --color=", "--color=always --color=auto --color=never");
        row("--color n", "never");
        row("--color never inst", "install installed");
        row("recent --run ", "");
        row("install starl", "starlander");
        row("install --yes starl", "starlander");
        row("install Star", "Star\u00A0Lander");
        row("install -- starl", "starlander");
        row("install -- --a", "");
        row("install ", ""); // not a whole catalog
        row("remove good", "goodone goodtwo");
        row("remove goodt", "goodtwo");
        row("remove starl", ""); // it is not installed
        row("list G", "Games");
        row("search starl", "");
    }
    void eachWordHasItsCandidates()
    {
        QFETCH(QString, words);
        QFETCH(QString, found);
        QStringList expected = found.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        expected.replaceInStrings(QStringLiteral("\u00A0"), QStringLiteral(" "));
        QCOMPARE(candidates(words.split(QLatin1Char(' '))), expected);
    }

    void namesAreQuotedInBash()
    {
        const QString name = QStringLiteral("pakmart");
        const Offer names = bashOffers({ name, QStringLiteral("show"), QStringLiteral("Evil") });
        QCOMPARE(sorted(names.read), sorted(evilNames()));
        const Offer categories
            = bashOffers({ name, QStringLiteral("list"), QStringLiteral("Evil\\ ") });
        QCOMPARE(categories.read.size(), evilNames().filter(QStringLiteral("Evil ")).size());
        // Within a quotation that the user has begun there is no safe spelling.
        for (const char* begun : { "'Evil", "\"Quoted", "\"Evil", "Ev'il", "$Evil", "`Evil" })
            QCOMPARE(bashOffers({ name, QStringLiteral("show"), QLatin1String(begun) }).written,
                     QStringList());
    }

    // bash breaks words at these two signs.
    void whatFollowsASignIsReplacedInBash()
    {
        const QString name = QStringLiteral("pakmart"), equals = QStringLiteral("=");
        const QString color = QStringLiteral("--color");
        const QStringList all{ QStringLiteral("always"), QStringLiteral("auto"),
                               QStringLiteral("never") };
        QCOMPARE(bashOffers({ name, color, equals }).written, all);
        QCOMPARE(bashOffers({ name, color, equals, QStringLiteral("al") }).written, all.mid(0, 1));
        QCOMPARE(bashOffers({ name, QStringLiteral("show"), QStringLiteral("Evil"),
                              QStringLiteral(":"), QString() })
                     .written,
                 QStringList(QStringLiteral("\\ a=b\\ \\(c\\)\\ \\{d\\,e\\}")));
    }

    // On a line that is really typed: the whole name comes out of it, and nothing else.
    void tabCompletesALine_data()
    {
        QTest::addColumn<QByteArray>("shell");
        QTest::addColumn<QByteArray>("begin");
        QTest::newRow("bash") << QByteArray("/bin/bash --norc --noprofile -i")
                              << "source " + folder.toUtf8() + "/pakmart.bash";
        QTest::newRow("zsh") << QByteArray("/usr/bin/zsh -f -i")
                             << "fpath=(" + folder.toUtf8()
                + " $fpath); autoload -Uz compinit; compinit -u -D";
    }
    void tabCompletesALine()
    {
        QFETCH(QByteArray, shell);
        QFETCH(QByteArray, begin);
        QList<QByteArray> words = shell.split(' ');
        const QByteArray program = words.takeFirst();
        for (const char* typed : { "Evil\\ \\$\\(", "Evil\\ \\`", "Evil\\;", "Evil\\ \\<" }) {
            Terminal terminal(program.constData(), words, 200);
            terminal.type((begin + "; echo 're'ady\n").constData());
            QVERIFY(terminal.awaits("ready\r"));
            terminal.type((QByteArray("pakmart show ") + typed + '\t').constData());
            terminal.type("\n");
            QVERIFY2(terminal.awaits("Serial"), terminal.written().constData());
            terminal.type("exit\n");
            QCOMPARE(terminal.end(), 0);
            QVERIFY2(!terminal.written().contains("there is no product"),
                     terminal.written().constData());
        }
    }

    void fishOffersNamesAndSummaries()
    {
        const auto offers = [](const char* line) {
            QProcess fish;
            fish.start(QStringLiteral("fish"),
                       { QStringLiteral("--no-config"), QStringLiteral("-c"),
                         QStringLiteral("source $argv[1]; complete -C $argv[2]"),
                         folder + QStringLiteral("/pakmart.fish"), QString::fromUtf8(line) });
            if (!fish.waitForFinished(60000))
                qFatal("fish does not end");
            return QString::fromUtf8(fish.readAllStandardOutput())
                .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        };
        QCOMPARE(offers("pakmart install starl"),
                 QStringList(QStringLiteral("starlander\tStar Lander")));
        QCOMPARE(offers("pakmart status --colo").size(), 1);
        QVERIFY(offers("pakmart ").size() > 20);
        QCOMPARE(offers("pakmart show 'Evil").size(), int(std::size(hostileNames)));
        QCOMPARE(offers("pakmart show Evil\\ ").size(),
                 evilNames().filter(QStringLiteral("Evil ")).size());
    }

    // Our own server would not send these.
    void aNameThatCannotBeTypedIsNotOffered()
    {
        ScriptedServer server;
        server.answer("/getagentapi.php",
                      ScriptedServer::http(
                          "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><getagentapi>"
                          "<api><name>CAPIUpdateCatalog</name><url>"
                          + server.url("/c") + "</url></api></getagentapi></agentfunction>"));
        server.answer(
            "/c",
            ScriptedServer::http("<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\">"
                                 "<catalog><category name=\"Tools\">"
                                 "<product name=\"bad%0Aline\"><serialnumber>1</serialnumber>"
                                 "<packagename>bad$(x)</packagename></product>"
                                 "<product name=\"bad%1B[2Jescape\"><serialnumber>2</serialnumber>"
                                 "<packagename>badgood</packagename></product>"
                                 "</category></catalog></agentfunction>"));
        QVERIFY(m_machine.useServer(server.url("")));
        QProcess update;
        update.start(QStringLiteral(PAKMART), { QStringLiteral("update") });
        QTRY_COMPARE_WITH_TIMEOUT(update.state(), QProcess::NotRunning, 60000);
        QCOMPARE(update.exitCode(), 0);
        const QString lines = m_machine
                                  .pakmart({ QStringLiteral("--complete"), QStringLiteral("show"),
                                             QStringLiteral("bad") })
                                  .out;
        QCOMPARE(lines, QStringLiteral("badgood\tbad?[2Jescape\n"));
    }
};

QTEST_GUILESS_MAIN(CompletionTest)
#include "tst_completion.moc"
