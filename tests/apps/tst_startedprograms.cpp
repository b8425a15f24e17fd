// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// "recent --run" starts nothing but a program that the package of the product has brought,
// whatever path the store sends.

#include "db/crufile.h"
#include "store/indexfile.h"
#include "story.h"

class StartedProgramsTest : public QObject, Story
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        begin({ { "good" }, { "tool" } });
        QCOMPARE(pakmart("update").status, 0);
        QCOMPARE(pakmart("install --yes tool").status, 0);
        // What would be started if the path were believed.
        inRoot("for name in other tool; do printf '#!/bin/sh\n: > \"%s\"\n' \"$MARK\" "
               "> usr/bin/$name; done; chmod +x usr/bin/*");
    }
    void cleanupTestCase() { end(); }
    void cleanup()
    {
        inRoot("rm -rf bin usr/bin/play usr/bin/good?* etc/alternatives "
               "var/lib/dpkg/diversions var/lib/dpkg/info/good:* var/lib/dpkg/info/goods.list");
    }

    void onlyAProgramOfThePackageIsStarted_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("before"); // commands in the root
        QTest::addColumn<bool>("starts");
        const auto row = [](const char* name, const QByteArray& path, bool starts,
                            const QByteArray& before = QByteArray()) {
            QTest::newRow(name) << path << before << starts;
        };
        row("its own", "/usr/bin/good", true);
        row("of no package", "/usr/bin/other", false);
        row("of another package", "/usr/bin/tool", false);
        row("through a folder above", "/usr/bin/../bin/other", false);
        row("its own, in a roundabout way", "/usr/bin/../bin/good", false);
        row("its own, with two slashes", "/usr//bin/good", false);
        row("relative", "usr/bin/other", false);
        row("with an argument", "/usr/bin/good /usr/bin/other", false);
        row("a folder of the package", "/usr/bin", false);
        row("one that cannot be started", "/usr/bin/good", false, "chmod -x usr/bin/good");

        const QByteArray divert = "cp usr/bin/good usr/bin/good.real; "
                                  "printf '/usr/bin/good\n/usr/bin/good.real\n%s\n' ";
        const QByteArray diversions = " > var/lib/dpkg/diversions";
        row("diverted for another package", "/usr/bin/good", false, divert + "tool" + diversions);
        row("diverted by the administrator", "/usr/bin/good", false, divert + ":" + diversions);
        row("at its diverted place", "/usr/bin/good.real", true, divert + "tool" + diversions);
        row("that diverts for others", "/usr/bin/good", true, divert + "good" + diversions);

        const QByteArray alternative = "mkdir -p etc/alternatives; "
                                       "ln -s ../../etc/alternatives/play usr/bin/play; ";
        row("an alternative that leads to it", "/usr/bin/play", true,
            alternative + "ln -s ../../usr/bin/good etc/alternatives/play");
        row("an alternative that leads elsewhere", "/usr/bin/play", false,
            alternative + "ln -s ../../usr/bin/tool etc/alternatives/play");
        row("an alternative of its own that leads elsewhere", "/usr/bin/play", false,
            alternative + "ln -s ../../usr/bin/tool etc/alternatives/play; echo /usr/bin/play >> "
                + m_list);
        row("a link out of the private root", "/usr/bin/play", false,
            "ln -s /bin/sh usr/bin/play; echo /usr/bin/play >> " + m_list);

        row("in the folder that is now below /usr", "/bin/good", true, "ln -s usr/bin bin");
        row("in another folder of that name", "/bin/good", false,
            "mkdir bin; cp usr/bin/tool bin/good");
        row("that the package has in the folder above", "/usr/bin/good", true,
            "ln -s usr/bin bin; sed -i s:/usr/bin/good:/bin/good: " + m_list);
        row("with the list of an architecture", "/usr/bin/good", true,
            "mv " + m_list + " var/lib/dpkg/info/good:amd64.list");
        row("of a package whose name begins so", "/usr/bin/good", false,
            "mv " + m_list + " var/lib/dpkg/info/goods.list");
    }
    void onlyAProgramOfThePackageIsStarted()
    {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, before);
        QFETCH(bool, starts);
        QVERIFY(write("products",
                      "Serial: 1\nName: The good\nCategory: Games\nPackage: good\nProgram: Good\n"
                      "Path: "
                          + path + "\nDescription: d\n\n"));
        pakmart("forget 1");
        pakmart("remove --yes good");
        QCOMPARE(pakmart("install --yes 1").status, 0);
        inRoot(before);
        const Result result = pakmart("recent --run 1");
        QCOMPARE(result.err, starts ? QString() : refusal(QString::fromUtf8(path)));
        QCOMPARE(result.status, starts ? 0 : 1);
        QTest::qWait(200);
        QVERIFY(!QFile::exists(mark()));
    }

    // Even if the package has such a file. The store's reply cannot bring such a path, but
    // another program may have written the list.
    void aPathThatIsShownOtherwiseThanItIsIsNotStarted_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("escape") << QByteArray("/usr/bin/good\x1b[8m");
        QTest::newRow("right to left") << QByteArray("/usr/bin/good\xe2\x80\xae");
        QTest::newRow("return") << QByteArray("/usr/bin/good\r");
    }
    void aPathThatIsShownOtherwiseThanItIsIsNotStarted()
    {
        QFETCH(QByteArray, path);
        QVERIFY(write("products",
                      "Serial: 1\nName: The good\nCategory: Games\nPackage: good\nProgram: Good\n"
                      "Path: /usr/bin/good\nDescription: d\n\n"));
        pakmart("remove --yes good");
        QCOMPARE(pakmart("install --yes 1").status, 0);
        inRoot("cp usr/bin/good '" + path.mid(1) + "'; echo '" + path + "' >> " + m_list);
        record(path);
        const Result result = pakmart("recent --run 1");
        QCOMPARE(result.err,
                 refusal(QString::fromUtf8(path)
                             .replace(QChar(0x1b), QLatin1Char('?'))
                             .replace(QChar(0x202e), QLatin1Char('?'))));
        QCOMPARE(result.status, 1);
    }

    void aProductThatTheStoreDoesNotHaveAnyMoreIsNotStarted()
    {
        QVERIFY(write("products",
                      "Serial: 1\nName: The good\nCategory: Games\nPackage: good\nProgram: Good\n"
                      "Path: /usr/bin/good\nDescription: d\n\n"));
        pakmart("remove --yes good");
        QCOMPARE(pakmart("install --yes 1").status, 0);
        QCOMPARE(pakmart("recent --run 1").status, 0);
        QVERIFY(write("products",
                      "Serial: 2\nName: Tool\nCategory: Games\nPackage: tool\nDescription: d\n\n"));
        QCOMPARE(pakmart("update").status, 0);
        const Result result = pakmart("recent --run 1");
        QCOMPARE(result.err,
                 QStringLiteral("pakmart: Good cannot be started: product 1 is not in the catalog "
                                "('pakmart update' fetches it), so its package is not known\n"));
        QCOMPARE(result.status, 1);
    }

private:
    const QByteArray m_list = "var/lib/dpkg/info/good.list";

    static QString refusal(const QString& path)
    {
        return QStringLiteral("pakmart: Good cannot be started: its package, good, has no program "
                              "%1\n")
            .arg(path.simplified());
    }
    // Puts another path into the list of recently used applications.
    static void record(const QByteArray& path)
    {
        InitIndex();
        {
            CRUFile applications;
            QVERIFY(applications.Open() && applications.FindServerSerialNumber(1));
            applications.SetExecutablePath(path.constData());
            QVERIFY(applications.Update());
        }
        UnInitIndex();
    }
    QString mark() const { return m_dir + QStringLiteral("/started"); }
    void inRoot(const QByteArray& commands) const
    {
        QProcess shell;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("MARK"), mark());
        shell.setProcessEnvironment(environment);
        shell.setWorkingDirectory(m_root);
        shell.start(QStringLiteral("/bin/sh"),
                    { QStringLiteral("-ec"), QString::fromUtf8(commands) });
        QVERIFY(shell.waitForFinished());
        QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());
    }
};

QTEST_GUILESS_MAIN(StartedProgramsTest)
#include "tst_startedprograms.moc"
