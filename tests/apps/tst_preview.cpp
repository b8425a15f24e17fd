// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a change would do is shown first, and done only with the right consent.

#include "story.h"

#include <QJsonArray>

class PreviewTest : public QObject, Story
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        begin({ { "good" },
                { "lib" },
                { "app", "1.0", "lib" },
                { "rival", "1.0", "", 100, "", "Conflicts: lib\nInstalled-Size: 2048\n" } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("install --yes app").status, 0);
    }
    void cleanupTestCase() { end(); }

    void aConflictShowsWhatWouldGo()
    {
        const QByteArray before = StatusText();
        const Result result = pakmart("install rival", "n\n");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.startsWith(
                     QLatin1String("To be installed:\n  rival  1.0  2.00 MiB\nTo be REMOVED:\n"
                                   "  app  1.0  needs lib\n"
                                   "  lib  1.0  conflicts with rival\nTo download: ")),
                 qPrintable(result.out));
        QVERIFY2(
            result.out.endsWith(QLatin1String("Remove what was not named, too: app, lib? [y/N] \n"
                                              "Nothing was installed.\n")),
            qPrintable(result.out));
        QCOMPARE(result.status, 3);
        QCOMPARE(StatusText(), before);
    }

    void aDryRunChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words : { "install --dry-run good", "remove --dry-run lib",
                                   "reinstall --dry-run app", "install --yes --dry-run rival" })
            QTest::newRow(words) << QByteArray(words);
    }
    void aDryRunChangesNothing()
    {
        QFETCH(QByteArray, words);
        const QByteArray before = StatusText();
        const Result result = pakmart(words.constData());
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.startsWith(QLatin1String("To be ")), qPrintable(result.out));
        QVERIFY2(result.out.endsWith(QLatin1String("\nNothing was changed.\n")),
                 qPrintable(result.out));
        QCOMPARE(StatusText(), before);
    }

    void programsGetThePreviewAsJson()
    {
        const Result result = pakmart("remove --dry-run --json lib");
        QCOMPARE(result.status, 0);
        const QJsonObject json = result.json();
        QCOMPARE(json[QStringLiteral("code")].toString(), QStringLiteral("none"));
        QCOMPARE(json[QStringLiteral("done")], QJsonValue(false));
        const QJsonArray changes = json[QStringLiteral("changes")].toArray();
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes[0].toObject(),
                 (QJsonObject{ { QStringLiteral("package"), QStringLiteral("app") },
                               { QStringLiteral("action"), QStringLiteral("remove") },
                               { QStringLiteral("from"), QStringLiteral("1.0") },
                               { QStringLiteral("to"), QJsonValue() },
                               { QStringLiteral("reason"), QStringLiteral("needs lib") },
                               { QStringLiteral("requested"), false },
                               { QStringLiteral("essential"), false },
                               { QStringLiteral("download"), 0 } }));
    }

    void aFailureIsAnObject_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<QString>("code");
        QTest::newRow("unknown") << QByteArray("install --yes --json nosuch") << "unknown-package";
        QTest::newRow("removals") << QByteArray("remove --yes --json lib")
                                  << "removals-not-allowed";
        QTest::newRow("not installed") << QByteArray("remove --yes --json good") << "not-installed";
        QTest::newRow("product") << QByteArray("install --yes --json 77") << "unknown-product";
        QTest::newRow("show") << QByteArray("depends --json nosuch") << "not-installed";
    }
    void aFailureIsAnObject()
    {
        QFETCH(QByteArray, words);
        QFETCH(QString, code);
        const Result result = pakmart(words.constData());
        QCOMPARE(result.status, 1);
        QCOMPARE(result.out.count(QLatin1Char('\n')), 1);
        QCOMPARE(result.json()[QStringLiteral("code")].toString(), code);
        QVERIFY(!result.json()[QStringLiteral("sentence")].toString().isEmpty());
        QVERIFY(result.json().contains(QStringLiteral("details")));
    }

    // By number, by the product's name in any case, by package.
    void aProductHasThreeNames()
    {
        for (const char* words : { "install --dry-run 1", "install --dry-run good" })
            QVERIFY2(pakmart(words).out.contains(QLatin1String("\n  good  1.0\n")), words);
        QProcess process;
        process.start(
            QStringLiteral(PAKMART),
            { QStringLiteral("install"), QStringLiteral("--dry-run"), QStringLiteral("the GOOD") });
        QVERIFY(resultOf(process).out.contains(QLatin1String("\n  good  1.0\n")));
        const Result typo = pakmart("install --yes godo");
        QCOMPARE(typo.status, 1);
        QVERIFY(!typo.err.contains(QLatin1String("similar"))); // two letters of four differ
        const Result near = pakmart("install --yes rivall");
        QVERIFY2(near.err.contains(QLatin1String("pakmart: similar to 'rivall': rival\n")),
                 qPrintable(near.err));
    }

    void whoNeedsWhom()
    {
        QCOMPARE(pakmart("depends app").out, QStringLiteral("app needs lib\n"));
        QCOMPARE(pakmart("why lib").out, QStringLiteral("lib is needed by app\n"));
        QCOMPARE(pakmart("why app").out, QStringLiteral("No installed package needs app.\n"));
    }

    void whatIsOnHoldStays()
    {
        const Result held = pakmart("hold app");
        QCOMPARE(held.err, QString());
        QCOMPARE(held.out, QStringLiteral("app is on hold.\n"));
        QCOMPARE(StatusWords("app"), QByteArray("hold ok installed"));
        QCOMPARE(pakmart("unhold app").out, QStringLiteral("app is not on hold any more.\n"));
        QCOMPARE(StatusWords("app"), QByteArray("install ok installed"));
        QCOMPARE(pakmart("hold good").status, 1);
    }

    void installedProductsAreListedAndMarked()
    {
        QCOMPARE(
            pakmart("list --installed").out,
            QStringLiteral("     3  The app [installed]: d\n     2  The lib [installed]: d\n"));
        QCOMPARE(pakmart("list --upgradable").out, QStringLiteral("No product can be upgraded.\n"));
        QVERIFY(pakmart("search good").out.contains(QLatin1String("     1  The good: d\n")));
    }

    void outputThatCannotBeWrittenIsAFailure_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words : { "list Games", "installed --json", "install --dry-run good" })
            QTest::newRow(words) << QByteArray(words);
    }
    void outputThatCannotBeWrittenIsAFailure()
    {
        QFETCH(QByteArray, words);
        QProcess process;
        process.setStandardOutputFile(QStringLiteral("/dev/full"));
        start(process, words.constData());
        const Result result = resultOf(process);
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("the output cannot be written")),
                 qPrintable(result.err));
    }

    void aReinstallBringsBackWhatWasLost()
    {
        const QString file = m_root + QStringLiteral("/usr/bin/app");
        QVERIFY(QFile::remove(file));
        const Result result = pakmart("reinstall --yes app");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.endsWith(QLatin1String("app 1.0 is installed again.\n")),
                 qPrintable(result.out));
        QVERIFY(QFile::exists(file));
    }

    void theConsentForRemovalsIsItsOwn()
    {
        const Result result = pakmart("install --yes --allow-removals rival");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.endsWith(
                     QLatin1String("rival 1.0 is installed.\napp is removed.\nlib is removed.\n")),
                 qPrintable(result.out));
        QCOMPARE(StatusWords("lib"), QByteArray("none"));
        QVERIFY(pakmart("history").out.contains(QLatin1String("  removed: ")));
    }
};

QTEST_GUILESS_MAIN(PreviewTest)
#include "tst_preview.moc"
