// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The plan that the front end prints for programs: plain functions.

#include "platform/arguments.h"
#include "platform/packageplan.h"

#include <QtTest>

class PlanTest : public QObject
{
    Q_OBJECT

private:
    static PlannedChange change(const char* line, const PackageFields& before = {},
                                const PackageFields& after = {})
    {
        PlannedChange made = ParseChange(line).value();
        made.before = before;
        made.after = after;
        return made;
    }
    static QByteArray reason(const PackagePlan& plan, const PlannedChange& of)
    {
        const ChangeReason found = plan.ReasonOf(of);
        return QByteArray::fromStdString(found.word + ' ' + found.package).trimmed();
    }

private slots:
    void changes_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("read");
        const auto row = [](const char* line, const char* read) {
            QTest::newRow(line) << QByteArray(line) << QByteArray(read);
        };
        row("Inst extra (1.0 localhost [all])", "install extra  1.0 all");
        row("Inst lib [1.0] (2.0 localhost [all])", "upgrade lib 1.0 2.0 all");
        row("Inst lib [1.0] (1.0 localhost [all]) []", "reinstall lib 1.0 1.0 all");
        row("Inst lib:i386 [1:1.0~a] (1:2.0-1 Debian:12.1/stable, Security:12 [i386]) [a:amd64 ]",
            "upgrade lib:i386 1:1.0~a 1:2.0-1 i386");
        row("Remv lib [1.0]", "remove lib 1.0  ");
        row("Remv lib [1.0] [app:amd64 ]", "remove lib 1.0  ");
        row("Purg lib [1.0]", "remove lib 1.0  ");
        row("Conf lib (2.0 localhost [all])", "");
        row("Inst ", "");
        row("Inst lib", "");
        row("Inst lib [1.0]", "");
        row("Inst lib (2.0 localhost)", "");
        row("Inst lib ([all])", "");
        row("Inst lib (2.0; localhost [all])", "");
        row("Inst lib (2.0 localhost [a b])", "");
        row("Inst -lib (2.0 localhost [all])", "");
        row("Inst lib [1.0;] (2.0 localhost [all])", "");
        row("Remv lib", "");
        row("Remv lib [", "");
        row("Remv  [1.0]", "");
        row("", "");
    }
    void changes()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, read);
        const auto found = ParseChange(line.toStdString());
        QCOMPARE(found.has_value(), !read.isEmpty());
        if (found)
            QCOMPARE(QByteArray::fromStdString(found->Action() + (' ' + found->name) + ' '
                                               + found->oldVersion + ' ' + found->newVersion + ' '
                                               + found->architecture),
                     read);
    }

    void aDowngradeIsWhatAptGetNamesSo()
    {
        PlannedChange back = change("Inst lib [2.0] (1.0 localhost [all])");
        QCOMPARE(back.Action(), "upgrade");
        back.isDowngrade = true;
        QCOMPARE(back.Action(), "downgrade");
    }

    void namesOfAField()
    {
        using Names = std::set<std::string>;
        QCOMPARE(NamesIn("a (>= 1.0), b:any | c [amd64],d,e"), (Names{ "a", "b", "c", "d", "e" }));
        QCOMPARE(NamesIn(""), Names());
        QCOMPARE(NamesIn(" , |"), Names());
    }

    void onlyFieldsThatMatterAreKept()
    {
        PackageFields fields;
        for (const char* line : { "Package: a", "Size: 5", "Description: x", " Size: 6", "Size:7" })
            NoteField(line, fields);
        QCOMPARE(fields, (PackageFields{ { "Package", "a" }, { "Size", "5" } }));
    }

    void whyAPackageIsInstalled()
    {
        PackagePlan plan({ "app" }, false);
        plan.Add(change("Inst other (1 l [all])", {}, { { "Depends", "lib" } }));
        plan.Add(change("Inst lib (1 l [all])", {}, { { "Provides", "virtual" } }));
        plan.Add(change("Inst app (1 l [all])", {},
                        { { "Depends", "lib | x, virtual2" }, { "Recommends", "nice" } }));
        plan.Add(change("Inst p (1 l [all])", {}, { { "Provides", "virtual2 (= 1)" } }));
        plan.Add(change("Inst nice (1 l [all])"));
        plan.Add(change("Inst odd (1 l [all])"));
        auto& rows = plan.Changes();
        QCOMPARE(reason(plan, rows[1]), QByteArray("needed app"));
        QCOMPARE(reason(plan, rows[2]), QByteArray("asked"));
        QCOMPARE(reason(plan, rows[3]), QByteArray("needed app"));
        QCOMPARE(reason(plan, rows[4]), QByteArray("recommended app"));
        QCOMPARE(reason(plan, rows[5]), QByteArray("other"));
    }

    void anUpgradeOfEverythingAsksForAllThatNothingElseNeeds()
    {
        PackagePlan plan({}, false);
        plan.Add(change("Inst app [1] (2 l [all])", {}, { { "Depends", "fresh" } }));
        plan.Add(change("Inst fresh (1 l [all])"));
        QCOMPARE(reason(plan, plan.Changes()[0]), QByteArray("asked"));
        QCOMPARE(reason(plan, plan.Changes()[1]), QByteArray("needed app"));
    }

    void whyAPackageIsRemoved()
    {
        PackagePlan plan({ "foe" }, false);
        plan.Add(change("Inst foe (1 l [all])", {}, { { "Conflicts", "lib (<< 2)" } }));
        plan.Add(change("Remv lib [1]", { { "Provides", "libs" } }));
        plan.Add(change("Remv app [1]", { { "Depends", "libs" } }));
        plan.Add(change("Remv enemy [1]", { { "Breaks", "foe" } }));
        plan.Add(change("Remv odd [1]"));
        auto& rows = plan.Changes();
        QCOMPARE(reason(plan, rows[0]), QByteArray("asked"));
        QCOMPARE(reason(plan, rows[1]), QByteArray("conflict foe"));
        QCOMPARE(reason(plan, rows[2]), QByteArray("dependency lib"));
        QCOMPARE(reason(plan, rows[3]), QByteArray("conflict foe"));
        QCOMPARE(reason(plan, rows[4]), QByteArray("other"));

        PackagePlan remove({ "lib" }, true);
        remove.Add(rows[1]);
        remove.Add(rows[4]);
        QCOMPARE(reason(remove, rows[1]), QByteArray("asked"));
        QCOMPARE(reason(remove, rows[4]), QByteArray("unused"));
    }

    // An install that names a package which then has to go did not ask for that.
    void aRemovalInAnInstallIsNotAskedFor()
    {
        PackagePlan plan({ "lib" }, false);
        plan.Add(change("Remv lib [1]"));
        QCOMPARE(reason(plan, plan.Changes()[0]), QByteArray("other"));
    }

    void aRemovalThatAnInstallNamesIsAskedFor()
    {
        PackagePlan plan({ "app" }, false, { "lib" });
        plan.Add(change("Remv lib [1]"));
        QCOMPARE(reason(plan, plan.Changes()[0]), QByteArray("asked"));
    }

    // Also if one of them needs another.
    void anAutoremoveRemovesWhatIsUnused()
    {
        PackagePlan plan({}, true);
        plan.Add(change("Remv lib [1]", { { "Package", "lib" }, { "Depends", "deep" } }));
        plan.Add(change("Remv deep [1]", { { "Package", "deep" } }));
        QCOMPARE(reason(plan, plan.Changes()[0]), QByteArray("unused"));
    }

    void thePrintedPlanIsCompleteAndCounted()
    {
        PackagePlan plan({ "lib" }, false);
        PlannedChange lib = change("Inst lib [1.0] (2.0 l [all])",
                                   { { "Installed-Size", "3" }, { "Essential", "yes" } },
                                   { { "Installed-Size", "5" }, { "Depends", "extra" } });
        lib.download = 716;
        plan.Add(lib);
        plan.Add(change("Inst extra (1.0 l [all])"));
        const std::vector<std::string> wanted{ "Plan: 1",
                                               "",
                                               "Package: lib",
                                               "Action: upgrade",
                                               "Old-Version: 1.0",
                                               "New-Version: 2.0",
                                               "Architecture: all",
                                               "Download-Size: 716",
                                               "Old-Size: 3072",
                                               "New-Size: 5120",
                                               "Essential: yes",
                                               "Reason: asked",
                                               "",
                                               "Package: extra",
                                               "Action: install",
                                               "New-Version: 1.0",
                                               "Architecture: all",
                                               "Download-Size: 0",
                                               "Old-Size: 0",
                                               "New-Size: 0",
                                               "Essential: no",
                                               "Reason: needed",
                                               "Because-Of: lib",
                                               "",
                                               "End: 2" };
        QCOMPARE(plan.Lines(), wanted);
    }

    void theOptionIsASimulation()
    {
        const Arguments line
            = SortArguments({ "-yp", "--plan", "install", "-o", "A=1", "-oB=2", "lib" });
        QVERIFY(line.plans);
        QVERIFY(line.simulates);
        QVERIFY(!ChangesPackages(line));
        QCOMPARE(line.words,
                 (std::vector<std::string>{ "-y", "--simulate", "install", "-o", "A=1", "-oB=2",
                                            "lib" }));
        QCOMPARE(line.settings, (std::vector<std::string>{ "A=1", "B=2" }));
        QVERIFY(!SortArguments({ "install", "lib" }).plans);
    }

    void removalsAreWordsForAptGet()
    {
        const Arguments line = SortArguments({ "--remove=a", "install", "--remove=g++", "lib" });
        QCOMPARE(line.words, (std::vector<std::string>{ "install", "lib", "a-", "g++-" }));
        QCOMPARE(line.names, (std::vector<std::string>{ "lib" }));
        QCOMPARE(NameError(line, std::string()), "");
        for (const char* name : { "", "a-", "-a", "a=1", "?x", "a/b" })
            QVERIFY2(!NameError(SortArguments({ std::string("--remove=") + name, "install" }), "")
                          .empty(),
                     name);
        for (const char* command : { "remove", "upgrade", "update" })
            QVERIFY2(!NameError(SortArguments({ "--remove=a", command }), "").empty(), command);
    }

    void aDownloadIsNoticed()
    {
        for (const char* option : { "-d", "-ydq", "--download-only" })
            QVERIFY2(SortArguments({ option, "install", "lib" }).downloadsOnly, option);
        for (const char* option : { "-y", "-oDir=d", "--", "--plan" })
            QVERIFY2(!SortArguments({ option, "install", "d" }).downloadsOnly, option);
    }
};

QTEST_GUILESS_MAIN(PlanTest)
#include "tst_plan.moc"
