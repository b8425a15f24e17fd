// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How the front end interprets dpkg's status and apt-get's errors: plain functions.

#include "base/dpkgstatus.h"
#include "platform/aptwords.h"
#include "platform/halfremoved.h"
#include "platform/locks.h"
#include "platform/statusview.h"
#include "platform/translator.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

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
    QByteArray read(const QString& path) const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("none");
    }
    // The status that apt-get sees for a command line.
    QByteArray shown(const Words& line, bool locks = true) const
    {
        const StatusView view(SortArguments(line), status(), m_dir.path().toStdString(), locks);
        return view.File().empty() ? QByteArray("dpkg's own")
                                   : read(QString::fromStdString(view.File()));
    }
    QStringList leftovers() const
    {
        return QDir(m_dir.path()).entryList({ QStringLiteral("status-*") });
    }
    QByteArray listAfterKeeping(const char* list, const QByteArray& text, const char* package)
    {
        write(list, text);
        KeepFromVanishing(m_dir.filePath(QStringLiteral("root")).toStdString(), package);
        return read(m_dir.filePath(QLatin1String(list)));
    }

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
        // apt-get cannot reinstall it, and has it configured.
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

    void aRemoveTakesPackagesOnHold()
    {
        write("status", stanza("held", "hold ok installed") + stanza("a", "install ok installed"));
        const auto words
            = [this](const Words& line) { return AptWords(SortArguments(line), status()); };
        for (const char* command : { "remove", "purge" }) {
            QCOMPARE(words({ command, "a", "held" }),
                     (Words{ "--allow-change-held-packages", command, "a", "held" }));
            QCOMPARE(words({ command, "a" }), (Words{ command, "a" }));
        }
        QCOMPARE(words({ "-s", "remove", "held" }),
                 (Words{ "--allow-change-held-packages", "-s", "remove", "held" }));
        QCOMPARE(words({ "install", "held" }).size(), std::size_t(4));
    }

    void brokenPackagesAreShownToAptGetWhenTheyAreAskedFor()
    {
        const QByteArray good = stanza("good", "install ok installed", "Depends: x, y (>= 1)\n");
        const QByteArray half = stanza("half", "deinstall ok half-installed");
        const QByteArray again = stanza("again", "install reinstreq unpacked");
        const QByteArray others = stanza("unpacked", "install ok unpacked")
            + stanza("gone", "deinstall ok config-files");
        write("status", good + half + again + others);
        for (const char* command : { "install", "reinstall", "remove", "purge" }) {
            QCOMPARE(shown({ command, "good" }), good + others);
            QCOMPARE(shown({ command, "good", "half" }), good + half + others);
            QCOMPARE(shown({ command, "again=1.0" }), good + again + others);
            QCOMPARE(shown({ command, "again", std::string("half:") + NativeArchitecture() }),
                     QByteArray("dpkg's own"));
        }
        for (const char* command : { "upgrade", "dist-upgrade", "autoremove", "update", "clean" })
            QCOMPARE(shown({ command }), QByteArray("dpkg's own"));
        QCOMPARE(leftovers(), QStringList());
    }

    void brokenPackagesThatOthersNeedAreShownAsInstalled()
    {
        const auto needs = [this](const char* line, const char* status, const char* name) {
            const QByteArray user = stanza("user", status, line);
            write("status",
                  user + stanza("lib", "install reinstreq half-installed", "Version: 2\n"));
            return shown({ "install", name })
                == user + stanza("lib", "install ok installed", "Version: 2\n");
        };
        for (const char* line :
             { "Depends: lib\n", "Depends: a, lib\n", "Depends: a | lib (>= 1), b\n",
               "Pre-Depends: lib:any (<< 3)\n", "Depends: a,lib\n", "Depends: a (= 1),  lib\n" })
            QVERIFY2(needs(line, "install ok installed", "good"), line);
        QVERIFY(needs("Depends: lib\n", "install ok unpacked", "good"));
        QVERIFY(!needs("Depends: lib2, xlib\n", "install ok installed", "good"));
        QVERIFY(!needs("Recommends: lib\n", "install ok installed", "good"));
        QVERIFY(!needs("Description: x\n Depends: lib\n", "install ok installed", "good"));
        // A package that is broken or gone needs nothing.
        QVERIFY(!needs("Depends: lib\n", "deinstall ok config-files", "good"));
        QVERIFY(!needs("Depends: lib\n", "install ok half-installed", "good"));
        QVERIFY(!needs("Depends: lib\n", "install ok installed", "lib"));
    }

    // The package was unpacked before dpkg failed for a package that it needs.
    void aPackageThatLacksAnotherIsShownToNoInstall()
    {
        const QByteArray good = stanza("good", "install ok installed");
        const auto hides = [&](const char* line, const Words& words,
                               const char* status = "install ok unpacked") {
            write("status", good + stanza("app", status, line));
            return shown(words) == good;
        };
        for (const char* line : { "Depends: lib\n", "Depends: good, lib (>= 1.2), x\n",
                                  "Depends: lib | lib2\n", "Depends: good,lib:any\n" }) {
            for (const Words& words : { Words{ "install", "app" }, Words{ "reinstall", "app" },
                                        Words{ "install", "good" }, Words{ "remove", "good" } })
                QVERIFY2(hides(line, words), line);
            // It can be removed, and commands that handle all packages see it.
            for (const Words& words :
                 { Words{ "remove", "app" }, Words{ "purge", "app" }, Words{ "upgrade" } })
                QVERIFY2(!hides(line, words), line);
        }
        for (const char* line : { "", "Depends: good\n", "Depends: lib | good (>= 9)\n",
                                  "Recommends: lib\n", "Description: x\n Depends: lib\n" })
            QVERIFY2(!hides(line, { "install", "app" }), line);
        for (const char* provider : { "install ok installed", "deinstall ok config-files" }) {
            const QByteArray other = stanza("other", provider, "Provides: b, lib (= 1)\n");
            write("status", other + stanza("app", "install ok unpacked", "Depends: lib\n"));
            const bool isGone = QByteArray(provider).contains("config-files");
            QCOMPARE(shown({ "install", "app" }), isGone ? other : QByteArray("dpkg's own"));
        }
        for (const char* status : { "install ok installed", "install ok half-configured" })
            QVERIFY2(!hides("Depends: lib\n", { "install", "app" }, status), status);
    }

    void onlyWhatNobodyAsksForIsLeftAlone()
    {
        write("status", stanza("app", "install ok unpacked", "Depends: lib\n"));
        const std::string folder = m_dir.path().toStdString();
        {
            const StatusView asked(SortArguments({ "install", "app" }), status(), folder, true);
            QVERIFY(!asked.File().empty() && asked.LeftAlone().empty());
        }
        const StatusView other(SortArguments({ "install", "other" }), status(), folder, true);
        QCOMPARE(WithStates(other.LeftAlone()), std::string("app (unpacked)"));
        QVERIFY(other.Covered().empty());
    }

    void brokenPackagesOfOtherArchitecturesAreTheirOwn()
    {
        const QByteArray foreign
            = stanza("a", "install ok half-installed", "Architecture: ppc64\n");
        const QByteArray native = stanza("a", "install ok installed");
        write("status", native + foreign);
        QCOMPARE(shown({ "install", "b" }), native);
        QCOMPARE(shown({ "install", "a:ppc64" }), QByteArray("dpkg's own"));
    }

    void theViewIsBesideDpkgsOwnOnlyWhereThatIsLocked()
    {
        write("status", stanza("half", "install ok half-installed"));
        const Arguments arguments = SortArguments({ "install", "a" });
        const std::string folder = m_dir.path().toStdString();
        {
            const StatusView view(arguments, status(), folder, true);
            QCOMPARE(leftovers().size(), 1);
            QCOMPARE(view.LeftAlone().size(), std::size_t(1));
            QCOMPARE(WithStates(view.LeftAlone()), std::string("half (half-installed)"));
        }
        QString elsewhere;
        {
            const StatusView view(arguments, status(), folder, false);
            QCOMPARE(leftovers(), QStringList());
            elsewhere = QString::fromStdString(view.File());
            QVERIFY(QFile::exists(elsewhere));
        }
        QVERIFY(!QFile::exists(elsewhere));
        // The view cannot be written.
        const StatusView view(arguments, status(), folder + "/nowhere", true);
        QVERIFY(view.File().empty() && view.LeftAlone().empty());
    }

    void whatAKilledRunLeftIsRemoved()
    {
        write("status", "");
        const pid_t gone = fork();
        if (gone == 0)
            _exit(0);
        waitpid(gone, nullptr, 0);
        const QByteArray dead = "status-vos." + QByteArray::number(gone);
        const QByteArray living = "status-vos." + QByteArray::number(getppid());
        for (const QByteArray& name : { dead, living, QByteArray("status-vos.x") })
            write(name.constData(), "x");
        shown({ "install", "a" }, false);
        QCOMPARE(leftovers().size(), 3);
        shown({ "install", "a" });
        QCOMPARE(leftovers(),
                 (QStringList{ QString::fromLatin1(living), QStringLiteral("status-vos.x") }));
        for (const QString& name : leftovers())
            QVERIFY(QFile::remove(m_dir.filePath(name)));
    }

    void aHalfRemovedPackageDoesNotVanish()
    {
        const char list[] = "root/var/lib/dpkg/info/half.list";
        const QByteArray mark = "/var/lib/dpkg/info/half.half-removed\n";
        QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("root/usr/bin")));
        QCOMPARE(listAfterKeeping(list, "/.\n/usr\n/usr/bin\n/usr/bin/gone\n", "half"),
                 "/.\n/usr\n/usr/bin\n/usr/bin/gone\n" + mark);
        // Once is enough.
        QCOMPARE(listAfterKeeping(list, "/usr\n" + mark, "half"), "/usr\n" + mark);
        // Names with an architecture.
        QCOMPARE(listAfterKeeping(list, "/usr\n", "half:ppc64"), "/usr\n" + mark);
        QVERIFY(QFile::remove(m_dir.filePath(QLatin1String(list))));
        const QByteArray native
            = QByteArray("root/var/lib/dpkg/info/half:") + NativeArchitecture() + ".list";
        QCOMPARE(listAfterKeeping(native.constData(), "/usr\n", "half"), "/usr\n" + mark);
        QVERIFY(QFile::remove(m_dir.filePath(QLatin1String(native))));
        // Without a list, none is made.
        KeepFromVanishing(m_dir.filePath(QStringLiteral("root")).toStdString(), "half");
        QVERIFY(!QFile::exists(m_dir.filePath(QLatin1String(list))));
    }

    void aPackageThatStillHasFilesMayVanish()
    {
        const char list[] = "root/var/lib/dpkg/info/half.list";
        write("root/usr/bin/half", "x");
        const QByteArray text = "/usr\n/usr/bin/half\n";
        QCOMPARE(listAfterKeeping(list, text, "half"), text);
    }

    void noListIsChangedWhileDpkgWorks()
    {
        const char list[] = "root/var/lib/dpkg/info/half.list";
        write("root/var/lib/dpkg/lock-frontend", "");
        const QByteArray lock
            = QFile::encodeName(m_dir.filePath(QStringLiteral("root/var/lib/dpkg/lock-frontend")));
        int ready[2], done[2];
        QVERIFY(pipe(ready) == 0 && pipe(done) == 0);
        const pid_t holder = fork();
        if (holder == 0) {
            struct flock all = {};
            all.l_type = F_WRLCK;
            fcntl(open(lock.constData(), O_RDWR), F_SETLK, &all);
            char byte = 0;
            close(done[1]);
            _exit(::write(ready[1], &byte, 1) == 1 && ::read(done[0], &byte, 1) == 0 ? 0 : 1);
        }
        char byte = 0;
        QCOMPARE(::read(ready[0], &byte, 1), ssize_t(1));
        QCOMPARE(listAfterKeeping(list, "/usr\n", "half"), QByteArray("/usr\n"));
        close(done[1]);
        waitpid(holder, nullptr, 0);
        QVERIFY(listAfterKeeping(list, "/usr\n", "half").endsWith("half-removed\n"));
        for (const int fd : { ready[0], ready[1], done[0] })
            close(fd);
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
