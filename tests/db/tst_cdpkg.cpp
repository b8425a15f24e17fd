// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The reader of dpkg's status file.

#include "db/cdpkg.h"
#include "tests/common/observe.h"
#include "tests/common/plainuser.h"
#include "tests/common/statusfile.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QtTest>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace
{

// The stanza of `text` and an empty line.
CDpkgInfo Stanza(const QByteArray& text)
{
    WriteStatusFile(text + "\n");
    CDpkg packages;
    return packages.ReadStatusFile() == 1 ? packages.Packages().front() : CDpkgInfo();
}

std::vector<std::string> Names(const CDpkg& packages)
{
    std::vector<std::string> names;
    for (const CDpkgInfo& package : packages.Packages())
        names.push_back(package.GetName());
    return names;
}

using Strings = std::vector<std::string>;

} // namespace

class DpkgTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { WriteStatusFile(QByteArray()); }

    // -- the fields

    void everyFieldIsReadFromItsLine()
    {
        const CDpkgInfo info = Stanza("Package: dice\n"
                                      "Essential: Yes\n"
                                      "Status: install ok installed\n"
                                      "Priority: normal\n"
                                      "Section: games\n"
                                      "Installed-Size: 42\n"
                                      "Maintainer: A B <a@b.example>\n"
                                      "Architecture: all\n"
                                      "Source: luck (1.0)\n"
                                      "Version: 1:2.0-1\n"
                                      "Provides: die (= 2), cube\n"
                                      "Conffiles:\n"
                                      " /etc/dice.conf 0123456789abcdef\n"
                                      " /etc/old.conf fedcba9876543210 obsolete\n"
                                      "Description: throws dice\n"
                                      " With two of them,\n"
                                      " or with three.\n"
                                      "Homepage: http://dice.example/\n");
        QCOMPARE(info.m_sName, std::string("dice"));
        QCOMPARE(info.GetName(), std::string("dice"));
        QCOMPARE(info.GetVersion(), std::string("1:2.0-1"));
        QCOMPARE(info.GetStatus(), 0);
        QCOMPARE(info.m_bEssential, true);
        QCOMPARE(info.m_nPriority, 1);
        QCOMPARE(info.m_sSection, std::string("games"));
        QCOMPARE(info.m_nInstalledSize, 42);
        QCOMPARE(info.m_sMaintainer, std::string("A B <a@b.example>"));
        QCOMPARE(info.m_sSource, std::string("luck (1.0)"));
        QCOMPARE(info.m_sProvides, std::string("die (= 2), cube"));
        QCOMPARE(info.m_sDescription, std::string("throws dice"));
        QCOMPARE(info.m_sLongDescription, std::string("With two of them,\nor with three."));
        QCOMPARE(info.m_conffiles.size(), std::size_t(2));
        QCOMPARE(info.m_conffiles[0].path, std::string("/etc/dice.conf"));
        QCOMPARE(info.m_conffiles[0].checksum, std::string("0123456789abcdef"));
        QCOMPARE(info.m_conffiles[1].checksum, std::string("fedcba9876543210 obsolete"));
    }

    void status_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("status");
        QTest::newRow("installed") << QByteArray("Status: install ok installed\n") << 0;
        QTest::newRow("removed") << QByteArray("Status: deinstall ok config-files\n") << 1;
        QTest::newRow("purged") << QByteArray("Status: purge ok not-installed\n") << 1;
        QTest::newRow("never installed") << QByteArray("Status: install ok not-installed\n") << 1;
        QTest::newRow("held") << QByteArray("Status: hold ok installed\n") << 0;
        QTest::newRow("half installed")
            << QByteArray("Status: install reinstreq half-installed\n") << 0;
        QTest::newRow("lower-case name") << QByteArray("status: deinstall ok config-files\n") << 1;
        QTest::newRow("other case of the word") << QByteArray("Status: DEINSTALL ok x\n") << 0;
        QTest::newRow("blank before the colon") << QByteArray("Status : deinstall\n") << 0;
        QTest::newRow("no status line") << QByteArray() << 0;
        QTest::newRow("the last one counts")
            << QByteArray("Status: deinstall ok config-files\nStatus: install ok installed\n") << 0;
    }
    void status()
    {
        QFETCH(QByteArray, line);
        QTEST(Stanza("Package: a\n" + line).GetStatus(), "status");
    }

    void priority_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("priority");
        for (const char* word : { "optional", "standard", "required", "extra", "important", "" })
            QTest::newRow(word) << QByteArray(word) << 0;
        QTest::newRow("normal") << QByteArray("normal") << 1;
        QTest::newRow("normal standard") << QByteArray("normal standard") << 2;
        QTest::newRow("in another order") << QByteArray("standard normal") << 2;
        QTest::newRow("three") << QByteArray("normal standard required") << 3;
        QTest::newRow("four") << QByteArray("normal standard required extra") << 4;
        QTest::newRow("all five") << QByteArray("normal standard required extra important") << 5;
        QTest::newRow("the first missing decides") << QByteArray("standard required extra") << 0;
        QTest::newRow("a gap ends it") << QByteArray("normal required extra important") << 1;
        QTest::newRow("inside a word") << QByteArray("abnormality") << 1;
        QTest::newRow("other case") << QByteArray("Normal") << 0;
    }
    void priority()
    {
        QFETCH(QByteArray, value);
        QTEST(int(Stanza("Package: a\nPriority: " + value + "\n").m_nPriority), "priority");
    }

    void essential_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("essential");
        QTest::newRow("yes") << QByteArray("yes") << true;
        QTest::newRow("capitals") << QByteArray("YES") << true;
        QTest::newRow("no") << QByteArray("no") << false;
        QTest::newRow("more than yes") << QByteArray("yes, it is") << false;
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("a later no") << QByteArray("yes\nEssential: no") << false;
        QTest::newRow("a later yes") << QByteArray("no\nEssential: yes") << true;
    }
    void essential()
    {
        QFETCH(QByteArray, value);
        QTEST(Stanza("Package: a\nEssential: " + value + "\n").m_bEssential, "essential");
    }

    void installedSize_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("size");
        QTest::newRow("number") << QByteArray("1234") << 1234;
        QTest::newRow("leading zeros") << QByteArray("0042") << 42;
        QTest::newRow("unit behind it") << QByteArray("12 kB") << 12;
        QTest::newRow("words") << QByteArray("large") << 0;
        QTest::newRow("empty") << QByteArray() << 0;
        QTest::newRow("negative") << QByteArray("-5") << -5;
        QTest::newRow("over 32 bits") << QByteArray("4294967301") << 2147483647;
        QTest::newRow("over 64 bits") << QByteArray("99999999999999999999") << 2147483647;
        QTest::newRow("below 32 bits")
            << QByteArray("-99999999999999999999") << std::numeric_limits<int>::min();
    }
    void installedSize()
    {
        QFETCH(QByteArray, value);
        QTEST(int(Stanza("Package: a\nInstalled-Size: " + value + "\n").m_nInstalledSize), "size");
    }

    void namesAreComparedBySevenCharactersInAnyCase()
    {
        const CDpkgInfo info = Stanza("PACKAGES-OF-IT: a\n"
                                      "install: 7\n"
                                      "MaInTaIned-By: m\n"
                                      "Sectional: s\n"
                                      "Versions: v\n"
                                      "Providence: p\n"
                                      "Descriptive: d\n"
                                      "Conffile-List: x\n"
                                      "Essentials: yes\n");
        QCOMPARE(info.m_sName, std::string("a"));
        QCOMPARE(info.m_nInstalledSize, 7);
        QCOMPARE(info.m_sMaintainer, std::string("m"));
        QCOMPARE(info.m_sSection, std::string("s"));
        QCOMPARE(info.m_sVersion, std::string("v"));
        QCOMPARE(info.m_sProvides, std::string("p"));
        QCOMPARE(info.m_sDescription, std::string("d"));
        QCOMPARE(info.m_bEssential, true);
    }

    void aLaterFieldOfTheSamePrefixReplaces()
    {
        const CDpkgInfo info = Stanza("Package: a\nDescription: one line\n below it\n"
                                      "Description-md5: 0123\nPackage-Type: deb\n");
        QCOMPARE(info.m_sDescription, std::string("0123"));
        QCOMPARE(info.m_sLongDescription, std::string("below it"));
        QCOMPARE(info.m_sName, std::string("deb"));
    }

    void linesWithoutAColonOrOfOtherNamesAreIgnored()
    {
        const CDpkgInfo info = Stanza("Package a\nVersion\nSource : s\nTag: x\n: y\n:\nPack: b\n"
                                      "Packag: c\n\tPackage: d\nSection: s\n");
        QCOMPARE(info.m_sName, std::string());
        QCOMPARE(info.m_sVersion, std::string());
        QCOMPARE(info.m_sSource, std::string());
        QCOMPARE(info.m_sSection, std::string("s"));
    }

    void valuesBeginBehindBlanksAndTabsAndEndAsTheyStand()
    {
        const CDpkgInfo info = Stanza("Package: \t  a b \t\nVersion:1:2\nSection:\n");
        QCOMPARE(info.m_sName, std::string("a b \t"));
        QCOMPARE(info.m_sVersion, std::string("1:2"));
        QCOMPARE(info.m_sSection, std::string());
    }

    void relationsStayEmpty()
    {
        QByteArray lines = "Package: a\n";
        for (const char* name : { "Depends", "Pre-Depends", "Recommends", "Suggests", "Enhances",
                                  "Conflicts", "Replaces" })
            lines += QByteArray(name) + ": libc6 (>= 2.36), libm | libn, last\n";
        const CDpkgInfo info = Stanza(lines);
        QCOMPARE(info.m_sName, std::string("a"));
        for (const auto* list :
             { &info.m_conflicts, &info.m_depends, &info.m_enhances, &info.m_preDepends,
               &info.m_recommends, &info.m_replaces, &info.m_suggests })
            QVERIFY(list->empty());
    }

    void aPieceOfARelationComesBackAsItIs()
    {
        CDpkgInfo info;
        std::string name = "n";
        std::string version = "v";
        QCOMPARE(info.ParseNameAndVersion(" libc6 (>= 2)", name, version),
                 std::string(" libc6 (>= 2)"));
        QCOMPARE(name, std::string("n"));
        QCOMPARE(version, std::string("v"));
        std::vector<OtherPackageInfo> list{ { "was", "here" } };
        info.ParsePackageInfo(list, "a, b (= 1),,c,");
        QCOMPARE(list.size(), std::size_t(1));
    }

    void conffilesAreCutAtTheirFirstBlank()
    {
        CDpkgInfo info;
        std::vector<Conffiles> list;
        info.ParseConffiles(list, "/etc/a sum more");
        info.ParseConffiles(list, "/etc/without-a-sum");
        info.ParseConffiles(list, "");
        info.ParseConffiles(list, " x");
        QCOMPARE(list.size(), std::size_t(2));
        QCOMPARE(list[0].path, std::string("/etc/a"));
        QCOMPARE(list[0].checksum, std::string("sum more"));
        QCOMPARE(list[1].path, std::string());
        QCOMPARE(list[1].checksum, std::string("x"));
    }

    // -- the lines below a field

    void twoContinuationLinesAreJoinedByALineEnd()
    {
        const CDpkgInfo info = Stanza("Package: a\nDescription: short\n one\n two\n");
        QCOMPARE(info.m_sDescription, std::string("short"));
        QCOMPARE(info.m_sLongDescription, std::string("one\ntwo"));
    }

    void aLoneFullStopIsKept()
    {
        QCOMPARE(Stanza("Description: short\n one\n .\n two\n").m_sLongDescription,
                 std::string("one\n.\ntwo"));
    }

    void continuationLinesLoseTheirLeadingBlanks()
    {
        QCOMPARE(Stanza("Description: short\n  \t * one\n   \n \ttwo \n").m_sLongDescription,
                 std::string("* one\n\ntwo "));
        QCOMPARE(Stanza("Description: short\n \n one\n").m_sLongDescription, std::string("one"));
    }

    void continuationLinesOfOtherFieldsAreIgnored()
    {
        const CDpkgInfo info = Stanza(" before all\nPackage: a\n b\nDepends: x,\n y\n");
        QCOMPARE(info.m_sName, std::string("a"));
        QCOMPARE(info.m_sLongDescription, std::string());
        QVERIFY(info.m_conffiles.empty());
    }

    void linesBelowAnyFieldBelongToTheDescriptionOnceThereWasOne()
    {
        const CDpkgInfo info
            = Stanza("Description: short\n one\nConffiles:\n /etc/a sum\nHomepage: h\n two\n");
        QCOMPARE(info.m_sLongDescription, std::string("one\n/etc/a sum\ntwo"));
        QVERIFY(info.m_conffiles.empty());
    }

    void linesBelowAnyFieldAreConffilesOnceThereWereSome()
    {
        const CDpkgInfo info = Stanza("Conffiles:\n /etc/a sum\nHomepage: h\n /etc/b sum\n");
        QCOMPARE(info.m_conffiles.size(), std::size_t(2));
    }

    void whatAStanzaHadDoesNotReachTheNext()
    {
        WriteStatusFile("Package: a\nDescription: d\n long\nEssential: yes\nPriority: normal\n"
                        "Status: deinstall ok config-files\nConffiles:\n\nPackage: b\n loose\n\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 2);
        const CDpkgInfo second = packages.GetPackageInfo("b");
        QCOMPARE(second.m_sLongDescription, std::string());
        QCOMPARE(second.m_sDescription, std::string());
        QCOMPARE(second.m_bEssential, false);
        QCOMPARE(second.m_nPriority, 0);
        QCOMPARE(second.GetStatus(), 0);
    }

    // -- the records

    void clearEmptiesEveryField()
    {
        CDpkgInfo info
            = Stanza("Package: a\nVersion: 1\nStatus: x not-installed\nPriority: normal\n"
                     "Essential: yes\nInstalled-Size: 3\nSection: s\nSource: o\n"
                     "Maintainer: m\nProvides: p\nConffiles:\n /a b\nDescription: d\n l\n");
        QCOMPARE(info.m_conffiles.size(), std::size_t(1));
        info.m_depends.push_back({ "x", "1" });
        const CDpkgInfo copy(info);
        info.clear();
        QCOMPARE(info.GetName() + info.GetVersion() + info.m_sSection + info.m_sSource
                     + info.m_sMaintainer + info.m_sProvides + info.m_sDescription
                     + info.m_sLongDescription,
                 std::string());
        QCOMPARE(info.GetStatus() + info.m_nPriority + info.m_nInstalledSize, 0);
        QCOMPARE(info.m_bEssential, false);
        QVERIFY(info.m_conffiles.empty() && info.m_depends.empty());
        QCOMPARE(copy.m_sLongDescription, std::string("l"));
        QCOMPARE(copy.m_depends.size(), std::size_t(1));
        QVERIFY(std::has_virtual_destructor<CDpkgInfo>::value);
        QVERIFY(std::has_virtual_destructor<CDpkg>::value);
    }

    void lookingUpIsExactAndTheFirstMatchWins()
    {
        WriteStatusFile(
            "Package: a\nVersion: 1\n\nPackage: A\nVersion: 2\n\nPackage: a\nVersion: 3\n"
            "\nVersion: 4\n\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 4);
        QCOMPARE(packages.GetPackageInfo("a").GetVersion(), std::string("1"));
        QCOMPARE(packages.GetPackageInfo("A").GetVersion(), std::string("2"));
        QCOMPARE(packages.GetPackageInfo("").GetVersion(), std::string("4"));
        QCOMPARE(packages.GetPackageInfo("b").GetVersion(), std::string());
        QCOMPARE(packages.GetPackageInfo("a ").GetName(), std::string());
    }

    void lookingUpGivesACopy()
    {
        WriteStatusFile("Package: a\n\n");
        CDpkg packages;
        packages.ReadStatusFile();
        packages.GetPackageInfo("a").clear();
        QCOMPARE(packages.GetPackageInfo("a").GetName(), std::string("a"));
    }

    void aNameOfOtherLetterCaseIsUnknown()
    {
        WriteStatusFile("Package: dice\n\n");
        CDpkg packages;
        packages.ReadStatusFile();
        const CDpkgInfo info = packages.GetPackageInfo("Dice");
        QCOMPARE(info.GetName(), std::string());
        QCOMPARE(info.GetStatus(), 0);
    }

    void readingTwiceAppends()
    {
        WriteStatusFile("Package: a\nVersion: 1\n\nPackage: b\n\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 2);
        WriteStatusFile("Package: a\nVersion: 2\n\nPackage: c\n\n");
        QCOMPARE(packages.ReadStatusFile(), 2);
        QCOMPARE(Names(packages), (Strings{ "a", "b", "a", "c" }));
        QCOMPARE(packages.GetPackageInfo("a").GetVersion(), std::string("1"));
        QCOMPARE(packages.GetPackageInfo("c").GetName(), std::string("c"));
    }

    void dumpWritesNamesAndVersions()
    {
        WriteStatusFile("Package: a\nVersion: 1\n\nVersion: 2\n\nPackage: c\n\n");
        CDpkg packages;
        packages.ReadStatusFile();
        const StandardOutput output;
        packages.Dump();
        QCOMPARE(output.text(), QByteArray("a\t1\n\t2\nc\t\n"));
    }

    // -- whole and broken files

    void lastStanzaWithoutAnEmptyLineIsLost()
    {
        WriteStatusFile("Package: a\n\nPackage: b\nVersion: 1\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 1);
        QCOMPARE(Names(packages), Strings{ "a" });
    }

    void whatIsLeftOfALostStanzaDoesNotComeUpAgain()
    {
        WriteStatusFile("Package: a\n\nVersion: 9\nDescription: lost\n lost");
        CDpkg packages;
        packages.ReadStatusFile();
        QCOMPARE(packages.ReadStatusFile(), 1);
        QCOMPARE(packages.Packages().back().GetVersion(), std::string());
        QCOMPARE(packages.Packages().back().m_sLongDescription, std::string());
    }

    void everyEmptyLineEndsAStanza()
    {
        WriteStatusFile("\nPackage: a\n\n\n\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 4);
        QCOMPARE(Names(packages), (Strings{ "", "a", "", "" }));
    }

    void missingFileGivesNothing()
    {
        QVERIFY(QFile::remove(StatusFile()));
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 0);
        QVERIFY(packages.Packages().empty());
        QCOMPARE(packages.GetPackageInfo("a").GetName(), std::string());
    }

    void emptyFileGivesNothing()
    {
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 0);
    }

    void folderInItsPlaceGivesNothing()
    {
        QVERIFY(QFile::remove(StatusFile()));
        QVERIFY(QDir().mkdir(StatusFile()));
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 0);
        QVERIFY(QDir().rmdir(StatusFile()));
    }

    void danglingLinkGivesNothing()
    {
        QVERIFY(QFile::remove(StatusFile()));
        QVERIFY(QFile::link(QStringLiteral("nowhere"), StatusFile()));
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 0);
        QVERIFY(QFile::remove(StatusFile()));
    }

    void unreadableFileGivesNothing()
    {
        WriteStatusFile("Package: a\n\n");
        QVERIFY(QFile::setPermissions(StatusFile(), QFile::Permissions()));
        CDpkg packages;
        {
            const PlainUser user;
            QCOMPARE(packages.ReadStatusFile(), 0);
        }
        QVERIFY(QFile::remove(StatusFile()));
    }

    void fileCutAtAnyByteGivesItsWholeStanzas()
    {
        const QByteArray text = "Package: a\nVersion: 1\nDescription: d\n l\n\nPackage: b\n\n";
        const int first = text.indexOf("\n\n") + 2;
        for (int size = 0; size <= text.size(); ++size) {
            WriteStatusFile(text.left(size));
            CDpkg packages;
            QCOMPARE(packages.ReadStatusFile(), size >= text.size() ? 2 : size >= first ? 1 : 0);
        }
    }

    void linesEndingInCarriageReturnsAreOneUnendedStanza()
    {
        WriteStatusFile("Package: a\r\n\r\nPackage: b\r\n\r\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 0);
    }

    void aLineOfTwoThousandAndFortySixBytesIsWhole()
    {
        const QByteArray value(2046 - 9, 'x');
        QCOMPARE(Stanza("Section: " + value + "\nPackage: a\n").m_sSection, value.toStdString());
    }

    void longerLinesAreTakenInPieces()
    {
        // The second piece begins where a field would, the third with a blank.
        const QByteArray first = "Section: " + QByteArray(2047 - 9, 'x');
        const QByteArray second = "Version: " + QByteArray(2047 - 9, '2');
        const CDpkgInfo info
            = Stanza("Package: a\nDescription: d\n" + first + second + " tail\nSource: s\n");
        QCOMPARE(info.m_sSection, first.mid(9).toStdString());
        QCOMPARE(info.m_sVersion, second.mid(9).toStdString());
        QCOMPARE(info.m_sLongDescription, std::string("tail"));
        QCOMPARE(info.m_sSource, std::string("s"));
    }

    void theLineEndBehindAWholePieceEndsTheStanza()
    {
        WriteStatusFile("Package: a\nSection: " + QByteArray(2047 - 9, 'x') + "\nVersion: 1\n\n");
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 2);
        QCOMPARE(Names(packages), (Strings{ "a", "" }));
    }

    void zeroBytesEndTheirLine()
    {
        WriteStatusFile(
            QByteArray("Package: a\0b\nVersion: 1\n\nPackage: c\n\0Version: 2\n\n", 49));
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 3);
        QCOMPARE(Names(packages), (Strings{ "a", "c", "" }));
        QCOMPARE(packages.GetPackageInfo("a").GetVersion(), std::string("1"));
    }

    void noiseGivesWhatCanBeReadOfIt()
    {
        QByteArray noise;
        for (quint32 i = 0, seed = 7; i < 300000; ++i)
            noise += char((seed = seed * 1664525u + 1013904223u) >> 24);
        WriteStatusFile(noise + "\n\nPackage: a\n\n");
        CDpkg packages;
        QVERIFY(packages.ReadStatusFile() >= 2);
        QCOMPARE(packages.Packages().back().GetName(), std::string("a"));
    }

    void textsAreTakenByteForByte()
    {
        const QByteArray value
            = "\xD0\x9A\xD0\xBE\xD1\x82 \xE7\x8C\xAB \xF0\x9F\x90\x88 \xFF <&'\">%+";
        QCOMPARE(Stanza("Maintainer: " + value + "\n").m_sMaintainer, value.toStdString());
    }

    void aManyTimesLargerFileIsLookedUpByName()
    {
        QByteArray text;
        for (int i = 0; i < 60000; ++i)
            text += "Package: p" + QByteArray::number(i) + "\nVersion: " + QByteArray::number(i)
                + "\n\n";
        WriteStatusFile(text);
        CDpkg packages;
        QCOMPARE(packages.ReadStatusFile(), 60000);
        // Walking the list for each would need 1,800 million comparisons.
        for (int i = 0; i < 60000; ++i)
            QCOMPARE(packages.GetPackageInfo("p" + std::to_string(i)).GetVersion(),
                     std::to_string(i));
    }

    // -- this machine

    void realStatusFileIsReadAsDpkgReadsIt();
};

namespace
{

QStringList Continuation(const QString& field)
{
    QStringList lines = field.split(QLatin1Char('\n')).mid(1);
    for (QString& line : lines) {
        while (line.startsWith(QLatin1Char(' ')) || line.startsWith(QLatin1Char('\t')))
            line.remove(0, 1);
    }
    return lines;
}

// The fields of a record, as the format below has dpkg-query print them.
QStringList Fields(const CDpkgInfo& info)
{
    const auto text = [](const std::string& bytes) { return QString::fromStdString(bytes); };
    QStringList conffiles;
    for (const Conffiles& file : info.m_conffiles)
        conffiles << text(file.path + ' ' + file.checksum);
    return { text(info.GetName()),
             text(info.GetVersion()),
             QString::number(info.GetStatus()),
             text(info.m_sSection),
             text(info.m_sMaintainer),
             QString::number(info.m_nInstalledSize),
             text(info.m_sSource),
             info.m_bEssential ? QStringLiteral("yes") : QStringLiteral("no"),
             text(info.m_sProvides),
             text(info.m_sDescription),
             text(info.m_sLongDescription),
             conffiles.join(QLatin1Char('\n')) };
}

const char statusFormat[]
    = "${Package}\x01${Version}\x01${Status}\x01${Section}\x01${Maintainer}\x01"
      "${Installed-Size}\x01${Source}\x01${Essential}\x01${Provides}\x01"
      "${Description}\x01${Conffiles}\x02";

QStringList Expected(const QString& record)
{
    QStringList fields = record.split(QLatin1Char('\x01'));
    if (fields.size() != 11)
        return fields;
    const QString status = fields[2];
    fields[2] = QString::number(status.contains(QLatin1String("deinstall"))
                                || status.contains(QLatin1String("not-installed")));
    fields[5] = QString::number(fields[5].toInt());
    if (fields[7].isEmpty())
        fields[7] = QStringLiteral("no");
    // Only the part that fits into the reader's buffer.
    fields[8] = fields[8].left(2047 - int(sizeof "Provides: ") + 1);
    const QString description = fields[9];
    const QString conffiles = fields.takeLast();
    fields[9] = description.section(QLatin1Char('\n'), 0, 0);
    fields << Continuation(description).join(QLatin1Char('\n'))
           << Continuation(QLatin1Char('\n') + conffiles).join(QLatin1Char('\n'));
    return fields;
}

} // namespace

void DpkgTest::realStatusFileIsReadAsDpkgReadsIt()
{
    QFile real(QStringLiteral("/var/lib/dpkg/status"));
    QVERIFY(real.open(QIODevice::ReadOnly));
    // A copy, since packages may be installed or removed meanwhile.
    WriteStatusFile(real.readAll());
    QProcess query;
    query.start(QStringLiteral("dpkg-query"),
                { QLatin1String("--admindir=") + QFileInfo(StatusFile()).path(),
                  QStringLiteral("--show"),
                  QLatin1String("--showformat=") + QLatin1String(statusFormat) });
    QVERIFY(query.waitForFinished());
    QCOMPARE(query.exitCode(), 0);
    QStringList records = QString::fromUtf8(query.readAllStandardOutput()).split(QChar(2));
    QCOMPARE(records.takeLast(), QString());
    QVERIFY(records.size() > 10);

    CDpkg packages;
    QCOMPARE(packages.ReadStatusFile(), records.size());
    // A package may be installed for several architectures.
    QMultiMap<QString, QStringList> theirs;
    for (const QString& record : std::as_const(records))
        theirs.insert(record.section(QLatin1Char('\x01'), 0, 1), Expected(record));
    for (const CDpkgInfo& info : packages.Packages()) {
        const QStringList fields = Fields(info);
        const QString key = fields[0] + QLatin1Char('\x01') + fields[1];
        QVERIFY2(theirs.remove(key, fields) > 0,
                 qPrintable(fields.join(QLatin1Char('|')) + QLatin1String("\nis not\n")
                            + theirs.value(key).join(QLatin1Char('|'))));
    }
    QVERIFY(theirs.isEmpty());
}

QTEST_GUILESS_MAIN(DpkgTest)
#include "tst_cdpkg.moc"
