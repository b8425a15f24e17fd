// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// "--expect": the front end carries out one plan and no other.

#include "platform/changecheck.h"
#include "platform/plandigest.h"

#include <QtTest>
#include <sstream>

class ExpectedPlanTest : public QObject
{
    Q_OBJECT

private:
    QString m_root;

    static PrintedPlan planOf(const std::vector<std::string>& lines)
    {
        PrintedPlan plan;
        plan.lines = lines;
        return plan;
    }
    std::string planned(const std::vector<std::string>& words) const
    {
        return MakePlan(SortArguments(words), m_root.toStdString()).Digest();
    }
    QByteArray run(const QStringList& words, int status) const
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(VOS_APT_GET), words);
        if (!process.waitForFinished(120000))
            qFatal("the front end does not end");
        const QByteArray output = process.readAll();
        if (process.exitCode() != status)
            qWarning("%s", output.constData());
        return process.exitCode() == status ? output : QByteArray("another status");
    }
    QByteArray status() const
    {
        QFile file(m_root + QStringLiteral("/var/lib/dpkg/status"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static QByteArray stanza(const QByteArray& name, const QByteArray& more = QByteArray())
    {
        return "Package: " + name
            + "\nStatus: install ok installed\nPriority: optional\nMaintainer: m\n"
              "Architecture: all\nVersion: 1.0\n"
            + more + "Description: d\n\n";
    }
    void write(const QString& path, const QByteArray& text) const
    {
        QFile file(m_root + path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

private slots:
    void init()
    {
        m_root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
        for (const char* folder : { "/var", "/usr", "/etc" })
            QDir(m_root + QLatin1String(folder)).removeRecursively();
        QCOMPARE(QProcess::execute(
                     QStringLiteral(MKROOT),
                     { QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), m_root }),
                 0);
        write(QStringLiteral("/var/lib/dpkg/status"),
              stanza("app", "Depends: lib\n") + stanza("lib") + stanza("other"));
        for (const char* name : { "app", "lib", "other" })
            write(QStringLiteral("/var/lib/dpkg/info/%1.list").arg(QLatin1String(name)), "/.\n");
    }

    void theExpectedPlanIsCarriedOut()
    {
        const std::string digest = planned({ "--allow-removals", "remove", "lib" });
        const QByteArray output = run({ QStringLiteral("-yp"), QStringLiteral("--allow-removals"),
                                        QString::fromStdString("--expect=" + digest),
                                        QStringLiteral("remove"), QStringLiteral("lib") },
                                      0);
        QVERIFY2(output.contains("Removing app"), output);
        QVERIFY(!status().contains("Package: lib\nStatus: install"));
        QVERIFY(status().contains("Package: other\nStatus: install ok installed"));
    }

    void anotherPlanIsRefused()
    {
        const QByteArray before = status();
        const std::string digest = planned({ "--allow-removals", "remove", "other" });
        for (const QString& expected :
             { QString::fromStdString(digest), QStringLiteral("0"), QString(64, QLatin1Char('0')) })
            QCOMPARE(run({ QStringLiteral("-yp"), QStringLiteral("--expect=") + expected,
                           QStringLiteral("remove"), QStringLiteral("lib") },
                         100),
                     QByteArray("E: Nothing was changed: what would be done now is not what was "
                                "shown before.\n"));
        QCOMPARE(status(), before);
    }

    // What dpkg left when it was killed waits for a change.
    void aDownloadFinishesNothing()
    {
        const QString left = QStringLiteral("/var/lib/dpkg/updates/0000");
        write(left, stanza("other").replace("ok installed", "ok unpacked"));
        for (const bool isDownload : { true, false }) {
            const QStringList option
                = isDownload ? QStringList{ QStringLiteral("--download-only") } : QStringList();
            const std::string digest = planned({ "install", "lib" });
            run(QStringList{ QStringLiteral("-yp"), QString::fromStdString("--expect=" + digest) }
                    + option + QStringList{ QStringLiteral("install"), QStringLiteral("lib") },
                isDownload ? 100 : 0);
            QCOMPARE(QFile::exists(m_root + left), isDownload);
        }
    }

    // Between the plan and the run, dpkg's status changes: another package needs the library.
    void aChangeAfterTheCheckIsNoticedUnderTheLock()
    {
        const QByteArray before = status();
        const PrintedPlan plan = MakePlan(SortArguments({ "remove", "app" }), m_root.toStdString());
        QVERIFY(!plan.IsEmpty());
        const ChangeCheck check(plan);
        QStringList words{ QStringLiteral("-yp") };
        for (std::string word : check.Words()) {
            // The hook is the front end, whose file of changes this process holds.
            const std::string own = "/proc/" + std::to_string(getpid()) + "/exe";
            for (auto at = word.find(own); at != std::string::npos; at = word.find(own))
                word.replace(at, own.size(), VOS_APT_GET);
            words << QString::fromStdString(word);
        }
        const QByteArray output
            = run(words + QStringList{ QStringLiteral("remove"), QStringLiteral("lib") }, 100);
        QVERIFY2(output.contains("apt-get wants to do something else than was shown"), output);
        QCOMPARE(status(), before);
        run(words + QStringList{ QStringLiteral("remove"), QStringLiteral("app") }, 0);
        QVERIFY(!status().contains("Package: app\nStatus: install"));
    }

    void aDigestCountsEveryFieldButTheDownload()
    {
        const std::vector<std::string> lines{ "Plan: 1",          "", "Package: a",
                                              "New-Version: 2.0", "", "Package: b",
                                              "Download-Size: 7", "", "End: 2" };
        const std::string digest = planOf(lines).Digest();
        QCOMPARE(digest.size(), std::size_t(64));
        auto other = lines;
        other[6] = "Download-Size: 0";
        QCOMPARE(planOf(other).Digest(), digest);
        QCOMPARE(planOf({ "Plan: 1", "", "Package: b", "", "Package: a", "New-Version: 2.0", "",
                          "End: 2" })
                     .Digest(),
                 digest);
        for (const std::size_t line : { 0, 2, 3, 5, 8 }) {
            other = lines;
            other[line] += '1';
            QVERIFY2(planOf(other).Digest() != digest, other[line].c_str());
        }
    }

    void aPartOfThePlanIsCrossedOff_data()
    {
        QTest::addColumn<QByteArray>("hook");
        QTest::addColumn<bool>("may");
        QTest::addColumn<int>("left");
        const QByteArray head = "VERSION 3\n\n";
        const QByteArray a = "a - - none < 2.0 all none /a_2.0_all.deb\n";
        const QByteArray b = "b 1.0 amd64 none > - - none **REMOVE**\n";
        QTest::newRow("a part") << head + a << true << 1;
        QTest::newRow("all") << head + a + b << true << 0;
        QTest::newRow("nothing") << head << true << 2;
        QTest::newRow("something else") << head + a + "c 1 all none > - - none **REMOVE**\n"
                                        << false << 2;
        QTest::newRow("unreadable") << head + a + "b 1.0\n" << false << 2;
    }
    void aPartOfThePlanIsCrossedOff()
    {
        QFETCH(QByteArray, hook);
        QFETCH(bool, may);
        std::istringstream input(hook.toStdString());
        std::set<std::string> expected{ "a - 2.0", "b 1.0 -" };
        QCOMPARE(CrossOff(input, expected), may);
        QTEST(int(expected.size()), "left");
    }

    void onlyTheSameChangesAreTheSame_data()
    {
        QTest::addColumn<QByteArray>("hook");
        QTest::addColumn<bool>("same");
        const QByteArray head = "VERSION 3\nDpkg::A=1\n\n";
        const QByteArray a = "a - - none < 2.0 all none /a_2.0_all.deb\n";
        const QByteArray b = "b 1.0 amd64 none > - - none **REMOVE**\n";
        QTest::newRow("same") << head + a + b << true;
        QTest::newRow("other order") << head + b + a << true;
        QTest::newRow("set up") << head + a + b + "a - - none < 2.0 all none **CONFIGURE**\n"
                                << true;
        QTest::newRow("one less") << head + a << false;
        QTest::newRow("one more") << head + a + b + "c 1 all none > - - none **REMOVE**\n" << false;
        QTest::newRow("another version") << head + b + "a - - none < 2.1 all none /a_2.1_all.deb\n"
                                         << false;
        QTest::newRow("cut off") << head + a + "b 1.0 amd64 none > -\n" << false;
        QTest::newRow("another format") << "VERSION 2\n\n" + a + b << false;
        QTest::newRow("empty") << QByteArray() << false;
    }
    void onlyTheSameChangesAreTheSame()
    {
        QFETCH(QByteArray, hook);
        QFETCH(bool, same);
        std::istringstream input(hook.toStdString()), expected("a - 2.0\nb 1.0 -\n");
        QCOMPARE(AreTheSame(input, expected), same);
    }
};

QTEST_GUILESS_MAIN(ExpectedPlanTest)
#include "tst_expectedplan.moc"
