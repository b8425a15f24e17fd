// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool on the agent's databases.

#include "db/ccatalogfile.h"
#include "db/crufile.h"
#include "db/dbshared.h"
#include "tests/apps/dbtooltest.h"

#include <QDir>

#include <sys/stat.h>

using namespace Agent;

class DbtoolDatabasesTest : public DbtoolTest
{
    Q_OBJECT

private:
    const QString m_catalog = QString::fromStdString(CatalogFolder());
    const QString m_recent = QString::fromStdString(RecentFolder());

    static void append(CCatalogFile& catalog, int serial, const char* name, bool stored)
    {
        catalog.AddNew();
        catalog.setServerSerialNumber(serial);
        catalog.setName("Product");
        catalog.setPackageName(name);
        catalog.setDescription(QStringLiteral("What it is."));
        catalog.AddDependency("libc6");
        QCOMPARE(catalog.SaveRecord(), stored);
    }

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        append(catalog, 1001, "starlander", true);
        CRUFile list;
        QVERIFY(list.Create());
        list.SetDescription("Star Lander");
        list.SetServerSerialNumber(1001);
        QVERIFY(list.Update());
    }

    void soundDatabases()
    {
        for (const QString& words : { "catalog " + m_catalog, "recent " + m_recent }) {
            const Result check = run("check " + words);
            QCOMPARE(check.err, QString());
            QVERIFY(check.out.endsWith(QLatin1String("/: sound\n")));
            QCOMPARE(check.status, 0);
            const Result info = run("info " + words);
            QVERIFY(info.out.contains(QLatin1String("sound")));
            QVERIFY(info.out.contains(words.startsWith(QLatin1String("catalog"))
                                          ? QLatin1String("1 product\n")
                                          : QLatin1String("1 application\n")));
            QCOMPARE(info.status, 0);
        }
    }

    void dumpsAreForAPerson()
    {
        const Result products = run("dump catalog " + m_catalog);
        QCOMPARE(products.status, 0);
        QVERIFY(products.out.startsWith(QLatin1String("product 1: Product\n")));
        for (const char* line :
             { "  package       starlander\n", "  needs         libc6\n", "  | What it is.\n" })
            QVERIFY2(products.out.contains(QLatin1String(line)), line);
        // With and without the slash at the end.
        const Result items = run("dump recent " + m_recent.chopped(1));
        QCOMPARE(items.status, 0);
        QVERIFY(items.out.startsWith(QLatin1String("item 1: Star Lander\n")));
    }

    void whatWasRefusedIsNoDamage()
    {
        {
            CCatalogFile catalog;
            QVERIFY(catalog.Open());
            append(catalog, 1002, "starlander", false);
        }
        const Result check = run("check catalog " + m_catalog);
        QVERIFY(
            check.out.contains(QLatin1String("record 2 (Product) was refused by .VACatalog.k3")));
        QCOMPARE(check.status, 0);
    }

    void keyThatIsMissingIsDamage()
    {
        QVERIFY(QFile::remove(m_catalog + ".VACatalog.k2"));
        CloseIndex(MakeIndex(0, CCatalogFile::CATALOGIDXNAME2.c_str(), 50, 1));
        const Result check = run("check catalog " + m_catalog);
        QCOMPARE(check.out,
                 m_catalog + ": .VACatalog.fil: record 1 (Product) is not in .VACatalog.k2\n");
        QCOMPARE(check.status, 1);
        QCOMPARE(run("info catalog " + m_catalog).status, 1);
        const Result dump = run("dump catalog " + m_catalog);
        QCOMPARE(dump.status, 1);
        QVERIFY(dump.out.contains(QLatin1String("starlander")));
        QVERIFY(dump.err.contains(QLatin1String("is not in .VACatalog.k2")));
    }

    // An update may put the files into a folder of their own, and put links in their
    // place.
    void linksAreFollowed()
    {
        newFolder();
        const QDir folder(path(""));
        QVERIFY(folder.mkdir("a") && folder.mkdir("b"));
        const QStringList names = QDir(m_catalog).entryList(QDir::Files | QDir::Hidden);
        QVERIFY(names.size() >= 10);
        for (const QString& name : names) {
            QVERIFY(QFile::copy(m_catalog + name, path("a/" + name)));
            QVERIFY(QFile::copy(m_catalog + name, path("b/" + name)));
            QVERIFY(QFile::link("a/" + name, path(name)));
        }
        const Result check = run("check catalog " + path(""));
        QCOMPARE(check.out, path("") + "/: sound\n");
        QCOMPARE(check.status, 0);
        // A file from another update causes a remark.
        QVERIFY(QFile::remove(path(".VACatalog.k2")));
        QVERIFY(QFile::link("b/.VACatalog.k2", path(".VACatalog.k2")));
        const Result mixed = run("check catalog " + path(""));
        QVERIFY2(mixed.out.contains(".VACatalog.k2 leads to another folder than .VACatalog.fil: "),
                 qPrintable(mixed.out));
        QCOMPARE(mixed.out.count('\n'), 2);
        QCOMPARE(mixed.status, 0);
        QVERIFY(QFile::remove(path(".VACatalog.k2")));
        QVERIFY(QFile::link("nowhere", path(".VACatalog.k2")));
        QCOMPARE(run("check catalog " + path("")).status, 1);
    }

    // A pipe in place of a file does not block the tool.
    void aPipeIsNoFile()
    {
        const QByteArray path = (m_catalog + ".VACatalog.k2").toLocal8Bit();
        QVERIFY(QFile::remove(path));
        QCOMPARE(::mkfifo(path.constData(), 0600), 0);
        QCOMPARE(run("check catalog " + m_catalog).status, 1);
        QVERIFY(QFile::remove(path));
    }

    void wrongWords()
    {
        QCOMPARE(run("check catalog").status, 2);
        QCOMPARE(run("check catalog " + m_catalog + " -r 5").status, 2);
        QCOMPARE(run("check catalog /nonexistent").status, 2);
        QVERIFY(run("check recent /nonexistent").err.contains(QLatin1String("cannot read")));
        const Result repair = run("repair catalog " + m_catalog + " -o /nonexistent/new");
        QCOMPARE(repair.status, 2);
        QVERIFY(repair.err.contains(QLatin1String("one by one")));
    }
};

QTEST_GUILESS_MAIN(DbtoolDatabasesTest)
#include "tst_dbtool_databases.moc"
