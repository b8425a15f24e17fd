// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The plain text helpers.

#include "util/text.h"

#include <QtTest>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

class TextTest : public QObject
{
    Q_OBJECT

private slots:
    void caseChangesAsciiLettersOnly()
    {
        for (int byte = 0; byte < 256; ++byte) {
            const std::string text(1, char(byte));
            const bool lower = byte >= 'a' && byte <= 'z';
            const bool upper = byte >= 'A' && byte <= 'Z';
            QCOMPARE(UpCase(text), std::string(1, char(lower ? byte - 32 : byte)));
            QCOMPARE(LowCase(text), std::string(1, char(upper ? byte + 32 : byte)));
        }
        QCOMPARE(UpCase("a1 Z"), std::string("A1 Z"));
    }

    void trimRightGivesTheLastCharacterAndItsBlanks()
    {
        QCOMPARE(TrimRight("abc  "), std::string("c  "));
        QCOMPARE(TrimRight("abc"), std::string("c"));
        QCOMPARE(TrimRight("a b\t\n"), std::string("b\t\n"));
    }

    void trimRightOfNothingThrows()
    {
        QVERIFY_EXCEPTION_THROWN(TrimRight(""), std::out_of_range);
        QVERIFY_EXCEPTION_THROWN(TrimRight(" \t\n\v\f\r"), std::out_of_range);
    }

    void copyStrCopiesAPart()
    {
        char from[] = "abcdef";
        char to[] = "........";
        QCOMPARE(CopyStr(from, 2, 3, to), to);
        QCOMPARE(std::memcmp(to, "cde\0....", 8), 0);
        CopyStr(from, 0, 0, to);
        QCOMPARE(std::strlen(to), std::size_t(0));
    }

    void padStrFillsToTheWidth()
    {
        char from[] = "ab";
        char to[16];
        QCOMPARE(PadStr(from, 5, '0', to), to);
        QCOMPARE(std::string(to), std::string("ab000"));
    }

    void padStrDoesNotCut()
    {
        char from[] = "abcdef";
        char to[16];
        PadStr(from, 5, '0', to);
        QCOMPARE(std::string(to), std::string("abcdef"));
        PadStr(from, 6, '0', to);
        QCOMPARE(std::string(to), std::string("abcdef"));
        PadStr(from, -1, '0', to);
        QCOMPARE(std::string(to), std::string("abcdef"));
    }

    void padStrWorksInPlace()
    {
        char buffer[16] = "ab";
        PadStr(buffer, 4, ' ', buffer);
        QCOMPARE(std::string(buffer), std::string("ab  "));
        char shifted[16] = ".abc";
        PadStr(shifted + 1, 5, '-', shifted);
        QCOMPARE(std::string(shifted), std::string("abc--"));
    }

    void getGroupWalksAPath()
    {
        char path[] = "usr/share";
        char* at = path;
        char* group = getGroup(&at);
        QCOMPARE(std::string(group), std::string("usr"));
        QCOMPARE(at, path + 4);
        std::free(group);
        group = getGroup(&at);
        QCOMPARE(std::string(group), std::string("share"));
        QCOMPARE(at, path + 9);
        std::free(group);
        group = getGroup(&at);
        QCOMPARE(std::string(group), std::string());
        QCOMPARE(at, path + 9);
        std::free(group);
    }

    void getGroupSeesAnEmptyComponent()
    {
        char path[] = "a//b";
        char* at = path;
        QStringList groups;
        for (int i = 0; i < 3; ++i) {
            char* group = getGroup(&at);
            groups << QString::fromLatin1(group);
            free(group);
        }
        QCOMPARE(groups, (QStringList{ QStringLiteral("a"), QString(), QStringLiteral("b") }));
    }

    void getGroupOfALeadingSlashIsEmpty()
    {
        char path[] = "/usr";
        char* at = path;
        char* group = getGroup(&at);
        QCOMPARE(std::string(group), std::string());
        QCOMPARE(at, path + 1);
        std::free(group);
    }
};

QTEST_GUILESS_MAIN(TextTest)
#include "tst_text.moc"
