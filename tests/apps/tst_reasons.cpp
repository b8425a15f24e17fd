// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A change that is not made has a sentence that says why, and what can be done.

#include "story.h"
#include "tests/common/plainuser.h"

class ReasonsTest : public QObject, Story
{
    Q_OBJECT

private:
    QByteArray index() const
    {
        QFile file(m_store + QStringLiteral("/pool/main/Packages"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void initTestCase()
    {
        begin({ { "good" },
                { "vital", "1.0", "", 100, "", "Essential: yes\n" },
                { "huge" },
                { "app", "1.0", "vital" } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("install --yes good vital").status, 0);
    }
    void cleanupTestCase() { end(); }

    void whatIsInstalledAlreadyIsNoFailure()
    {
        const Result result = pakmart("install good");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out, QStringLiteral("good 1.0 is installed already.\n"));
        QCOMPARE(result.status, 0);
    }

    void anEssentialPackageStays()
    {
        const Result result = pakmart("remove --yes --allow-removals vital");
        QCOMPARE(result.err, QStringLiteral("pakmart: The system does not work without: vital.\n"));
        QCOMPARE(result.status, 1);
        QCOMPARE(pakmart("remove --yes --json vital").json()[QLatin1String("code")].toString(),
                 QStringLiteral("essential-package"));
        QVERIFY(QFile::exists(m_root + QStringLiteral("/usr/bin/vital")));
    }

    // No disk has room for this.
    void aFullDiskIsNamed()
    {
        QByteArray text = index();
        const int at = int(text.indexOf("\nSize: ", text.indexOf("Package: huge")));
        const int end = int(text.indexOf('\n', at + 1));
        QTest::qWait(1100); // apt compares the times of lists by seconds
        QVERIFY(write("pool/main/Packages", text.replace(at, end - at, "\nSize: 9999999999999")));
        QCOMPARE(pakmart("update-sources").status, 0);
        const Result result = pakmart("install --yes huge");
        QVERIFY2(
            result.err.startsWith(
                QStringLiteral(
                    "pakmart: There is not enough space on the disk. You don't have enough free "
                    "space in %1/var/cache/apt/archives/. huge is not installed.\n")
                    .arg(m_root)),
            qPrintable(result.err));
        QCOMPARE(result.status, 1);
    }

    void anUnwritableFolderIsNamed()
    {
        const PlainUser user;
        const Result result = pakmart("update");
        QVERIFY2(result.err.endsWith(QStringLiteral("pakmart: A file could not be written.\n"
                                                    "  %1/usr/share/apps/vantrelagent/.catalog: "
                                                    "Permission denied\n")
                                         .arg(m_root)),
                 qPrintable(result.err));
        QCOMPARE(result.status, 1);
    }

    void whatIsNeededIsSaidBeforeADownload_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words :
             { "install --yes app", "remove --yes good", "install --download-only --yes app" })
            QTest::newRow(words) << QByteArray(words);
    }
    void whatIsNeededIsSaidBeforeADownload()
    {
        QFETCH(QByteArray, words);
        const PlainUser user;
        const Result result = pakmart(words.constData());
        QVERIFY2(
            result.err.contains(QStringLiteral("pakmart: nothing was changed: you may not write to "
                                               "%1/var/lib/dpkg. Run pakmart as root, or as the "
                                               "owner of that folder\n")
                                    .arg(m_root)),
            qPrintable(result.err));
        QVERIFY(!result.out.contains(QLatin1String("Downloading")));
        QCOMPARE(result.status, 1);
    }

    // The server does not speak TLS.
    void aSecureConnectionThatFailsIsSaid()
    {
        const QString url
            = m_server->url().replace(QLatin1String("http:"), QLatin1String("https:"));
        const QString advice
            = QStringLiteral("pakmart: the secure connection (https) failed: check the address of "
                             "the store, its certificate, and the clock of this machine\n");
        QVERIFY(write("sources",
                      "Type: dep\nEntry: deb " + url.toUtf8() + "/pool/main ./\nTimestamp: 99\n"));
        const Result sources = pakmart("update-sources");
        QVERIFY2(sources.err.startsWith(
                     QLatin1String("pakmart: The package lists could not be refreshed.\n")),
                 qPrintable(sources.err));
        // What apt says in Debian 12 and in Debian 13.
        QVERIFY2(sources.err.contains(QLatin1String("Could not handshake"))
                     || sources.err.contains(QLatin1String("SSL connection failed")),
                 qPrintable(sources.err));
        QVERIFY2(sources.err.contains(advice), qPrintable(sources.err));
        serverIs(url);
        const Result update = pakmart("update");
        QVERIFY2(update.err.contains(QLatin1String("pakmart: The store cannot be reached.\n")),
                 qPrintable(update.err));
        QVERIFY2(update.err.contains(advice), qPrintable(update.err));
        const Result status = pakmart("status");
        QVERIFY2(status.err.contains(QRegularExpression(
                     QStringLiteral("^pakmart: the store server cannot be reached: %1/"
                                    "getagentapi.php\n  127\\.0\\.0\\.1:\\d+: .*(SSL|TLS)")
                         .arg(url))),
                 qPrintable(status.err));
        serverIs(m_server->url());
    }
};

QTEST_GUILESS_MAIN(ReasonsTest)
#include "tst_reasons.moc"
