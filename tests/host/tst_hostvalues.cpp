// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The values of the interface for hosts, and the functions that make and judge them: errors,
// plans, the reader of plans, the reader of progress, the comparison with dpkg's status.

#include "host/archivecheck.h"
#include "host/checkjob.h"
#include "host/error.h"
#include "host/jobtitle.h"
#include "host/outcome.h"
#include "host/packagejobs.h"
#include "host/picturesjob.h"
#include "host/places.h"
#include "host/planreader.h"
#include "host/planrun.h"
#include "host/preparejob.h"
#include "host/runlines.h"
#include "host/storejobs.h"
#include "tests/host/shouting.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace Pakmart;

namespace
{

const char* const sound[] = { "W: something",
                              "Plan: 1",
                              "",
                              "Package: lib:i386",
                              "Action: upgrade",
                              "Old-Version: 1:1.0",
                              "New-Version: 1:2.0~a",
                              "Architecture: i386",
                              "Download-Size: 716",
                              "Old-Size: 1024",
                              "New-Size: 2048",
                              "Essential: yes",
                              "Reason: needed",
                              "Because-Of: app",
                              "",
                              "Package: old",
                              "Action: remove",
                              "Old-Version: 1.0",
                              "Download-Size: 0",
                              "Old-Size: 1024",
                              "New-Size: 0",
                              "Essential: no",
                              "Reason: conflict",
                              "Because-Of: app",
                              "",
                              "Package: app",
                              "Action: install",
                              "New-Version: 1.0",
                              "Architecture: all",
                              "Download-Size: 5",
                              "Old-Size: 0",
                              "New-Size: 10240",
                              "Essential: no",
                              "Reason: asked",
                              "",
                              "End: 3" };

QStringList SoundLines()
{
    QStringList lines;
    for (const char* line : sound)
        lines << QLatin1String(line);
    return lines;
}

std::optional<QList<PlanRow>> RowsOf(const QStringList& lines)
{
    PlanReader reader;
    for (const QString& line : lines)
        reader.take(line);
    return reader.rows();
}

Plan SoundPlan()
{
    Plan plan;
    plan.request = { Request::Install, { QStringLiteral("app") } };
    plan.rows = RowsOf(SoundLines()).value();
    return plan;
}

} // namespace

class HostValuesTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_folders = 0;

    // dpkg's status with these packages: "lib 1.0 install ok installed".
    Agent::DpkgStatus status(const QList<QByteArray>& packages)
    {
        const QString folder = m_dir.filePath(QString::number(++m_folders));
        QDir().mkpath(folder);
        QFile file(folder + QStringLiteral("/status"));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write a status file");
        for (const QByteArray& package : packages) {
            const QList<QByteArray> words = package.split(' ');
            file.write("Package: " + words[0] + "\nStatus: " + words.mid(2).join(' ')
                       + "\nVersion: " + words[1] + "\n\n");
        }
        file.close();
        return Agent::DpkgStatus(folder.toStdString());
    }
    QString deviations(const Plan& plan, const QList<QByteArray>& before,
                       const QList<QByteArray>& after)
    {
        return Deviations(plan, status(before), status(after)).join(QLatin1Char('|'));
    }

private slots:
    void eachErrorHasANameAndASentenceOfItsOwn()
    {
        const QMetaEnum codes = QMetaEnum::fromType<Error::Code>();
        QSet<QString> names, sentences;
        for (int i = 0; i < codes.keyCount(); ++i) {
            const auto code = Error::Code(codes.value(i));
            QCOMPARE(Error::fromNumber(code), code);
            names.insert(Error::name(code));
            sentences.insert(Error::sentence(code));
        }
        QCOMPARE(names.size(), codes.keyCount() - 1); // Last is another name of one
        QCOMPARE(sentences.size(), codes.keyCount() - 1);
        QCOMPARE(Error::sentence(Error::NoError), QString());
        QCOMPARE(Error::name(Error::PlanChanged), QStringLiteral("plan-changed"));
        QCOMPARE(Error::fromNumber(Error::Last), Error::Last);
    }

    void anUnknownNumberIsOther()
    {
        for (const int number : { -1, 2, 99, Error::Last + 1, 100000 })
            QCOMPARE(Error::fromNumber(number), Error::Other);
        QCOMPARE(Error::name(Error::Code(2)), QStringLiteral("other"));
    }

    void sentencesAndReasonsAreTranslated()
    {
        Shouting translator;
        QCoreApplication::installTranslator(&translator);
        QCOMPARE(Error::sentence(Error::NotInstalled),
                 QStringLiteral("THE PACKAGE IS NOT INSTALLED."));
        PlanRow row;
        row.reason = PlanRow::NoLongerNeeded;
        QCOMPARE(row.reasonText(), QStringLiteral("NO LONGER NEEDED"));
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(row.reasonText(), QStringLiteral("no longer needed"));
    }

    void aSoundPlanIsReadWhole()
    {
        const auto rows = RowsOf(SoundLines());
        QVERIFY(rows.has_value());
        QCOMPARE(rows->size(), 3);
        const PlanRow& app = rows->at(0);
        QCOMPARE(app.package, QStringLiteral("app"));
        QCOMPARE(app.action, PlanRow::Installed);
        QCOMPARE(app.reasonText(), QStringLiteral("requested"));
        const PlanRow& lib = rows->at(1);
        QCOMPARE(lib.package, QStringLiteral("lib:i386"));
        QCOMPARE(lib.action, PlanRow::Upgraded);
        QCOMPARE(lib.oldVersion, QStringLiteral("1:1.0"));
        QCOMPARE(lib.newVersion, QStringLiteral("1:2.0~a"));
        QCOMPARE(lib.architecture, QStringLiteral("i386"));
        QCOMPARE(lib.downloadSize, qint64(716));
        QCOMPARE(lib.oldSize, qint64(1024));
        QCOMPARE(lib.newSize, qint64(2048));
        QVERIFY(lib.isEssential);
        QCOMPARE(lib.reasonText(), QStringLiteral("needed by app"));
        QCOMPARE(rows->at(2).action, PlanRow::Removed);
        QCOMPARE(rows->at(2).reasonText(), QStringLiteral("conflicts with app"));
    }

    void anEmptyPlanIsAPlan()
    {
        const auto rows
            = RowsOf({ QStringLiteral("Plan: 1"), QString(), QStringLiteral("End: 0") });
        QVERIFY(rows.has_value());
        QVERIFY(rows->isEmpty());
    }

    void linesBeforeThePlanAreMessages()
    {
        PlanReader reader;
        for (const QString& line : SoundLines())
            reader.take(line);
        QCOMPARE(reader.messages(), QStringList(QStringLiteral("W: something")));
    }

    // Without any one of its lines, except empty ones before a row and messages, a plan is
    // not taken for a whole one.
    void aPlanThatLacksALineIsInvalid()
    {
        const QStringList lines = SoundLines();
        for (int i = 1; i < lines.size(); ++i) {
            QStringList cut = lines;
            cut.removeAt(i);
            const bool mayGo = i == 2 || lines[i].startsWith(QLatin1String("Because-Of"))
                || i == int(lines.size()) - 2;
            if (!mayGo)
                QVERIFY2(!RowsOf(cut), qPrintable(lines[i]));
            QVERIFY2(!RowsOf(lines.mid(0, i)), qPrintable(lines[i]));
        }
    }

    void aPlanThatHasAFieldTwiceIsInvalid()
    {
        const QStringList lines = SoundLines();
        for (int i = 3; i < lines.size(); ++i) {
            QStringList twice = lines;
            twice.insert(i, lines[i]);
            if (!lines[i].isEmpty())
                QVERIFY2(!RowsOf(twice), qPrintable(lines[i]));
        }
    }

    void aPlanWithAWrongLineIsInvalid_data()
    {
        QTest::addColumn<int>("at");
        QTest::addColumn<QString>("line");
        int at = -1;
        const auto row
            = [&at](const char* line) { QTest::newRow(line) << at << QString::fromLatin1(line); };
        at = 1;
        row("Plan: 2");
        at = 3;
        for (const char* line : { "Package: -lib", "Package: lib=1", "Package: l;d", "Package: ",
                                  "Package: app", "package: lib", "Package lib", ": lib", " x" })
            row(line);
        at = 4;
        for (const char* line : { "Action: install", "Action: remove", "Action: reinstall",
                                  "Action: Upgrade", "Action: purge", "Package: lib" })
            row(line);
        at = 5;
        for (const char* line : { "Old-Version: 1:2.0~a", "Old-Version: 1 2", "Old-Version: -1" })
            row(line);
        at = 8;
        for (const char* line :
             { "Download-Size: -1", "Download-Size: +1", "Download-Size: 1e3", "Download-Size: 0x1",
               "Download-Size: 99999999999999", "Download-Size: 1 ", "Unknown: 1" })
            row(line);
        at = 11;
        row("Essential: maybe");
        at = 12;
        row("Reason: because");
        at = 13;
        row("Because-Of: a b");
        at = 35;
        for (const char* line : { "End: 2", "End: 4", "End: 03", "End: x", "End:3", "End: " })
            row(line);
    }
    void aPlanWithAWrongLineIsInvalid()
    {
        QFETCH(int, at);
        QFETCH(QString, line);
        QStringList lines = SoundLines();
        lines[at] = line;
        QVERIFY(!RowsOf(lines));
    }

    void nothingMayFollowAPlan()
    {
        QVERIFY(RowsOf(SoundLines() << QString()));
        QVERIFY(!RowsOf(SoundLines() << QStringLiteral("Package: evil")));
    }

    void totalsOfAPlan()
    {
        const Plan plan = SoundPlan();
        QCOMPARE(plan.downloadSize(), qint64(721));
        QCOMPARE(plan.diskSize(), qint64(1024 - 1024 + 10240));
        QVERIFY(!plan.isEmpty());
        QVERIFY(plan.removesOthers());
        QCOMPARE(plan.otherRemovals(), QStringList(QStringLiteral("old")));
        QCOMPARE(plan.row(QStringLiteral("old")).action, PlanRow::Removed);
        QVERIFY(plan.row(QStringLiteral("none")).package.isEmpty());
        QVERIFY(Plan().isEmpty());
        QVERIFY(!Plan().removesOthers());
    }

    void onlyAProblemThatPreventsMakesAPlanImpossible()
    {
        Plan plan;
        QVERIFY(plan.isPossible());
        PlanProblem problem;
        problem.prevents = false;
        plan.problems << problem;
        QVERIFY(plan.isPossible());
        problem.prevents = true;
        plan.problems << problem;
        QVERIFY(!plan.isPossible());
    }

    void theDigestIsThatOfAllThatIsDone()
    {
        const Plan plan = SoundPlan();
        QCOMPARE(plan.digest().size(), 64);
        Plan same = plan;
        std::reverse(same.rows.begin(), same.rows.end());
        same.rows[0].downloadSize = 0; // it is in the cache now
        QCOMPARE(same.digest(), plan.digest());
        const std::vector<std::function<void(Plan&)>> changes{
            [](Plan& p) { p.request.kind = Request::Reinstall; },
            [](Plan& p) { p.request.packages << QStringLiteral("x"); },
            [](Plan& p) { p.request.removals << QStringLiteral("x"); },
            [](Plan& p) { p.rows.removeLast(); },
            [](Plan& p) { p.rows[1].package = QStringLiteral("lib"); },
            [](Plan& p) { p.rows[1].architecture = QStringLiteral("amd64"); },
            [](Plan& p) { p.rows[1].action = PlanRow::Downgraded; },
            [](Plan& p) { p.rows[1].reason = PlanRow::AskedFor; },
            [](Plan& p) { p.rows[1].because = QStringLiteral("x"); },
            [](Plan& p) { p.rows[1].oldVersion = QStringLiteral("0"); },
            [](Plan& p) { p.rows[1].newVersion = QStringLiteral("3"); },
            [](Plan& p) { p.rows[1].oldSize = 0; },
            [](Plan& p) { p.rows[1].newSize = 0; },
            [](Plan& p) { p.rows[1].isEssential = false; },
        };
        for (std::size_t i = 0; i < changes.size(); ++i) {
            Plan other = plan;
            changes[i](other);
            QVERIFY2(other.digest() != plan.digest(), qPrintable(QString::number(i)));
        }
    }

    void aListedArchiveIsReadWholeOrNotAtAll_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("name");
        const QString sum(64, QLatin1Char('a'));
        const auto row = [&sum](const char* form, const char* name) {
            QTest::newRow(form) << QString::fromLatin1(form).replace(QLatin1String("%1"), sum)
                                << QString::fromLatin1(name);
        };
        row("'http://h/a_1.deb' a_2%3a1_all.deb 12 SHA256:%1", "a_2%3a1_all.deb");
        row("'http://h/a_1.deb' ../a_1_all.deb 12 SHA256:%1", "");
        row("'http://h/a_1.deb' a/b.deb 12 SHA256:%1", "");
        row("'http://h/a_1.deb' .a.deb 12 SHA256:%1", "");
        row("'http://h/a_1.deb' a.deb -1 SHA256:%1", "");
        row("'http://h/a_1.deb' a.deb 12 MD5Sum:%1", "");
        row("'http://h/a_1.deb' a.deb 12 SHA256:%1a", "");
        row("'http://h/a_1.deb' a.deb 12 ", "");
        row("", "");
    }
    void aListedArchiveIsReadWholeOrNotAtAll()
    {
        QFETCH(QString, line);
        QFETCH(QString, name);
        const ListedArchive archive = ListedArchive::of(line);
        QCOMPARE(archive.name, name);
        if (name.isEmpty())
            return;
        QCOMPARE(archive.size, 12);
        QCOMPARE(archive.sum, QByteArray(64, 'a'));
    }

    void theRunGetsTheVersionsThatWereShown()
    {
        Plan plan = SoundPlan();
        plan.request.packages << QStringLiteral("lib:i386") << QStringLiteral("there");
        const QStringList words = WordsOf(plan);
        QCOMPARE(words.mid(words.size() - 3),
                 (QStringList{ QStringLiteral("app=1.0"), QStringLiteral("lib:i386"),
                               QStringLiteral("there") }));
        QVERIFY(words.contains(QStringLiteral("--allow-removals")));
        QVERIFY(!words.contains(QStringLiteral("--allow-downgrades")));
        QVERIFY(!words.contains(QStringLiteral("--allow-remove-essential")));
        plan.rows.removeLast();
        QVERIFY(!WordsOf(plan).contains(QStringLiteral("--allow-removals")));
        plan.rows[0].action = PlanRow::Downgraded;
        QVERIFY(WordsOf(plan).contains(QStringLiteral("--allow-downgrades")));
    }

    void theStoreIsThatOfTheSettingsFile_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("address"); // empty: the one of the build
        QTest::newRow("no file") << QByteArray() << QString();
        QTest::newRow("other keys") << QByteArray("keep agent xml = 1\n") << QString();
        QTest::newRow("an address") << QByteArray("agent api url = http://store.example/api\n")
                                    << QStringLiteral("http://store.example/api");
    }
    void theStoreIsThatOfTheSettingsFile()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, address);
        const QString file = QString::fromStdString(Agent::SettingsFile());
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QFile::remove(file);
        if (!text.isEmpty()) {
            QFile out(file);
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write(text) == text.size());
        }
        if (address.isEmpty())
            QVERIFY(Places::storeAddress().endsWith("/getagentapi.php"));
        else
            QCOMPARE(Places::storeAddress(), address);
        QCOMPARE(Places::storeAddressFile(),
                 address.isEmpty() ? QString()
                                   : QStringLiteral("/usr/share/apps/vantrelagent/.vauf"));
        QFile::remove(file);
    }
    void foldersAreThoseOfTheUserAndOfAll()
    {
        QCOMPARE(Places::catalog(), QStringLiteral("/usr/share/apps/vantrelagent"));
        QCOMPARE(Places::recentlyUsed(),
                 QDir::homePath() + QStringLiteral("/.kde/share/apps/vantrelagent"));
        QCOMPARE(Places::packageLists(), QDir::homePath() + QStringLiteral("/.vos-apt-get"));
        QVERIFY(Places::pictures().endsWith("/pakmart/pictures"));
    }

    void newsOfLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("news");
        const auto row = [](const char* line, const char* news) {
            QTest::newRow(line) << QString::fromLatin1(line) << QString::fromLatin1(news);
        };
        row("45% [2 libfoo 18%]", "45  ");
        row("100% [Done 100%]", "100  ");
        row("999% [x 1%]", "100  ");
        row("45%", "-1  ");
        row("x45% [2 libfoo 18%]", "-1  ");
        row("Get:1 http://h/r ./. libhp 1.0-1 [716B]", "-1 libhp d");
        row("Get:1 http://h/r", "-1  d");
        row("Get:1 http://h/r ./. $(id) 1", "-1  d");
        row("Unpacking lib:i386 (1.0) ...", "-1 lib:i386 w");
        row("Setting up lib (1.0) ...", "-1 lib w");
        row("Removing lib (1.0) ...", "-1 lib w");
        row("(Reading database ... ", "-1  w");
        row("Selecting previously unselected package lib.", "-1  w");
        row("Preparing to unpack .../lib_1.0_all.deb ...", "-1  w");
        row("Purging configuration files for lib (1.0) ...", "-1  w");
        row("Waiting for the package lock, which is held by process 5", "-1  l");
        row("Waiting for cache lock: Could not get lock", "-1  l");
        row("The following packages will be REMOVED:", "-1  ");
        row("", "-1  ");
    }
    void newsOfLines()
    {
        QFETCH(QString, line);
        QFETCH(QString, news);
        const LineNews found = NewsOf(line);
        const QString marks = QLatin1String(found.downloads ? "d" : "")
            + QLatin1String(found.dpkgWorks ? "w" : "") + QLatin1String(found.waits ? "l" : "");
        QCOMPARE(QStringLiteral("%1 %2 %3").arg(found.percent).arg(found.package, marks), news);
    }

    void whatWasPlannedAndDoneIsNoDeviation()
    {
        const Plan plan = SoundPlan();
        const QList<QByteArray> after{ "app 1.0 install ok installed",
                                       "lib 1:2.0~a install ok installed",
                                       "other 5 install ok installed" };
        const QList<QByteArray> before{ "lib 1:1.0 install ok installed",
                                        "old 1.0 install ok installed",
                                        "other 5 install ok installed" };
        Plan native = plan;
        native.rows[1].package = QStringLiteral("lib");
        QCOMPARE(deviations(native, before, after), QString());
        QCOMPARE(deviations(native, before,
                            after + QList<QByteArray>{ "old 1.0 deinstall ok config-files" }),
                 QString());
    }

    void whatWasNotDoneAsPlannedIsNamed_data()
    {
        QTest::addColumn<QByteArray>("app");
        QTest::addColumn<QString>("deviation");
        const auto row = [](const char* app, const char* deviation) {
            QTest::newRow(app) << QByteArray(app) << QString::fromLatin1(deviation);
        };
        row("app 1.0 install ok installed", "");
        row("app 1.0 hold ok installed", "");
        row("app 1.1 install ok installed", "app is installed in version 1.1, not in 1.0.");
        row("app 1.0 install ok half-configured",
            "app is not fully installed (its state is 'install ok half-configured').");
        row("app 1.0 install reinstreq installed",
            "app is not fully installed (its state is 'install reinstreq installed').");
        row("app 1.0 deinstall ok config-files", "app is not installed.");
        row("x 1.0 install ok unpacked",
            "app is not installed.|x was changed, which was not planned "
            "(its state is 'install ok unpacked').");
    }
    void whatWasNotDoneAsPlannedIsNamed()
    {
        QFETCH(QByteArray, app);
        QFETCH(QString, deviation);
        Plan plan = SoundPlan();
        plan.rows = plan.rows.mid(0, 1);
        QCOMPARE(deviations(plan, {}, { app }), deviation);
    }

    void aPackageThatStayedIsNamed()
    {
        Plan plan;
        plan.request = { Request::Remove, { QStringLiteral("old") } };
        plan.rows = SoundPlan().rows.mid(2);
        const QList<QByteArray> before{ "old 1.0 install ok installed" };
        QCOMPARE(deviations(plan, before, before),
                 QStringLiteral("old is not removed (its state is 'install ok installed')."));
        QCOMPARE(deviations(plan, before, {}), QString());
    }

    void changesOfOtherPackagesAreNamed_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<bool>("deviates");
        const auto row
            = [](const char* name, const char* before, const char* after, bool deviates) {
                  QTest::newRow(name) << QByteArray(before) << QByteArray(after) << deviates;
              };
        row("same", "x 1 install ok installed", "x 1 install ok installed", false);
        row("gone", "x 1 install ok installed", "y 1 purge ok not-installed", true);
        row("new", "y 1 purge ok not-installed", "x 1 install ok installed", true);
        row("other version", "x 1 install ok installed", "x 2 install ok installed", true);
        row("broken", "x 1 install ok installed", "x 1 install ok half-configured", true);
        row("mended", "x 1 install ok half-configured", "x 1 install ok installed", false);
        row("as broken", "x 1 install ok unpacked", "x 1 install ok half-configured", false);
        row("purged", "x 1 deinstall ok config-files", "y 1 purge ok not-installed", false);
    }
    void changesOfOtherPackagesAreNamed()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        QFETCH(bool, deviates);
        QCOMPARE(!deviations(Plan(), { before }, { after }).isEmpty(), deviates);
    }

    void aRequestedPackageThatIsBrokenIsADeviationWithoutARow()
    {
        Plan plan;
        plan.request = { Request::Install, { QStringLiteral("x=1") } };
        const QList<QByteArray> half{ "x 1 install ok unpacked" };
        QVERIFY(!deviations(plan, half, half).isEmpty());
        const QList<QByteArray> whole{ "x 1 install ok installed" };
        QCOMPARE(deviations(plan, whole, whole), QString());
    }

    void aStatusThatCannotBeReadIsADeviation()
    {
        const Agent::DpkgStatus none(m_dir.filePath(QStringLiteral("none")).toStdString());
        QCOMPARE(Deviations(Plan(), none, none),
                 QStringList(Error::sentence(Error::StatusUnreadable)));
    }

    void failuresGetTheirCodes_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* line, const char* name) {
            QTest::newRow(line) << QString::fromLatin1(line) << QString::fromLatin1(name);
        };
        row("E: Failed to fetch http://h/x  Hash Sum mismatch", "checksum-mismatch");
        row("E: Failed to fetch http://h/x  404  Not Found", "download-failed");
        row("E: The download has stalled: the store sends almost nothing.", "download-failed");
        row("E: You don't have enough free space in /var/cache/apt/archives/.", "no-disk-space");
        row("E: Unable to acquire the dpkg frontend lock (/x), are you root?", "not-permitted");
        row("E: Could not get lock /var/lib/dpkg/lock-frontend.", "lock-held");
        row("E: The following packages have unmet dependencies:", "unresolvable");
        row("E: Unable to locate package x", "unknown-package");
        row("E: Packages need to be removed but remove is disabled: x", "removals-not-allowed");
        row("E: Held packages were changed and -y was used without x", "package-on-hold");
        row("E: Unable to run apt-get", "tools-missing");
        row(" x package post-installation script subprocess returned error exit status 1",
            "script-failed");
        row("E: Something else", "tools-failed");
        row("nothing", "tools-failed");
    }
    void failuresGetTheirCodes()
    {
        QFETCH(QString, line);
        QFETCH(QString, name);
        const Failure failure = FailureOf({ QStringLiteral("first"), line });
        QCOMPARE(Error::name(failure.code), name);
        QVERIFY(failure.sentence.startsWith(Error::sentence(failure.code)));
        QVERIFY(!failure.sentence.contains(QLatin1String("E: ")));
    }

    void requestsHaveTitles_data()
    {
        QTest::addColumn<Request>("request");
        QTest::addColumn<QString>("title");
        const auto row = [](const char* title, const Request& request) {
            QTest::newRow(title) << request << QString::fromLatin1(title);
        };
        const auto names
            = [](const char* all) { return QString::fromLatin1(all).split(QLatin1Char(' ')); };
        row("Install a, b, c", { Request::Install, names("a b c") });
        row("Install a, b, c, ...", { Request::Install, names("a b c d") });
        row("Install product 7", { Request::Install, {}, { 7 } });
        row("Remove a", { Request::Remove, names("a") });
        row("Upgrade a", { Request::Upgrade, names("a") });
        row("Upgrade all packages", { Request::Upgrade });
        row("Reinstall a", { Request::Reinstall, names("a") });
        row("Update the system", { Request::SystemUpdate });
        row("Repair the installation", { Request::Repair });
        row("Remove packages that are no longer needed", { Request::RemoveUnneeded });
        row("Change packages", { Request::OtherKind });
        row("Change a", { Request::OtherKind, names("a") });
    }
    void requestsHaveTitles()
    {
        QFETCH(Request, request);
        QTEST(TitleOf(request), "title");
        QTEST(TitleOfPreview(request).remove(QStringLiteral("Preview: ")), "title");
        PlanProduct named, unnamed;
        named.name = QStringLiteral("Star Lander");
        unnamed.package = QStringLiteral("dice");
        if (request.kind == Request::Install)
            QCOMPARE(TitleOf(request, { named, unnamed }),
                     QStringLiteral("Install Star Lander, dice"));
    }

    void jobsHaveTheTitlesOfTheirKinds()
    {
        const std::unique_ptr<Job> jobs[] = {
            std::make_unique<InstallJob>(QStringList(QStringLiteral("a"))),
            std::unique_ptr<Job>(InstallJob::ofProducts({ 7 })),
            std::make_unique<CommitJob>(Plan()),
            std::make_unique<PrepareJob>(Request{ Request::Repair }),
            std::make_unique<CheckJob>(),
            std::make_unique<RefreshCatalogJob>(),
            std::make_unique<RefreshSourcesJob>(),
            std::unique_ptr<Job>(RefreshSourcesJob::ifChanged()),
            std::make_unique<AislesJob>(),
            std::make_unique<PicturesJob>(),
            std::make_unique<SyncJob>(),
            std::make_unique<RegisterJob>(),
        };
        QStringList titles;
        for (const auto& job : jobs)
            titles << job->title();
        QCOMPARE(titles.join(QLatin1Char('|')),
                 QStringLiteral("Install a|Install product 7|Change packages|"
                                "Preview: Repair the installation|Check the installation|"
                                "Refresh the catalog|Refresh the package sources|"
                                "Refresh the package sources|Fetch the aisles of the store|"
                                "Fetch the list of pictures|"
                                "Fetch this computer's applications|Register this computer"));
    }
};

QTEST_GUILESS_MAIN(HostValuesTest)
#include "tst_hostvalues.moc"
