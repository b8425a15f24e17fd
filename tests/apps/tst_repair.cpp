// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Everything that a repair finds is said before it is mended, and afterwards what became of it.

#include "story.h"
#include "tests/common/plainuser.h"

#include <QJsonArray>

class RepairTest : public QObject, Story
{
    Q_OBJECT

private:
    QString data(const char* name) const
    {
        return m_root + QStringLiteral("/usr/share/apps/vantrelagent/") + QLatin1String(name);
    }
    static QDir lists()
    {
        return QDir(QDir::homePath() + QStringLiteral("/.vos-apt-get/deps/lists"));
    }
    static void removeLists()
    {
        for (const QString& name : lists().entryList({ QStringLiteral("*_Packages*") }))
            QVERIFY(lists().remove(name));
    }
    // "damaged-catalog mended"
    static QStringList findingsOf(const Result& result)
    {
        QStringList words;
        const QJsonArray findings = result.json()[QLatin1String("findings")].toArray();
        for (const QJsonValue value : findings)
            words << value.toObject()[QLatin1String("kind")].toString() + QLatin1Char(' ')
                    + value.toObject()[QLatin1String("state")].toString();
        return words;
    }

private slots:
    void initTestCase()
    {
        begin({ { "good" }, { "bad", "1.0", "", 100, "", "", "postinst" } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("install --yes --package good").status, 0);
    }
    void cleanupTestCase() { end(); }
    void cleanup() { QCOMPARE(pakmart("repair --check").out, "Nothing is broken.\n"); }

    void whatIsBrokenBesidePackagesIsMendedToo_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("reply") << "leftover"
                               << m_root
                + "/tmp/1700000000_3.xml is left of a process that has "
                  "ended.";
        QTest::newRow("staging folder")
            << "leftover" << data(".VACatalog.gen-99") + " is left of a process that has ended.";
        QTest::newRow("database") << "damaged-catalog"
                                  << "The database of the catalog is damaged.";
        QTest::newRow("lists") << "missing-lists"
                               << "The package lists are missing.";
    }
    void whatIsBrokenBesidePackagesIsMendedToo()
    {
        QFETCH(QString, kind);
        QFETCH(QString, sentence);
        const QByteArray row = QTest::currentDataTag();
        const auto harm = [&] {
            QFile index(data(".VACatalog.k1"));
            const QString reply = m_root + QStringLiteral("/tmp/1700000000_3.xml");
            if (row == "reply")
                QVERIFY(WriteTextFile(reply, "<a/>")
                        && QFile::setPermissions(reply, QFile::ReadOwner | QFile::WriteOwner));
            else if (row == "staging folder")
                QVERIFY(QDir().mkpath(data(".VACatalog.gen-99")));
            else if (row == "database")
                QVERIFY(index.open(QIODevice::ReadWrite) && index.resize(100));
            else
                removeLists();
        };
        harm();
        const Result check = pakmart("repair --check");
        QCOMPARE(check.out, "Found:\n  " + sentence + "\nNothing was changed.\n");
        QCOMPARE(check.status, 1);
        const Result declined = pakmart("repair", "n\n");
        QCOMPARE(declined.status, 3);
        QVERIFY2(declined.out.endsWith(QLatin1String("Nothing was repaired.\n")),
                 qPrintable(declined.out));
        const Result found = pakmart("repair --check --json");
        QCOMPARE(findingsOf(found), QStringList(kind + " found"));
        QCOMPARE(found.json()[QLatin1String("code")].toString(), QStringLiteral("other"));
        const Result result = pakmart("repair", "y\n");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out,
                 "Found:\n  " + sentence + "\nRepair? [y/N] \nMended: " + sentence + '\n');
        QCOMPARE(result.status, 0);
        harm();
        const Result json = pakmart("repair --yes --json");
        QCOMPARE(findingsOf(json), QStringList(kind + " mended"));
        QCOMPARE(json.json()[QLatin1String("code")].toString(), QStringLiteral("none"));
        QVERIFY(json.json()[QLatin1String("done")].toBool());
    }

    // Only with the lists can the second preview be made, which is shown before it is done.
    void aPackageIsMendedAfterItsLists()
    {
        removeLists();
        SetStatusWords("good", "install reinstreq half-installed");
        const Result declined = pakmart("repair", "y\nn\n");
        QCOMPARE(declined.err, QString());
        QVERIFY2(declined.out.contains(QLatin1String("Mended: The package lists are missing.\n")),
                 qPrintable(declined.out));
        QVERIFY2(declined.out.contains(QLatin1String("To be installed again:\n  good  1.0")),
                 qPrintable(declined.out));
        QCOMPARE(declined.status, 3);
        QCOMPARE(StatusWords("good"), QByteArray("install reinstreq half-installed"));
        removeLists();
        const Result result = pakmart("repair --yes --json");
        QCOMPARE(findingsOf(result),
                 (QStringList{ "missing-lists mended", "broken-package mended" }));
        QCOMPARE(result.status, 0);
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
    }

    void whatIsNeededIsSaidBeforeAnything()
    {
        const QByteArray halfInstalled = "install reinstreq half-installed";
        SetStatusWords("good", halfInstalled);
        {
            const PlainUser user;
            const Result result = pakmart("repair", "y\n");
            QVERIFY2(result.err.endsWith(
                         QStringLiteral("pakmart: nothing was changed: you may not write to "
                                        "%1/var/lib/dpkg. Run pakmart as root, or as the owner of "
                                        "that folder\n")
                             .arg(m_root)),
                     qPrintable(result.err));
            QVERIFY2(!result.out.contains(QLatin1String("Repair?")), qPrintable(result.out));
            QCOMPARE(result.status, 1);
        }
        QCOMPARE(StatusWords("good"), halfInstalled);
        QCOMPARE(pakmart("repair --yes").status, 0);
    }

    void listsOfAnotherSourceAreStale()
    {
        const QString list = lists().entryList({ QStringLiteral("*_Packages") }).value(0);
        QVERIFY(!list.isEmpty());
        QVERIFY(lists().rename(list, QStringLiteral("old.example_pool_._Packages")));
        const Result result = pakmart("repair --yes");
        QVERIFY2(result.out.contains(QLatin1String(
                     "Mended: The package lists are not those of the package sources.\n")),
                 qPrintable(result.out + result.err));
        QVERIFY(QFile::exists(lists().filePath(list)));
    }

    void whatCannotBeMendedIsSaidWithTheReason()
    {
        removeLists();
        m_server.reset();
        const Result result = pakmart("repair --yes");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(
                     QLatin1String("pakmart: not mended: The package lists are missing. ")),
                 qPrintable(result.err));
        const Result json = pakmart("repair --yes --json");
        QCOMPARE(findingsOf(json), QStringList("missing-lists not-mended"));
        QVERIFY(!json.json()[QLatin1String("done")].toBool());
        serve();
        QCOMPARE(pakmart("repair --yes").status, 0);
    }

    void aFailingScriptIsNamedWithTheWayOut()
    {
        QCOMPARE(pakmart("install --yes --package bad").status, 1);
        QVERIFY(QDir().mkpath(data(".VACatalog.gen-99")));
        const Result result = pakmart("repair --yes");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(
                     QLatin1String("A script of bad fails: 'pakmart remove bad' removes it.")),
                 qPrintable(result.err));
        QVERIFY2(result.out.contains(data(".VACatalog.gen-99")), qPrintable(result.out));
        QVERIFY(!QFile::exists(data(".VACatalog.gen-99")));
        const Result json = pakmart("repair --yes --json");
        QCOMPARE(findingsOf(json), QStringList("failing-script not-mended"));
        QCOMPARE(json.json()[QLatin1String("code")].toString(), QStringLiteral("script-failed"));
        QCOMPARE(pakmart("remove --yes bad").status, 0);
    }
};

QTEST_GUILESS_MAIN(RepairTest)
#include "tst_repair.moc"
