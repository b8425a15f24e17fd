// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Downloads without an install, removals of what nothing needs, and changes that are undone.

#include "story.h"

#include <QJsonArray>

class VerbsTest : public QObject, Story
{
    Q_OBJECT

private:
    QString archive(const char* name) const
    {
        return m_root + QStringLiteral("/var/cache/apt/archives/") + QLatin1String(name);
    }
    static QJsonArray history()
    {
        return QJsonDocument::fromJson(pakmart("history --json").out.toUtf8()).array();
    }

private slots:
    void initTestCase()
    {
        begin({ { "good" },
                { "lib" },
                { "app", "1.0", "lib" },
                { "other" },
                { "rival", "1.0", "", 100, "", "Conflicts: other\n" } });
    }
    void cleanupTestCase() { end(); }

    void aDownloadChangesNothingAndTheInstallNeedsNoMore()
    {
        const QByteArray before = StatusText();
        const Result declined = pakmart("install --download-only good", "n\n");
        QCOMPARE(declined.status, 3);
        QVERIFY2(
            declined.out.endsWith(QLatin1String("Download? [y/N] \nNothing was downloaded.\n")),
            qPrintable(declined.out));
        QVERIFY(!QFile::exists(archive("good_1.0_all.deb")));
        const Result result = pakmart("install --download-only --yes good");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.endsWith(QLatin1String("good 1.0 is downloaded.\n")),
                 qPrintable(result.out));
        QCOMPARE(result.status, 0);
        QVERIFY(QFile::exists(archive("good_1.0_all.deb")));
        QCOMPARE(StatusText(), before);
        QVERIFY(history().isEmpty());
        const QJsonObject json = pakmart("install --download-only --yes --json good").json();
        QVERIFY(json[QLatin1String("downloaded")].toBool());
        QVERIFY(!json[QLatin1String("done")].toBool());
        const QString deb = m_store + QStringLiteral("/pool/main/good_1.0_all.deb");
        QVERIFY(QFile::rename(deb, deb + QStringLiteral(".away")));
        const Result install = pakmart("install --yes good");
        QVERIFY(QFile::rename(deb + QStringLiteral(".away"), deb));
        QCOMPARE(install.err, QString());
        QVERIFY2(install.out.endsWith(QLatin1String("good 1.0 is installed.\n")),
                 qPrintable(install.out));
    }

    void aProductThatIsNotRecordedIsSaid()
    {
        QVERIFY(!pakmart("install --yes --json 4").json().contains(QLatin1String("recorded")));
        QCOMPARE(pakmart("remove --yes other").status, 0);
        // Only a product with a program belongs into the list.
        QVERIFY(write("products",
                      "Serial: 4\nName: The other\nCategory: Games\nPackage: other\n"
                      "Program: Other\nPath: /usr/bin/other\nDescription: d\n\n"));
        QVERIFY(pakmart("install --yes --json 4").json()[QLatin1String("recorded")].toBool());
        QCOMPARE(pakmart("remove --yes other").status, 0);
        const QString folder = QDir::homePath() + QStringLiteral("/.kde/share/apps/vantrelagent");
        QVERIFY(QDir(folder).exists());
        QVERIFY(QDir().rename(folder, folder + QStringLiteral(".away")));
        QVERIFY(WriteTextFile(folder, "not a folder"));
        const Result json = pakmart("install --yes --json 4");
        QCOMPARE(json.status, 0);
        QVERIFY(json.json().contains(QLatin1String("recorded")));
        QVERIFY(!json.json()[QLatin1String("recorded")].toBool());
        QCOMPARE(pakmart("remove --yes other").status, 0);
        const Result result = pakmart("install --yes 4");
        QVERIFY(QFile::remove(folder));
        QVERIFY(QDir().rename(folder + QStringLiteral(".away"), folder));
        QCOMPARE(result.err,
                 QStringLiteral("pakmart: installed, but not entered in the list of "
                                "recently used applications, which could not be "
                                "written: The other\n"));
        QVERIFY2(result.out.endsWith(QLatin1String("other 1.0 is installed.\n")),
                 qPrintable(result.out));
        QCOMPARE(result.status, 0);
        QCOMPARE(pakmart("remove --yes other").status, 0);
    }

    // It has the right size, and apt-get would not look closer.
    void aDamagedArchiveIsNoDownload()
    {
        QCOMPARE(pakmart("install --download-only --yes other").status, 0);
        QFile file(archive("other_1.0_all.deb"));
        QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(file.size() - 5)
                && file.write("#") == 1);
        file.close();
        const Result result = pakmart("install --download-only --yes other");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(archive("other_1.0_all.deb")), qPrintable(result.err));
        QVERIFY(QFile::remove(file.fileName()));
    }

    void aDownloadAsksForNoRemoval()
    {
        QCOMPARE(pakmart("install --yes other").status, 0);
        const Result result = pakmart("install --download-only --yes rival");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY(QFile::exists(archive("rival_1.0_all.deb")));
        QCOMPARE(StatusWords("other"), QByteArray("install ok installed"));
        QCOMPARE(pakmart("remove --yes other").status, 0);
    }

    void aBrokenPackageIsLeftAloneByADownload()
    {
        SetStatusWords("good", "install reinstreq half-installed");
        QVERIFY(
            pakmart("install --download-only --yes app")
                .out.endsWith(QLatin1String("app 1.0 is downloaded.\nlib 1.0 is downloaded.\n")));
        QCOMPARE(StatusWords("good"), QByteArray("install reinstreq half-installed"));
        SetStatusWords("good", "install ok installed");
    }

    void whatNothingNeedsAnyMoreIsRemoved()
    {
        const Result needed = pakmart("autoremove");
        QCOMPARE(needed.err, QString());
        QCOMPARE(needed.out, QStringLiteral("Every package is needed.\n"));
        QCOMPARE(pakmart("install --yes app").status, 0);
        QCOMPARE(pakmart("autoremove").out, QStringLiteral("Every package is needed.\n"));
        QCOMPARE(pakmart("remove --yes app").status, 0);
        const Result declined = pakmart("autoremove", "n\n");
        QVERIFY2(declined.out.startsWith(
                     QLatin1String("To be REMOVED:\n  lib  1.0  no longer needed\n")),
                 qPrintable(declined.out));
        QCOMPARE(declined.status, 3);
        QCOMPARE(StatusWords("lib"), QByteArray("install ok installed"));
        const Result result = pakmart("autoremove --yes");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.endsWith(QLatin1String("lib is removed.\n")), qPrintable(result.out));
        QCOMPARE(StatusWords("lib"), QByteArray("none"));
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
    }

    void anInstallIsUndoneAndThatToo()
    {
        QCOMPARE(pakmart("install --yes app").status, 0);
        const QJsonObject last = history()[0].toObject();
        QCOMPARE(last[QLatin1String("place")].toInt(), 1);
        QCOMPARE(last[QLatin1String("installed")].toArray().size(), 2);
        const Result declined = pakmart("history undo 1", "n\n");
        QCOMPARE(declined.err, QString());
        QCOMPARE(declined.status, 3);
        QVERIFY2(declined.out.startsWith(QLatin1String("To be REMOVED:\n  app  1.0\n  lib  1.0\n")),
                 qPrintable(declined.out));
        QCOMPARE(StatusWords("app"), QByteArray("install ok installed"));
        const Result result = pakmart("history undo 1 --yes");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.endsWith(QLatin1String("app is removed.\nlib is removed.\n")),
                 qPrintable(result.out));
        const Result again = pakmart("history undo 2 --yes");
        QCOMPARE(again.out, QStringLiteral("This is undone already.\n"));
        const Result back = pakmart("history undo 1 --yes");
        QVERIFY2(back.out.endsWith(QLatin1String("app 1.0 is installed.\nlib 1.0 is installed.\n")),
                 qPrintable(back.out + back.err));
    }

    // Installed, upgraded and removed in one change.
    void aMixedChangeIsUndoneInOne()
    {
        publish(
            { { "lib", "2.0" }, { "newer", "1.0", "lib (>= 2.0)", 100, "", "Conflicts: good\n" } });
        QCOMPARE(pakmart("install --yes --allow-removals newer").status, 0);
        QCOMPARE(StatusWords("good"), QByteArray("none"));
        const QByteArray before = StatusText();
        const Result preview = pakmart("history undo 1 --dry-run");
        QVERIFY2(preview.out.contains(QLatin1String("To be DOWNGRADED:\n  lib  2.0 -> 1.0\n")),
                 qPrintable(preview.out + preview.err));
        QCOMPARE(StatusText(), before);
        const Result result = pakmart("history undo 1 --yes");
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.endsWith(QLatin1String(
                     "good 1.0 is installed.\nlib 2.0 is replaced by 1.0.\nnewer is removed.\n")),
                 qPrintable(result.out));
        QCOMPARE(result.status, 0);
    }

    void theConsentForOtherRemovalsIsItsOwn()
    {
        QCOMPARE(pakmart("remove --yes app lib").status, 0);
        QCOMPARE(pakmart("install --yes --package lib=1.0").status, 0);
        QCOMPARE(pakmart("install --yes app").status, 0);
        const Result refused = pakmart("history undo 2 --yes");
        QCOMPARE(refused.status, 1);
        QVERIFY2(refused.err.contains(QLatin1String("app would be removed as well")),
                 qPrintable(refused.err + refused.out));
        QCOMPARE(StatusWords("lib"), QByteArray("install ok installed"));
        QCOMPARE(pakmart("history undo 2 --yes --allow-removals").status, 0);
        QCOMPARE(StatusWords("app"), QByteArray("none"));
    }

    void anOldVersionThatNoSourceHasIsSaid()
    {
        QCOMPARE(pakmart("install --yes --package lib=1.0").status, 0);
        QCOMPARE(pakmart("upgrade --yes lib").status, 0);
        QFile index(m_store + QStringLiteral("/pool/main/Packages"));
        QVERIFY(index.open(QIODevice::ReadOnly));
        QByteArray text = index.readAll();
        index.close();
        const int at = int(text.indexOf("Package: lib\nVersion: 1.0\n"));
        text.remove(at, int(text.indexOf("\n\n", at)) + 2 - at);
        QTest::qWait(1100); // a resolution of one second
        QVERIFY(write("pool/main/Packages", text));
        QCOMPARE(pakmart("update-sources").status, 0);
        const Result result = pakmart("history undo 1 --yes");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("Version '1.0' for 'lib' was not found")),
                 qPrintable(result.err));
        QVERIFY(StatusText().contains("Version: 2.0"));
    }

    void whatIsNoChangeIsSaid_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("said");
        QTest::newRow("none") << QByteArray("history undo 999 --yes") << 1
                              << "the history has no change number 999";
        QTest::newRow("zero") << QByteArray("history undo 0") << 2
                              << "not a place in the history: 0";
        QTest::newRow("nothing") << QByteArray("history undo") << 2
                                 << "not a place in the history: ";
        QTest::newRow("other") << QByteArray("history redo 1") << 2 << "history cannot redo";
    }
    void whatIsNoChangeIsSaid()
    {
        QFETCH(QByteArray, words);
        QFETCH(int, status);
        QFETCH(QString, said);
        const Result result = pakmart(words.constData());
        QCOMPARE(result.status, status);
        QVERIFY2(result.err.startsWith("pakmart: " + said + '\n'), qPrintable(result.err));
    }
};

QTEST_GUILESS_MAIN(VerbsTest)
#include "tst_verbs.moc"
