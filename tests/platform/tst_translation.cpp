// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The parts of the front end that are plain functions: the command line, the translation
// of lines, the status reader, progress, settings.

#include "base/packagename.h"
#include "platform/aptwords.h"
#include "platform/arguments.h"
#include "platform/locks.h"
#include "platform/progress.h"
#include "platform/statusreader.h"
#include "platform/translator.h"

#include <QTemporaryFile>
#include <QtTest>
#include <utility>

class TranslationTest : public QObject
{
    Q_OBJECT

private slots:
    void lines_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        const auto row = [](const char* name, const char* from, const char* to) {
            QTest::newRow(name) << QByteArray(from) << QByteArray(to);
        };
        row("get with both architectures",
            "Get:1 http://host/repo ./. i386 libhp amd64 1.0-1 [716 B]",
            "Get:1 http://host/repo ./. libhp 1.0-1 [716B]");
        row("get with one", "Get:12 http://h ./ libhp all 1:2~x [1,234 kB]",
            "Get:12 http://h ./ libhp 1:2~x [1,234kB]");
        row("get with none", "Get:1 http://h ./ libhp 1.0 [1 B]",
            "Get:1 http://h ./ libhp 1.0 [1B]");
        row("get of an index", "Get:3 http://h ./ Packages [649 B]",
            "Get:3 http://h ./ Packages [649B]");
        row("get without a size", "Get:1 http://h ./. i386 a all 1", "Get:1 http://h ./. a 1");
        row("need", "Need to get 1444 B of archives.", "Need to get 1444B of archives.");
        row("need some", "Need to get 0 B/1,234 kB of archives.",
            "Need to get 0B/1,234kB of archives.");
        row("unmet", "The following packages have unmet dependencies:",
            "E: The following packages have unmet dependencies:");
        row("other", "Setting up a (1 B) ...", "Setting up a (1 B) ...");
        row("empty", "", "");
    }
    void lines()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        Progress progress;
        QCOMPARE(QByteArray::fromStdString(Translate(from.toStdString(), progress)), to);
    }

    void sizes()
    {
        QCOMPARE(SizeInBytes("716 B"), 716.0);
        QCOMPARE(SizeInBytes("2,345kB"), 2345000.0);
        QCOMPARE(SizeInBytes("1.5 MB"), 1500000.0);
        QCOMPARE(SizeInBytes("2GB of"), 2e9);
        QCOMPARE(SizeInBytes("x"), 0.0);
        QCOMPARE(SizeInBytes(""), 0.0);
    }

    void statusLines()
    {
        const auto told = ParseStatus("pmstatus:libfoo:40.5:Unpacking libfoo: (amd64)");
        QVERIFY(told.has_value());
        QVERIFY(told->phase == Status::Phase::Install);
        QCOMPARE(told->item, std::string("libfoo"));
        QCOMPARE(told->percent, 40.5);
        QCOMPARE(told->text, std::string("Unpacking libfoo: (amd64)"));
        QVERIFY(ParseStatus("dlstatus:1:0:x")->phase == Status::Phase::Download);
        for (const char* line : { "", "pmstatus", "pmstatus:a", "pmstatus:a:1", "pmerror:a:1:x",
                                  "pmstatus:a:x:y", "pmstatus:a::y", "pmstatus:a:101:y",
                                  "pmstatus:a:-1:y", "pmstatus:a:nan:y", "pmstatus:a:1x:y" })
            QVERIFY2(!ParseStatus(line), line);
    }

    void linesArePutTogetherHoweverTheyAreSplit()
    {
        const std::string text = "one\ntw\to\r\n\n\x1b[1mthree\x7f\nlast";
        const std::vector<std::string> expected{ "one", "two", "", "[1mthree", "last" };
        for (std::size_t split = 0; split <= text.size(); ++split) {
            LineReader reader;
            std::vector<std::string> lines;
            const auto keep = [&lines](const std::string& line) { lines.push_back(line); };
            reader.Feed(text.data(), split, keep);
            reader.Feed(text.data() + split, text.size() - split, keep);
            reader.Finish(keep);
            QCOMPARE(lines, expected);
        }
    }

    void overlongLinesAreCut()
    {
        LineReader reader;
        const std::string text = std::string(100000, 'x') + "\nnext\n";
        std::vector<std::string> lines;
        reader.Feed(text.data(), text.size(),
                    [&lines](const std::string& line) { lines.push_back(line); });
        QCOMPARE(lines.size(), std::size_t(2));
        QCOMPARE(lines[0].size(), LineReader::maxLine);
        QCOMPARE(lines[1], std::string("next"));
    }

    void whatNoTerminalMayGetIsDropped_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        const auto row = [](const char* name, const char* from, const char* to) {
            QTest::newRow(name) << QByteArray(from) << QByteArray(to);
        };
        row("words", "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x99\x82 \xC2\xA0",
            "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x99\x82 \xC2\xA0");
        row("control", "a\x01\x1F\x7F b", "a b");
        row("second control", "a\xC2\x80\xC2\x9B\xC2\x9F b", "a b");
        row("latin", "a\x9B\xE4 b", "a b");
        row("cut", "a\xE2\x82", "a");
        row("cut by a letter", "a\xE2\x82z", "az");
        row("too long forms", "a\xC0\xAF\xE0\x82\x9B\xF0\x80\x82\x9B b", "a b");
        row("beyond the last", "a\xF5\x80\x80\x80 b", "a b");
    }
    void whatNoTerminalMayGetIsDropped()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QCOMPARE(QByteArray::fromStdString(PlainText(from.toStdString())), to);
    }

    void dpkgHasAllOfARunWithoutDownloads()
    {
        Progress progress;
        const auto line = [&progress](const char* status) {
            return QString::fromStdString(progress.Line(*ParseStatus(status)));
        };
        QCOMPARE(line("pmstatus:a:0:Removing a"), QStringLiteral("0% [a 40%]"));
        QCOMPARE(line("pmstatus:a:66.6:Removed a"), QStringLiteral("66% [a 100%]"));
    }

    void progressNeverGoesBack()
    {
        Progress progress;
        progress.SetTotal(100);
        const auto line = [&progress](const char* status) {
            return QString::fromStdString(progress.Line(*ParseStatus(status)));
        };
        QCOMPARE(line("dlstatus:1:0:x"), QStringLiteral("0% [Connecting 0%]"));
        progress.BeginItem("a", 40);
        QCOMPARE(line("dlstatus:1:20:x"), QStringLiteral("10% [1 a 50%]"));
        QCOMPARE(line("dlstatus:1:10:x"), QStringLiteral("10% [1 a 25%]"));
        progress.BeginItem("b", 60);
        QCOMPARE(line("dlstatus:2:70:x"), QStringLiteral("35% [2 b 50%]"));
        QCOMPARE(line("pmstatus:a:0:Installing a"), QStringLiteral("50% [a 20%]"));
        QCOMPARE(line("pmstatus:a:50:Configuring a"), QStringLiteral("75% [a 80%]"));
        QCOMPARE(line("pmstatus:a:10:Installed a"), QStringLiteral("75% [a 100%]"));
        QCOMPARE(line("dlstatus:1:99:x"), QStringLiteral("75% [2 b 98%]"));
    }

    void commandLine()
    {
        const Arguments sorted = SortArguments({ "-yp", "install", "-o", "Dir::Etc::Sourcelist=/s",
                                                 "a", "-p", "-q", "b", "--print-uris" });
        QCOMPARE(sorted.words,
                 (std::vector<std::string>{ "-y", "install", "-o", "Dir::Etc::Sourcelist=/s", "a",
                                            "-q", "b", "--print-uris" }));
        QCOMPARE(sorted.command, std::string("install"));
        QCOMPARE(sorted.names, (std::vector<std::string>{ "a", "b" }));
        QVERIFY(sorted.printUris);
        QVERIFY(sorted.ownSources);
        const Arguments dashes = SortArguments({ "remove", "--", "-p" });
        QCOMPARE(dashes.names, std::vector<std::string>{ "-p" });
        QVERIFY(!dashes.ownSources);
        QVERIFY(SortArguments({}).command.empty());
    }

    void settingsOnTheCommandLine_data()
    {
        QTest::addColumn<QStringList>("words");
        const auto row
            = [](const char* name, const QStringList& words) { QTest::newRow(name) << words; };
        row("apart", { "-o", "Dir::Etc::Sourcelist=/s", "-o", "Dir::State::lists=/l/" });
        row("together", { "-oDir::Etc::Sourcelist=/s", "-ypoDir::State::lists=/l/" });
        row("long", { "--option", "Dir::Etc::Sourcelist=/s", "--option=Dir::State::lists=/l/" });
        row("other case", { "-o", "dir::etc::sourcelist=/s", "-o", "DIR::State::Lists=/l/" });
    }
    void settingsOnTheCommandLine()
    {
        QFETCH(QStringList, words);
        words += { QStringLiteral("-t"), QStringLiteral("-p"), QStringLiteral("install") };
        std::vector<std::string> line;
        for (const QString& word : std::as_const(words))
            line.push_back(word.toStdString());
        const Arguments sorted = SortArguments(line);
        QVERIFY(sorted.ownSources);
        QCOMPARE(sorted.listsFolder, std::string("/l/"));
        QCOMPARE(sorted.command, std::string("install"));
        QCOMPARE(sorted.words.size(), std::size_t(words.size())); // "-p" is a value there
    }

    void locksOfACommand()
    {
        using List = std::vector<std::string>;
        const auto locks = [](const List& words) { return LocksOf(SortArguments(words), "/r"); };
        QCOMPARE(locks({ "update", "-o", "Dir::State::lists=/l/" }), List{ "/l//lock" });
        QCOMPARE(locks({ "update" }), List{ "/r/var/lib/apt/lists/lock" });
        QCOMPARE(locks({ "clean" }), List{ "/r/var/cache/apt/archives/lock" });
        QCOMPARE(locks({ "--print-uris", "install", "a" }), List());
        QCOMPARE(locks({ "--help" }), List());
        QCOMPARE(locks({ "remove", "a" }).size(), std::size_t(3));
    }

    void names()
    {
        for (const char* name : { "a", "g++", "libc6:i386", "a=1:2-3", "X.y" })
            QVERIFY2(Agent::IsPackageWord(name), name);
        for (const char* name : { "", "nano-", "?x", "~i", "a*", "a/b", "a^", "a b", "-a",
                                  "a:", "a=1-", "\xC3\xA4", "a\n" })
            QVERIFY2(!Agent::IsPackageWord(name), name);
    }

    void knownPackages()
    {
        QTemporaryFile status;
        QVERIFY(status.open());
        status.write("Package: g++\nStatus: x\n\nPackage: a\n");
        status.flush();
        const std::string file = status.fileName().toStdString();
        QVERIFY(IsKnownPackage(file, "g++"));
        QVERIFY(IsKnownPackage(file, "a:amd64"));
        QVERIFY(!IsKnownPackage(file, "a+"));
        QVERIFY(!IsKnownPackage(file + "x", "a"));
    }

    void wrongNamesAreNamed()
    {
        const auto error = [](const std::vector<std::string>& words) {
            return NameError(SortArguments(words), "/nonexistent");
        };
        QCOMPARE(error({ "install", "a", "b+" }), std::string());
        QCOMPARE(error({ "install", "a", "b-" }), std::string("E: Not the name of a package: b-"));
        QCOMPARE(error({ "remove", "a+" }), std::string("E: Unable to locate package a+"));
        QCOMPARE(error({ "autoremove", "?all" }),
                 std::string("E: Not the name of a package: ?all"));
        // Whatever an option takes as its value, the names are checked.
        QCOMPARE(error({ "--unknown", "value", "install", "nano-" }),
                 std::string("E: Not the name of a package: nano-"));
    }

    void settings()
    {
        const std::string machine = AptSettings("", false, 3);
        QVERIFY(machine.find("--root") == machine.npos);
        QVERIFY(machine.find("AllowUnauthenticated") == machine.npos);
        QVERIFY(machine.find("APT::Status-Fd \"3\";") != machine.npos);
        const std::string root = AptSettings("/r", true, 3);
        QVERIFY(root.find("DPkg::Options:: \"--root=/r\";") != root.npos);
        QVERIFY(root.find("AllowUnauthenticated") == root.npos);
        QVERIFY(root.find("AllowInsecureRepositories") == root.npos);
        QVERIFY(CanBeQuoted("/a b/c"));
        QVERIFY(!CanBeQuoted("/a\"b"));
        QVERIFY(!CanBeQuoted("/a\nb"));
    }
};

QTEST_GUILESS_MAIN(TranslationTest)
#include "tst_translation.moc"
