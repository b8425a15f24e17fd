// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// `pakmart aisles` and `pakmart sync`, on the demo store.

#include "demomachine.h"

#include "tests/common/datafolder.h"
#include "tests/common/statusfile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

class ShelvesTest : public QObject
{
    Q_OBJECT

private:
    using Result = DemoMachine::Result;

    DemoMachine m_machine;

    static Result pakmart(const char* words)
    {
        return DemoMachine::pakmart(QString::fromLatin1(words).split(QLatin1Char(' ')));
    }
    static QJsonArray json(const Result& result)
    {
        return QJsonDocument::fromJson(result.out.toUtf8()).array();
    }

private slots:
    void initTestCase() { QVERIFY(m_machine.setUp()); }
    void init()
    {
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
        for (const QString& name : DataFiles())
            QVERIFY(QFile::remove(DataPath(name)));
        QVERIFY(m_machine.useServer(m_machine.url()));
        WriteStatusFile("Package: starlander\nStatus: install ok installed\n\n"
                        "Package: wordcounter\nStatus: deinstall ok config-files\n\n");
    }

    void aislesAreShownWithTheirCategories()
    {
        const Result result = pakmart("aisles");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out,
                 QStringLiteral("Asking for the aisles\n"
                                "Play: For long evenings.\n"
                                "    10  Games\n"
                                "    30  Multimedia\n"
                                "Work: For the days between them.\n"
                                "    20  Office\n"
                                "School & Home\n"
                                "    40  Education\n"));
        QVERIFY(
            ReadDataFile(QStringLiteral(".aisles")).startsWith("<aisles><aisle name=\"Play\">"));
    }

    void aislesAsJson()
    {
        const Result result = pakmart("aisles --json");
        QCOMPARE(result.status, 0);
        const QJsonArray aisles = json(result);
        QCOMPARE(aisles.size(), 3);
        const QJsonObject play = aisles[0].toObject();
        QCOMPARE(play[QLatin1String("name")].toString(), QStringLiteral("Play"));
        QCOMPARE(play[QLatin1String("description")].toString(),
                 QStringLiteral("For long evenings."));
        const QJsonArray categories = play[QLatin1String("categories")].toArray();
        QCOMPARE(categories.size(), 2);
        QCOMPARE(categories[1].toObject()[QLatin1String("serial")].toInt(), 30);
        QCOMPARE(categories[1].toObject()[QLatin1String("name")].toString(),
                 QStringLiteral("Multimedia"));
    }

    void syncShowsWhatIsInstalledOfTheAccount()
    {
        const Result result = pakmart("sync");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out,
                 QStringLiteral("Asking for the profile of this machine\n"
                                "  1001  Star Lander (starlander)\n"));
        QCOMPARE(ReadDataFile(QStringLiteral(".profile")),
                 QByteArray("<profile><application><name>Star%20Lander</name>\n"
                            "<packagename>starlander</packagename>\n"
                            "<serialnumber>1001</serialnumber>\n</application>\n</profile>\n"));
    }

    void syncAsJson()
    {
        const QJsonArray applications = json(pakmart("sync --json"));
        QCOMPARE(applications.size(), 1);
        QCOMPARE(applications[0].toObject(),
                 (QJsonObject{ { QStringLiteral("serial"), 1001 },
                               { QStringLiteral("name"), QStringLiteral("Star Lander") },
                               { QStringLiteral("package"), QStringLiteral("starlander") } }));
    }

    void nothingInstalledIsSaid()
    {
        WriteStatusFile("");
        const Result result = pakmart("sync");
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.endsWith(
            QLatin1String("Nothing of the account is installed on this machine.\n")));
        QCOMPARE(pakmart("sync --json").out, QStringLiteral("[]\n"));
    }

    void storeWithoutAislesIsSaid()
    {
        const QString file = m_machine.store() + QStringLiteral("/aisles");
        QVERIFY(QFile::rename(file, file + QStringLiteral(".away")));
        const Result result = pakmart("aisles");
        QVERIFY(QFile::rename(file + QStringLiteral(".away"), file));
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.endsWith(QLatin1String("The store has no aisles.\n")));
    }

    void brokenStoreFailsInItsWords()
    {
        const QString file = m_machine.store() + QStringLiteral("/aisles");
        QVERIFY(QFile::rename(file, file + QStringLiteral(".away")));
        QVERIFY(WriteTextFile(file, "Name: x\n"));
        const Result result = pakmart("aisles --json");
        QVERIFY(QFile::remove(file));
        QVERIFY(QFile::rename(file + QStringLiteral(".away"), file));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.out.startsWith(QLatin1String("{\"code\":\"refused-by-server\",")),
                 qPrintable(result.out));
        QVERIFY(result.err.contains(QStringLiteral("The store is being repaired.")));
        QCOMPARE(DataFiles(), QStringList());
    }

    void serverThatIsGoneFailsInWords()
    {
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:1")));
        for (const char* words : { "aisles", "sync", "sync --json" }) {
            const Result result = pakmart(words);
            QCOMPARE(result.status, 1);
            QVERIFY(result.err.contains(QStringLiteral("The store cannot be reached.")));
            QVERIFY(!result.out.contains(QLatin1Char('[')));
        }
    }

    void dataFolderThatCannotBeWrittenIsSaid()
    {
        for (const char* words : { "aisles", "sync" }) {
            const QString file = QLatin1String(words[0] == 'a' ? ".aisles" : ".profile");
            // There is a folder in place of the file, so that writing fails for root as
            // well.
            QVERIFY(QDir().mkdir(DataPath(file)));
            const Result result = pakmart(words);
            QVERIFY(QDir().rmdir(DataPath(file)));
            QCOMPARE(result.status, 1);
            QVERIFY2(result.err.contains(QLatin1String("/usr/share/apps/vantrelagent/") + file),
                     qPrintable(result.err));
        }
    }
};

QTEST_GUILESS_MAIN(ShelvesTest)
#include "tst_shelves.moc"
