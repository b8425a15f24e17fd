// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What is broken is found and mended, and several pakmarts take turns.

#include "story.h"

#include <fcntl.h>
#include <unistd.h>

class WayOutTest : public QObject, Story
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        begin({ { "good" },
                { "good2" },
                { "good3" },
                { "bad", "1.0", "", 100, "", "", "postinst" } });
        QCOMPARE(pakmart("install --yes --package good").status, 0);
    }
    void cleanupTestCase() { end(); }

    void nothingIsBroken()
    {
        const Result result = pakmart("repair");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out, QStringLiteral("Nothing is broken.\n"));
        QCOMPARE(result.status, 0);
        QCOMPARE(pakmart("repair --check").status, 0);
    }

    void whatIsThereInPartIsFoundAndMended_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("done");
        QTest::newRow("half-installed")
            << QByteArray("install reinstreq half-installed") << "To be installed again:\n  good "
            << "good 1.0 is installed again.\n";
        QTest::newRow("unpacked") << QByteArray("install ok unpacked") << "To be set up:\n  good "
                                  << "good 1.0 is set up.\n";
    }
    void whatIsThereInPartIsFoundAndMended()
    {
        QFETCH(QByteArray, words);
        QFETCH(QString, shown);
        QFETCH(QString, done);
        SetStatusWords("good", words);
        const Result check = pakmart("repair --check");
        QCOMPARE(check.status, 1);
        const QString found = QStringLiteral("Found:\n  good is not fully installed (its state is "
                                             "'%1').\n")
                                  .arg(QString::fromLatin1(words));
        QVERIFY2(check.out.startsWith(found + shown), qPrintable(check.out));
        QCOMPARE(StatusWords("good"), words);
        QCOMPARE(pakmart("repair", "n\n").status, 3);
        QCOMPARE(StatusWords("good"), words);
        const Result result = pakmart("repair", "y\n");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.endsWith(done), qPrintable(result.out));
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
    }

    void aFailingScriptIsNamedWithAWayOut()
    {
        const Result result = pakmart("install --yes --package bad");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("pakmart: A script of a package failed. ")),
                 qPrintable(result.err));
        QVERIFY2(result.err.contains(QLatin1String("'pakmart remove bad' removes it\n")),
                 qPrintable(result.err));
        QCOMPARE(pakmart("repair --yes").status, 1);
        QCOMPARE(pakmart("remove --yes bad").status, 0);
        QCOMPARE(StatusWords("bad"), QByteArray("none"));
        QCOMPARE(pakmart("repair --check").status, 0);
    }

    void threeAtOnceAllSucceed()
    {
        QCOMPARE(pakmart("remove --yes good").status, 0);
        QProcess first, second, third;
        start(first, "install --yes --package good");
        start(second, "install --yes --package good2");
        start(third, "install --yes --package good3");
        for (QProcess* process : { &first, &second, &third }) {
            const Result result = resultOf(*process);
            QVERIFY2(result.status == 0, qPrintable(result.out + result.err));
            QCOMPARE(result.err, QString());
            const QString name = process->arguments().last();
            // Who waits says so.
            QString out = seen(result.out);
            out.remove(QRegularExpression(QStringLiteral("^Waiting for .*\n"),
                                          QRegularExpression::MultilineOption));
            QVERIFY2(out.startsWith(QStringLiteral("To be installed:\n  %1  1.0\n").arg(name)),
                     qPrintable(out));
            QVERIFY2(
                out.endsWith(QStringLiteral("Setting up %1\n%1 1.0 is installed.\n").arg(name)),
                qPrintable(out));
        }
        for (const char* name : { "good", "good2", "good3" })
            QCOMPARE(StatusWords(name), QByteArray("install ok installed"));
    }

    void aHeldLockIsWaitedForAndNamed()
    {
        const QString file = m_root + QStringLiteral("/var/lib/dpkg/lock-frontend");
        const int lock
            = open(QFile::encodeName(file).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
        struct flock all = {};
        all.l_type = F_WRLCK;
        QVERIFY(fcntl(lock, F_SETLK, &all) == 0);
        QProcess process;
        start(process, "remove --yes good3");
        QByteArray heard;
        QTRY_VERIFY_WITH_TIMEOUT(
            (heard += process.readAllStandardOutput()).contains("Waiting for the package lock"),
            60000);
        QCOMPARE(process.state(), QProcess::Running);
        close(lock);
        const Result result = resultOf(process);
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.endsWith(QLatin1String("good3 is removed.\n")));
    }

    void withoutASessionBusAllIsTheSame()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QStringLiteral("unix:path=/nonexistent"));
        QProcess process;
        process.setProcessEnvironment(environment);
        start(process, "install --yes 3");
        const Result result = resultOf(process);
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.endsWith(QLatin1String("good3 1.0 is installed.\n")),
                 qPrintable(result.out));
    }
};

QTEST_GUILESS_MAIN(WayOutTest)
#include "tst_wayout.moc"
