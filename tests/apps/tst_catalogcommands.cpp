// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// `pakmart` and the catalog: update, categories, list, search, show and installed, on the
// demo store.

#include "demomachine.h"

#include "db/dbcheck.h"
#include "tests/common/datafolder.h"
#include "tests/common/scriptedserver.h"
#include "tests/common/statusfile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QtTest>
#include <csignal>
#include <sys/file.h>

using namespace Agent;

namespace
{

// A product for a store that tests the order of results.
QByteArray Stanza(int serial, const QByteArray& name, const QByteArray& package,
                  const QByteArray& description, const QByteArray& more = "")
{
    return "Serial: " + QByteArray::number(serial) + "\nName: " + name
        + "\nCategory: Tools\nPackage: " + package + "\nDescription: " + description + "\n" + more
        + "\n";
}

} // namespace

class CatalogCommandsTest : public QObject
{
    Q_OBJECT

private:
    using Result = DemoMachine::Result;

    DemoMachine m_machine;
    QByteArray m_products; // of the demo store

    static Result pakmart(const char* words)
    {
        return DemoMachine::pakmart(QString::fromUtf8(words).split(QLatin1Char(' ')));
    }
    static QJsonDocument json(const Result& result)
    {
        return QJsonDocument::fromJson(result.out.toUtf8());
    }
    void setProducts(const QByteArray& text) const
    {
        QVERIFY(WriteTextFile(m_machine.store() + QStringLiteral("/products"), text));
    }
    // What an update says before the line about what was sent.
    static QString saidOf(const Result& update)
    {
        static const QRegularExpression sent(QStringLiteral(
            "The store has sent [1-9][0-9.]* (bytes|KiB)(, counted unpacked)?\\.\n\\z"));
        return sent.match(update.out).hasMatch() ? QString(update.out).remove(sent)
                                                 : QStringLiteral("nothing was sent");
    }
    static QList<int> serials(const QJsonValue& list)
    {
        QList<int> all;
        for (const auto& entry : list.toArray())
            all << entry.toObject()[QLatin1String("serial")].toInt();
        return all;
    }
    static QList<int> found(const char* words)
    {
        return serials(json(DemoMachine::pakmart(
                                QStringList{ QStringLiteral("search"), QStringLiteral("--json") }
                                + QString::fromUtf8(words).split(QLatin1Char(' '))))
                           .array());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_machine.setUp());
        QFile products(m_machine.store() + QStringLiteral("/products"));
        QVERIFY(products.open(QIODevice::ReadOnly));
        m_products = products.readAll();
    }
    void init()
    {
        qunsetenv("COLUMNS");
        setProducts(m_products);
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
        for (const QString& name : DataFiles())
            QVERIFY(QFile::remove(DataPath(name)));
        QVERIFY(m_machine.useServer(m_machine.url()));
        WriteStatusFile("Package: starlander\nStatus: install ok installed\nVersion: 0.9-1\n\n"
                        "Package: libpixel\nStatus: install ok installed\nVersion: 1.0-1\n\n"
                        "Package: wordcounter\nStatus: deinstall ok config-files\n"
                        "Version: 1.0-1\n\n");
    }

    void withoutACatalogTheWayToOneIsTold()
    {
        for (const char* words :
             { "categories", "list Games", "search x", "show 1", "show 1 --json" }) {
            const Result result = pakmart(words);
            QCOMPARE(result.status, 1);
            if (!QByteArray(words).endsWith("json"))
                QCOMPARE(result.out, QString());
            QVERIFY(result.err.contains(QStringLiteral("'pakmart update' fetches it")));
        }
        // Asking makes none.
        QCOMPARE(DataFiles(), QStringList());
    }

    // -- update

    void updateSavesFillsAndCounts()
    {
        const Result result = pakmart("update");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(saidOf(result),
                 QStringLiteral("Asking for the catalog\n"
                                "Filling the database\n"
                                "The catalog has 14 products in 4 categories.\n"));
        QVERIFY(ReadDataFile(QStringLiteral(".catalog")).startsWith("<catalog>"));
        QVERIFY(DataFiles().contains(QStringLiteral(".VACatalog.fil")));
    }

    void updateTellsWhatIsNewChangedAndGone()
    {
        QCOMPARE(pakmart("update").status, 0);
        QVERIFY(saidOf(pakmart("update"))
                    .endsWith(QLatin1String("Nothing has changed since the last update.\n")));
        QByteArray products = m_products;
        products.replace("Bring the ship down gently.", "Bring it down.");
        products.replace("Serial: 1002\n", "Serial: 7002\n");
        setProducts(products);
        const Result result = pakmart("update");
        QVERIFY2(saidOf(result).endsWith(QLatin1String(
                     "New since the last update, 1: Maze Runner (7002)\n"
                     "Changed, 1: Star Lander (1001)\nGone, 1: Maze Runner (1002)\n")),
                 qPrintable(result.out));
        setProducts(m_products);
        const QJsonObject all = json(pakmart("update --json")).object();
        QCOMPARE(all[QLatin1String("products")].toInt(), 14);
        QCOMPARE(all[QLatin1String("categories")].toInt(), 4);
        QCOMPARE(serials(all[QLatin1String("new")]), QList<int>{ 1002 });
        QCOMPARE(serials(all[QLatin1String("changed")]), QList<int>{ 1001 });
        QCOMPARE(serials(all[QLatin1String("gone")]), QList<int>{ 7002 });
    }

    void firstUpdateAsJsonHasEverythingNew()
    {
        const QJsonObject all = json(pakmart("update --json")).object();
        QCOMPARE(all[QLatin1String("new")].toArray().size(), 14);
    }

    void manyNewProductsAreShortened()
    {
        setProducts(Stanza(1, "Only", "only", "one"));
        QVERIFY(saidOf(pakmart("update"))
                    .endsWith(QLatin1String("The catalog has 1 product in 1 category.\n")));
        setProducts(m_products);
        const Result result = pakmart("update");
        QVERIFY2(result.out.contains(QLatin1String("New since the last update, 14: "))
                     && result.out.contains(QLatin1String(" and 4 more\n")),
                 qPrintable(result.out));
    }

    void emptyCatalogIsSaid()
    {
        setProducts("");
        QVERIFY(saidOf(pakmart("update"))
                    .endsWith(QLatin1String("The catalog has 0 products in 0 categories.\n")));
        QCOMPARE(pakmart("categories").out, QStringLiteral("The catalog is empty.\n"));
    }

    void serverThatIsGoneLeavesTheCatalog()
    {
        QCOMPARE(pakmart("update").status, 0);
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:1")));
        const Result result = pakmart("update");
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(QStringLiteral("The store cannot be reached.")));
        QCOMPARE(pakmart("show 1001").status, 0);
    }

    void brokenStoreFailsInItsWords()
    {
        setProducts("Name: x\n");
        const Result result = pakmart("update --json");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.out.startsWith(QLatin1String("{\"code\":\"refused-by-server\",")),
                 qPrintable(result.out));
        QVERIFY2(result.err.contains(QStringLiteral("The store is being repaired.")),
                 qPrintable(result.err));
    }

    void fileThatCannotBeSavedIsSaid()
    {
        QVERIFY(QDir().mkdir(DataPath(QStringLiteral(".catalog"))));
        const Result result = pakmart("update");
        QVERIFY(QDir().rmdir(DataPath(QStringLiteral(".catalog"))));
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(QStringLiteral("/usr/share/apps/vantrelagent/.catalog")));
    }

    void databaseThatCannotBeWrittenIsSaid()
    {
        QVERIFY(QDir().mkdir(DataPath(QStringLiteral(".VACatalog.k2"))));
        const Result result = pakmart("update");
        QVERIFY(QDir().rmdir(DataPath(QStringLiteral(".VACatalog.k2"))));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QStringLiteral("/usr/share/apps/vantrelagent/")),
                 qPrintable(result.err));
    }

    void interruptionEndsARequestThatGetsNoAnswer_data()
    {
        QTest::addColumn<QString>("command");
        for (const char* command : { "update", "sync" })
            QTest::newRow(command) << QString::fromLatin1(command);
    }
    void interruptionEndsARequestThatGetsNoAnswer()
    {
        QFETCH(QString, command);
        QTcpServer mute;
        QVERIFY(mute.listen(QHostAddress::LocalHost));
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:%1").arg(mute.serverPort())));
        QProcess process;
        process.start(QStringLiteral(PAKMART), { command });
        QVERIFY(mute.waitForNewConnection(30000));
        QTest::qWait(300);
        QCOMPARE(kill(pid_t(process.processId()), SIGINT), 0);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 30000);
        QCOMPARE(process.exitCode(), 130);
        QCOMPARE(DataFiles(), QStringList());
    }

    void interruptionEndsAnUpdateThatWaitsForAnother()
    {
        QCOMPARE(pakmart("update").status, 0);
        // The store would say that nothing has changed.
        QVERIFY(QFile::remove(DataPath(QStringLiteral(".catalogmark"))));
        QFile other(DataPath(QStringLiteral(".VACatalog.lock")));
        QVERIFY(other.open(QIODevice::ReadWrite));
        QCOMPARE(flock(other.handle(), LOCK_EX), 0);
        QProcess process;
        process.start(QStringLiteral(PAKMART), { QStringLiteral("update") });
        QByteArray said;
        QTRY_VERIFY_WITH_TIMEOUT((said += process.readAllStandardOutput())
                                     .contains("Waiting for another update of the catalog to end"),
                                 30000);
        QCOMPARE(kill(pid_t(process.processId()), SIGINT), 0);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 30000);
        QCOMPARE(process.exitCode(), 130);
        other.close();
        QVERIFY(saidOf(pakmart("update"))
                    .endsWith(QLatin1String("Nothing has changed since the last update.\n")));
    }

    // If an update is killed at any time, the catalog is completely the old or the new
    // one.
    void anUpdateThatIsKilledLeavesAWholeCatalog()
    {
        QCOMPARE(pakmart("update").status, 0);
        setProducts(m_products + "\n" + Stanza(7002, "Maze Runner", "maze", "x"));
        for (int ms = 10; ms < 300; ms += 15) {
            QProcess process;
            process.start(QStringLiteral(PAKMART), { QStringLiteral("update") });
            QVERIFY(process.waitForStarted());
            process.waitForFinished(ms);
            process.kill();
            QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 30000);
            QCOMPARE(CheckCatalog(DataFolder().toStdString() + '/').faults, Findings());
            QCOMPARE(pakmart("show 1001").status, 0);
        }
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("show 7002").status, 0);
    }

    // -- categories and lists

    void categoriesAreCounted()
    {
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("categories").out,
                 QStringLiteral("     3  Education\n     4  Games\n     4  Multimedia\n"
                                "     3  Office\n"));
        const QJsonArray all = json(pakmart("categories --json")).array();
        QCOMPARE(all.size(), 4);
        QCOMPARE(all[1].toObject(),
                 (QJsonObject{ { QStringLiteral("name"), QStringLiteral("Games") },
                               { QStringLiteral("products"), 4 } }));
    }

    void listIsByNameAndTakesAnyLetterCase()
    {
        QCOMPARE(pakmart("update").status, 0);
        const Result result = pakmart("list gAMES");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out,
                 QStringLiteral(
                     "  1003  Dice & Cards: Two games in one box: a throw of dice, and a hand of "
                     "cards.\n"
                     "  1002  Maze Runner: Draws a maze and the way through it.\n"
                     "  1001  Star Lander [upgradable]: Bring the ship down gently.\n"
                     "  9001  Warp Drive: Faster than light, once somebody has found the core.\n"));
        QCOMPARE(serials(json(pakmart("list Games --json")).array()),
                 (QList<int>{ 1003, 1002, 1001, 9001 }));
    }

    void categoryThatIsNotThereIsSaid()
    {
        QCOMPARE(pakmart("update").status, 0);
        const Result result = pakmart("list Board Games");
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(QStringLiteral("there is no category 'Board Games'")));
    }

    void categoryOfSeveralWordsAndLongCategoriesAreListed()
    {
        const QByteArray c60(60, 'c'), d76 = QByteArray(60, 'd') + QByteArray(16, 'e');
        const auto product = [](const char* serial, const QByteArray& category) {
            return QByteArray("Serial: ") + serial + "\nName: n" + serial
                + "\nCategory: " + category + "\nPackage: p" + serial + "\nDescription: d\n\n";
        };
        setProducts(product("1", "Board & Card Games") + product("2", c60) + product("3", d76));
        const Result update = pakmart("update");
        QVERIFY2(update.status == 0, qPrintable(update.err));
        QCOMPARE(pakmart("list Board & Card Games").out, QStringLiteral("     1  n1: d\n"));
        QCOMPARE(pakmart("list " + c60).out, QStringLiteral("     2  n2: d\n"));
        QCOMPARE(pakmart("list " + d76.left(60)).out, QStringLiteral("     3  n3: d\n"));
    }

    void hiddenProductsAreShownOnlyByTheirNumber()
    {
        setProducts(Stanza(1, "One", "one", "x") + Stanza(2, "Two", "two", "x", "Hidden: yes\n"));
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("categories").out, QStringLiteral("     1  Tools\n"));
        QCOMPARE(pakmart("list Tools").out, QStringLiteral("     1  One: x\n"));
        QCOMPARE(found("two"), QList<int>());
        QVERIFY(pakmart("show 2").out.contains(QStringLiteral("Hidden:       yes\n")));
    }

    // -- search

    void namesComeBeforeDescriptionsAndBeginningsBeforeMiddles()
    {
        setProducts(Stanza(1, "Painter", "brush", "a star of its kind")
                    + Stanza(2, "Superstar", "p2", "x") + Stanza(3, "Big Star", "p3", "x")
                    + Stanza(4, "Starship", "p4", "x") + Stanza(5, "Star", "p5", "x")
                    + Stanza(6, "Other", "starlib", "x")
                    + Stanza(7, "Last", "p7", "x\n the second line has a star")
                    + Stanza(8, "None", "p8", "nothing"));
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(found("STAR"), (QList<int>{ 5, 6, 4, 3, 2, 1, 7 }));
    }

    void allWordsMustBeThereAndTogetherIsBest()
    {
        setProducts(Stanza(1, "Editor", "ed", "for text") + Stanza(2, "Text Editor", "te", "x")
                    + Stanza(3, "Editor", "e3", "for pictures")
                    + Stanza(4, "Text", "t4", "editor"));
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(found("text editor"), (QList<int>{ 2, 1, 4 }));
        QCOMPARE(found("text   editor").size(), 3);
    }

    void applicationsComeBeforeLibraries()
    {
        const auto product = [](int serial, const char* name, const char* category) {
            return "Serial: " + QByteArray::number(serial) + "\nName: " + name
                + "\nCategory: " + category + "\nPackage: p" + QByteArray::number(serial)
                + "\nDescription: star\n\n";
        };
        setProducts(product(1, "star", "libs") + product(2, "star2", "contrib/libdevel")
                    + product(3, "star3", "Oldlibs") + product(4, "other", "Games")
                    + product(5, "star5", "libs and more") + product(6, "star6", "debug"));
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(found("star"), (QList<int>{ 5, 4, 1, 2, 3, 6 }));
    }

    void searchFindsLettersOfEveryKind()
    {
        setProducts(Stanza(1, "Möbius & <b>", "p1", "x") + Stanza(2, "Кости", "p2", "x")
                    + Stanza(3, "骰子 🎲", "p3", "x") + Stanza(4, "100% C++ it's \"a\"", "p4", "x"));
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(found("MÖBIUS"), QList<int>{ 1 });
        QCOMPARE(found("кОСТИ"), QList<int>{ 2 });
        QCOMPARE(found("子"), QList<int>{ 3 });
        QCOMPARE(found("🎲"), QList<int>{ 3 });
        QCOMPARE(found("c++"), QList<int>{ 4 });
        QCOMPARE(found("100%"), QList<int>{ 4 });
        QCOMPARE(found("it's \"a\""), QList<int>{ 4 });
        QCOMPARE(found("& <b>"), QList<int>{ 1 });
        QCOMPARE(found(".*"), QList<int>());
        QCOMPARE(pakmart("search möbius").out, QString::fromUtf8("     1  Möbius & <b>: x\n"));
    }

    void nothingFoundIsSaidAndNoFailure()
    {
        QCOMPARE(pakmart("update").status, 0);
        const Result result = pakmart("search warp engine");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out,
                 QStringLiteral("No product has 'warp engine' in its name, package or "
                                "description.\n"));
        QCOMPARE(pakmart("search warp engine --json").out, QStringLiteral("[]\n"));
    }

    // -- show

    void showTellsAllThatIsKnown()
    {
        QCOMPARE(pakmart("update").status, 0);
        const Result result = pakmart("show 1001");
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.startsWith(QLatin1String(
                     "Name:         Star Lander\nSerial:       1001\nPackage:      starlander\n"
                     "Version:      1.0-1\nInstalled:    0.9-1\nCategory:     Games\n")),
                 qPrintable(result.out));
        QVERIFY(result.out.contains(QStringLiteral("Needs:        libpixel\n")));
        QVERIFY(result.out.endsWith(
            QLatin1String("\n\n  Bring the ship down gently.\n  A landing computer shows each "
                          "second of the way down to the moon.\n")));
        const QJsonObject product = json(pakmart("show --json 1001")).array()[0].toObject();
        QCOMPARE(product[QLatin1String("package")].toString(), QStringLiteral("starlander"));
        QCOMPARE(product[QLatin1String("installed")].toString(), QStringLiteral("0.9-1"));
        QCOMPARE(product[QLatin1String("needs")].toArray(),
                 QJsonArray{ QStringLiteral("libpixel") });
        QCOMPARE(product[QLatin1String("summary")].toString(),
                 QStringLiteral("Bring the ship down gently."));
    }

    void showOfWhatIsNotInstalled()
    {
        QCOMPARE(pakmart("update").status, 0);
        QVERIFY(pakmart("show 1003").out.contains(QStringLiteral("Installed:    no\n")));
        QVERIFY(json(pakmart("show --json 1003"))
                    .array()[0]
                    .toObject()[QLatin1String("installed")]
                    .isNull());
    }

    void aNameIsOfAnyLetterCase()
    {
        QCOMPARE(pakmart("update").status, 0);
        const QString shown = pakmart("show 1003").out;
        QVERIFY(shown.contains(QStringLiteral("Dice & Cards")));
        for (const char* name : { "Dice & Cards", "dice & cards", "DICE &  CARDS", "dicecards" })
            QCOMPARE(
                DemoMachine::pakmart({ QStringLiteral("show"), QString::fromLatin1(name) }).out,
                shown);
    }

    void showOfNumbersThatAreNotThere()
    {
        QCOMPARE(pakmart("update").status, 0);
        for (const char* words : { "show 77", "show 99999999999" }) {
            const Result result = pakmart(words);
            QCOMPARE(result.status, 1);
            QVERIFY(result.err.contains(QStringLiteral("there is no product with the serial")));
        }
        const Result some = pakmart("show 77 1001 1002");
        QCOMPARE(some.status, 1);
        QVERIFY(some.out.contains(QStringLiteral("Star Lander"))
                && some.out.contains(QStringLiteral("Maze Runner")));
    }

    void textsOfTheStoreDoNotMoveTheCursor()
    {
        // The reference server refuses such texts.
        ScriptedServer server;
        server.answer("/getagentapi.php",
                      ScriptedServer::http(
                          "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><getagentapi>"
                          "<api><name>CAPIUpdateCatalog</name><url>"
                          + server.url("/c") + "</url></api></getagentapi></agentfunction>"));
        server.answer(
            "/c",
            ScriptedServer::http(
                "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\"><catalog>"
                "<category name=\"Tools\"><product name=\"Evil%1B[2J\"><serialnumber>1"
                "</serialnumber><packagename>evil</packagename><briefdescription>one%07two"
                "</briefdescription></product></category></catalog></agentfunction>"));
        QVERIFY(m_machine.useServer(QString::fromLatin1(server.url(""))));
        QProcess process; // the server needs this process's events
        process.start(QStringLiteral(PAKMART), { QStringLiteral("update") });
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000);
        QCOMPARE(process.exitCode(), 0);
        for (const char* words : { "list Tools", "search evil", "show 1" }) {
            const QString out = pakmart(words).out;
            QVERIFY(!out.isEmpty() && !out.contains(QLatin1Char(0x1b))
                    && !out.contains(QLatin1Char(7)));
        }
    }

    // -- fitting

    void linesFitTheColumns()
    {
        setProducts(m_products + "\n" + Stanza(1, "骰子骰子骰子骰子骰子骰子骰子骰子", "p3", "x"));
        QCOMPARE(pakmart("update").status, 0);
        qputenv("COLUMNS", "30");
        for (const char* words : { "list Games", "search a", "show 1001", "categories" }) {
            for (const QString& line : pakmart(words).out.split(QLatin1Char('\n')))
                QVERIFY2(line.size() <= 30, qPrintable(line));
        }
        QCOMPARE(pakmart("list Tools").out, QString::fromUtf8("     1  骰子骰子骰子骰子骰子…\n"));
        QVERIFY(pakmart("list Games")
                    .out.startsWith(QString::fromUtf8("  1003  Dice & Cards: Two gam…\n")));
        // JSON is for programs.
        QCOMPARE(serials(json(pakmart("list Games --json")).array()).size(), 4);
    }

    // -- installed

    void installedPackagesAreThoseOfTheStatusFile()
    {
        QCOMPARE(pakmart("installed").out,
                 QStringLiteral("libpixel    1.0-1\nstarlander  0.9-1\n"));
        const QJsonArray all = json(pakmart("installed --json")).array();
        QCOMPARE(all.size(), 2);
        QCOMPARE(all[1].toObject(),
                 (QJsonObject{ { QStringLiteral("package"), QStringLiteral("starlander") },
                               { QStringLiteral("version"), QStringLiteral("0.9-1") } }));
    }

    void patterns_data()
    {
        QTest::addColumn<QByteArray>("pattern");
        QTest::addColumn<QByteArray>("packages");
        QTest::newRow("part") << QByteArray("land") << QByteArray("starlander");
        QTest::newRow("letter case") << QByteArray("STAR") << QByteArray("starlander");
        QTest::newRow("pattern") << QByteArray("lib*") << QByteArray("libpixel");
        QTest::newRow("whole") << QByteArray("*l") << QByteArray("libpixel");
        QTest::newRow("not whole") << QByteArray("?ix*") << QByteArray("");
        QTest::newRow("set") << QByteArray("[ls]*") << QByteArray("libpixel starlander");
        QTest::newRow("literal") << QByteArray("lib.") << QByteArray("");
        QTest::newRow("removed") << QByteArray("wordcounter") << QByteArray("");
    }
    void patterns()
    {
        QFETCH(QByteArray, pattern);
        QFETCH(QByteArray, packages);
        QStringList names;
        for (const auto& entry : json(pakmart("installed --json " + pattern)).array())
            names << entry.toObject()[QLatin1String("package")].toString();
        QCOMPARE(names.join(QLatin1Char(' ')).toUtf8(), packages);
        const Result result = pakmart("installed " + pattern);
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out.startsWith(QLatin1String("No installed package is like '")),
                 packages.isEmpty());
    }

    void withoutAStatusFileNothingIsInstalled()
    {
        QVERIFY(QFile::remove(m_machine.root + QStringLiteral("/var/lib/dpkg/status")));
        QCOMPARE(pakmart("installed").out, QStringLiteral("No package is installed.\n"));
    }
};

QTEST_GUILESS_MAIN(CatalogCommandsTest)
#include "tst_catalogcommands.moc"
