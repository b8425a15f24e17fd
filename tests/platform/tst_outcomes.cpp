// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the front end makes of dpkg's status and of apt-get's errors: plain functions.

#include "base/dpkgstatus.h"
#include "platform/aptwords.h"
#include "platform/errorlines.h"
#include "platform/locks.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using Words = std::vector<std::string>;

using namespace Agent;

class OutcomesTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    void write(const char* name, const QByteArray& text)
    {
        const QString path = m_dir.filePath(QLatin1String(name));
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    static QByteArray stanza(const char* name, const char* status, const char* more = "")
    {
        return QByteArray("Package: ") + name + "\nStatus: " + status + '\n' + more + '\n';
    }
    DpkgStatus status() const { return DpkgStatus(m_dir.path().toStdString()); }

private slots:
    void init()
    {
        QDir(m_dir.filePath(QStringLiteral("updates"))).removeRecursively();
        QFile::remove(m_dir.filePath(QStringLiteral("status")));
    }

    void statesOfPackages_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<bool>("installed");
        QTest::addColumn<bool>("gone");
        QTest::addColumn<bool>("halfWay");
        const auto row = [](const char* words, bool installed, bool gone, bool halfWay) {
            QTest::newRow(words) << QByteArray(words) << installed << gone << halfWay;
        };
        row("install ok installed", true, false, false);
        row("hold ok installed", true, false, false);
        row("deinstall ok installed", false, false, false);
        row("install reinstreq installed", false, false, true);
        row("install ok unpacked", false, false, true);
        row("install ok half-configured", false, false, true);
        row("install reinstreq half-installed", false, false, true);
        row("deinstall ok half-installed", false, false, true);
        row("install ok triggers-pending", false, false, true);
        row("install ok triggers-awaited", false, false, true);
        row("deinstall ok config-files", false, true, false);
        row("purge ok not-installed", false, true, false);
    }
    void statesOfPackages()
    {
        QFETCH(QByteArray, words);
        QFETCH(bool, installed);
        QFETCH(bool, gone);
        QFETCH(bool, halfWay);
        write("status", stanza("a", "install ok installed") + stanza("b", words, "Version: 2-1\n"));
        const PackageState state = status().Of("b");
        QCOMPARE(QByteArray::fromStdString(state.Words()), words);
        QCOMPARE(state.version, std::string("2-1"));
        QCOMPARE(state.IsInstalled(), installed);
        QCOMPARE(state.IsGone(), gone);
        QCOMPARE(state.IsHalfWay(), halfWay);
    }

    void anUnknownPackageIsNotInstalled()
    {
        QVERIFY(!status().IsReadable());
        QVERIFY(status().Of("a").IsGone());
        write("status", stanza("ab", "install ok installed"));
        QVERIFY(status().IsReadable());
        QVERIFY(status().Of("a").IsGone());
        QVERIFY(!status().Of("a").IsInstalled());
        QVERIFY(status().Of("").IsGone());
    }

    void fieldsAreReadAsDpkgReadsThem()
    {
        write("status",
              "PACKAGE:  a\nstatus:\tinstall ok installed\nDescription: x\n Status: no\n"
              "Status-Of: no\nVersion:1\n\n\n\nPackage: b\nStatus: install ok unpacked");
        QVERIFY(status().Of("a").IsInstalled());
        QCOMPARE(status().Of("a").version, std::string("1"));
        QCOMPARE(status().Of("b").status, std::string("unpacked"));
        QCOMPARE(status().All().size(), std::size_t(2));
    }

    void aNameIsThatOfTheMachinesArchitectureFirst()
    {
        const QByteArray native = QByteArray("Architecture: ") + Agent::NativeArchitecture() + '\n';
        write("status",
              stanza("a", "install ok unpacked", "Architecture: ppc64\n")
                  + stanza("a", "install ok installed", native)
                  + stanza("b", "install ok unpacked", "Architecture: ppc64\n")
                  + stanza("b-c", "install ok installed", "Architecture: all\n"));
        QVERIFY(status().Of("a").IsInstalled());
        QVERIFY(status().Of(std::string("a:") + Agent::NativeArchitecture()).IsInstalled());
        QVERIFY(status().Of("a=1.0").IsInstalled());
        QCOMPARE(status().Of("a:ppc64").status, std::string("unpacked"));
        QCOMPARE(status().Of("b").status, std::string("unpacked"));
        QVERIFY(status().Of(std::string("b:") + Agent::NativeArchitecture()).IsGone());
        QVERIFY(status().Of("b-c:all").IsInstalled());
        QVERIFY(status().Of("c").IsGone());
    }

    void whatAnInterruptedDpkgLeftCounts()
    {
        write("status", stanza("a", "install ok installed"));
        QVERIFY(!status().WasInterrupted());
        write("updates/tmp.i", stanza("a", "install ok unpacked"));
        QVERIFY(!status().WasInterrupted());
        write("updates/0001", stanza("a", "install reinstreq half-installed"));
        QVERIFY(status().WasInterrupted());
        QCOMPARE(status().Of("a").status, std::string("half-installed"));
        write("updates/0002", stanza("a", "install ok unpacked"));
        write("updates/tmp.i", stanza("a", "install ok installed"));
        QCOMPARE(status().Of("a").status, std::string("unpacked"));
    }

    void wordsForAptGet()
    {
        write("status",
              stanza("good", "install ok installed") + stanza("half", "install ok half-installed")
                  + stanza("broken", "install reinstreq half-installed")
                  + stanza("unpacked", "install ok unpacked"));
        const auto words
            = [this](const Words& line) { return AptWords(SortArguments(line), status()); };
        const auto with = [](Words first, const Words& line) {
            first.insert(first.end(), line.begin(), line.end());
            return first;
        };
        const Words keep{ "--no-remove", "--no-auto-remove" };
        const Words again = with(keep, { "--reinstall" });
        const std::string whole = "--option=Dir::Cache::archives=/dev/null/";
        for (const char* command : { "install", "upgrade", "dist-upgrade", "full-upgrade" })
            QCOMPARE(words({ "-y", command, "good" }), with(keep, { "-y", command, "good" }));
        // apt-get cannot, and has it set up.
        QCOMPARE(words({ "install", "unpacked" }), with(keep, { "install", "unpacked" }));
        QCOMPARE(words({ "upgrade", "half" }), with(keep, { "upgrade", "half" }));
        QCOMPARE(words({ "install", "good", "half" }), with(again, { "install", "good", "half" }));
        QCOMPARE(words({ "--print-uris", "install", "broken" }),
                 with(again, { whole, "--print-uris", "install", "broken" }));
        QCOMPARE(words({ "--print-uris", "upgrade" }),
                 with(keep, { whole, "--print-uris", "upgrade" }));
        QCOMPARE(words({ "--print-uris", "update" }), (Words{ "--print-uris", "update" }));
        QCOMPARE(words({ "--allow-removals", "install", "good" }), (Words{ "install", "good" }));
        QCOMPARE(words({ "install", "--", "--allow-removals" }),
                 with(keep, { "install", "--", "--allow-removals" }));
        QCOMPARE(words({ "remove", "good", "half" }), (Words{ "remove", "good", "half" }));
        QCOMPARE(words({ "remove", "good", "broken" }),
                 (Words{ "--option=DPkg::Options::=--force-remove-reinstreq", "remove", "good",
                         "broken" }));
        QCOMPARE(words({ "update" }), Words{ "update" });
        QCOMPARE(words({ "clean" }), Words{ "clean" });
    }

    void wordsThatInstallOtherPackagesAgain()
    {
        const auto words = [](const Words& line) {
            return RepairWords(SortArguments(line), { "lib", "lib2:ppc64" });
        };
        const Words first{ "--no-remove", "--no-auto-remove", "--reinstall" };
        const auto with = [&first](Words options) {
            options.insert(options.begin(), first.begin(), first.end());
            options.insert(options.end(), { "install", "lib", "lib2:ppc64" });
            return options;
        };
        QCOMPARE(words({ "install", "app" }), with({}));
        QCOMPARE(words({ "-yp", "install", "-o", "app", "app", "-t=x", "--", "other" }),
                 with({ "-y", "-o", "app", "-t=x", "--" }));
    }

    void namesOfAListing()
    {
        QCOMPARE(
            PackageOfListing("'http://h/p/lib_1%3a2.0_all.deb' lib_1%3a2.0_all.deb 5 MD5Sum:0"),
            std::string("lib"));
        for (const char* line : { "", "lib_1.0_all.deb", "'http://h/lib_1.0_all.deb'",
                                  "The following packages: ' lib_1" })
            QCOMPARE(PackageOfListing(line), std::string());
    }

    void aSimulationChangesNothing()
    {
        for (const char* word :
             { "-s", "-yps", "--simulate", "--just-print", "--dry-run", "--recon", "--no-act" }) {
            const Arguments sorted = SortArguments({ word, "remove", "a" });
            QVERIFY2(sorted.simulates && !ChangesPackages(sorted), word);
            QVERIFY2(LocksOf(sorted, "/r").empty(), word);
        }
        for (const Words& words :
             { Words{ "-y", "install", "-s=x" }, Words{ "-os=1", "install", "a" },
               Words{ "install", "a-s" }, Words{ "-ts", "install" } })
            QVERIFY2(SortArguments(words).simulates == (words.back() == "-s=x"), words[0].c_str());
    }

    void aLockMayBeWaitedForLess()
    {
        QCOMPARE(SortArguments({ "install" }).lockSeconds, 300);
        QCOMPARE(SortArguments({ "install", "-o", "dpkg::lock::timeout=0" }).lockSeconds, 0);
        QCOMPARE(SortArguments({ "install", "-oDPkg::Lock::Timeout=-1" }).lockSeconds, -1);
    }

    void aRefusedRemovalIsNamed()
    {
        ErrorLines errors(true);
        const auto take = [&errors](const char* line) { return errors.Take(line).value_or("-"); };
        const char refused[] = "E: Packages need to be removed but remove is disabled.";
        QCOMPARE(take(refused),
                 std::string("E: Packages need to be removed but remove is disabled"));
        take("The following packages will be REMOVED:");
        take("  liba libb*");
        take("  libc:i386");
        take("The following NEW packages will be installed:");
        take("  new");
        QCOMPARE(take(refused),
                 std::string("E: Packages need to be removed but remove is disabled: liba, libb, "
                             "libc:i386"));
        QVERIFY(!errors.OnlyDpkgFailed());
    }

    void aLongListOfRemovalsFitsOnALine()
    {
        ErrorLines errors(false);
        errors.Take("The following packages will be REMOVED:");
        for (int i = 0; i < 1000; ++i)
            errors.Take("  package" + std::to_string(1000 + i));
        const std::string line
            = errors.Take("E: Packages need to be removed but remove is disabled.").value();
        QVERIFY(line.size() < 2000);
        const QRegularExpression end(QStringLiteral(", package(\\d+) and (\\d+) more$"));
        const auto match = end.match(QString::fromStdString(line));
        QVERIFY2(match.hasMatch(), line.c_str());
        QCOMPARE(match.captured(1).toInt() - 999 + match.captured(2).toInt(), 1000);
    }

    void onlyDpkgsFailureIsKept()
    {
        const char failed[] = "E: Sub-process /usr/bin/dpkg returned an error code (1)";
        ErrorLines held(true);
        QVERIFY(!held.OnlyDpkgFailed());
        QVERIFY(held.Take("W: a warning").has_value());
        QVERIFY(!held.Take(failed).has_value());
        QVERIFY(held.OnlyDpkgFailed());
        QCOMPARE(held.Held(), Words{ failed });
        QVERIFY(held.Take("E: Unable to locate package x").has_value());
        QVERIFY(!held.OnlyDpkgFailed());
        ErrorLines passing(false);
        QVERIFY(passing.Take(failed).has_value());
        QVERIFY(!passing.OnlyDpkgFailed());
    }
};

QTEST_GUILESS_MAIN(OutcomesTest)
#include "tst_outcomes.moc"
