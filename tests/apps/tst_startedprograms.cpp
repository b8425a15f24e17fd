// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// "recent --run" starts nothing but a program that an installed package has brought, whatever
// path the store sends.

#include "story.h"

class StartedProgramsTest : public QObject, Story
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        begin({ { "good" } });
        // What would be started if the path were believed.
        const QString script = m_root + QStringLiteral("/usr/bin/other");
        QVERIFY(WriteTextFile(script, "#!/bin/sh\n: > " + QFile::encodeName(mark()) + '\n'));
        QVERIFY(QFile::setPermissions(script, QFile::Permissions(0x7755)));
    }
    void cleanupTestCase() { end(); }

    void onlyAProgramOfAPackageIsStarted_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<bool>("starts");
        QTest::newRow("its own") << QByteArray("/usr/bin/good") << true;
        QTest::newRow("of no package") << QByteArray("/usr/bin/other") << false;
        QTest::newRow("through a folder above") << QByteArray("/usr/bin/../bin/other") << false;
        QTest::newRow("its own, in a roundabout way")
            << QByteArray("/usr/bin/../bin/good") << false;
        QTest::newRow("relative") << QByteArray("usr/bin/other") << false;
        QTest::newRow("with an argument") << QByteArray("/usr/bin/good /usr/bin/other") << false;
        QTest::newRow("a folder of a package") << QByteArray("/usr/bin") << false;
    }
    void onlyAProgramOfAPackageIsStarted()
    {
        QFETCH(QByteArray, path);
        QFETCH(bool, starts);
        QVERIFY(write("products",
                      "Serial: 1\nName: The good\nCategory: Games\nPackage: good\nProgram: Good\n"
                      "Path: "
                          + path + "\nDescription: d\n\n"));
        pakmart("forget 1");
        pakmart("remove --yes good");
        QCOMPARE(pakmart("install --yes 1").status, 0);
        const Result result = pakmart("recent --run 1");
        QCOMPARE(result.status, starts ? 0 : 1);
        if (!starts)
            QVERIFY2(result.err.startsWith(QLatin1String("pakmart: Good cannot be started: ")),
                     qPrintable(result.err));
        QTest::qWait(200);
        QVERIFY(!QFile::exists(mark()));
    }

private:
    QString mark() const { return m_dir + QStringLiteral("/started"); }
};

QTEST_GUILESS_MAIN(StartedProgramsTest)
#include "tst_startedprograms.moc"
