// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The escaping of text, byte by byte.

#include "util/urlcodec.h"
#include "util/urltext.h"

#include <QtTest>
#include <cstring>
#include <utility>

using namespace Agent;

class UrlCodecTest : public QObject
{
    Q_OBJECT

private slots:
    void encodesEveryByte()
    {
        for (int byte = 1; byte < 256; ++byte) {
            const std::string text(1, char(byte));
            char escape[8];
            std::snprintf(escape, sizeof escape, "%%%02X", byte);
            const bool special = byte <= 32 || byte >= 127
                || std::strchr("@<>#\"&?={}|^~[]'`\\:%", byte) != nullptr;
            const std::string wanted = byte == '+' ? "%252b" : special ? escape : text;
            QCOMPARE(url_encode(text), wanted);
        }
        QCOMPARE(url_encode(std::string("/-_.!*(),;$")), std::string("/-_.!*(),;$"));
    }

    void decodesEveryEscape()
    {
        for (int byte = 1; byte < 128; ++byte) {
            for (const char* form : { "x%%%02Xy", "x%%%02xy" }) {
                char escape[8];
                std::snprintf(escape, sizeof escape, form, byte);
                const std::string wanted = std::string("x") + char(byte) + "y";
                QCOMPARE(url_decode(std::string(escape)), wanted);
                QCOMPARE(url_decode(QString::fromLatin1(escape)), QString::fromStdString(wanted));
            }
        }
        // Alone these bytes are not valid UTF-8, and are read as Latin-1.
        for (int byte = 128; byte < 256; ++byte) {
            const QString escape = QLatin1Char('%') + QString::number(byte, 16);
            QCOMPARE(url_decode(escape), QString(QChar(ushort(byte))));
        }
    }

    void everyByteButPlusComesBack()
    {
        for (int byte = 1; byte < 128; ++byte) {
            const std::string text = std::string("a") + char(byte) + "b";
            QCOMPARE(url_decode(url_encode(text)), byte == '+' ? std::string("a%2bb") : text);
        }
        const QString wide = QString::fromUtf8("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
        QCOMPARE(url_encode(wide), QStringLiteral("%C3%A9%E2%82%AC%F0%9F%98%80"));
        QCOMPARE(url_decode(url_encode(wide)), wide);
        QCOMPARE(url_decode(url_encode(wide.toStdString())), wide.toStdString());
    }

    void plusIsEscapedTwice()
    {
        QCOMPARE(url_encode(QStringLiteral("a+b c")), QStringLiteral("a%252bb%20c"));
        QCOMPARE(url_encode(std::string("a+b c")), std::string("a%252bb%20c"));
        QCOMPARE(url_encode(std::string("++")), std::string("%252b%252b"));
    }

    void backslashKeepsTheNextCharacter()
    {
        QCOMPARE(url_decode(QStringLiteral("a\\+b+c")), QStringLiteral("a+b c"));
        QCOMPARE(url_decode(std::string("a\\+b+c")), std::string("a+b c"));
        QCOMPARE(url_decode(std::string("\\\\+")), std::string("\\ "));
        QCOMPARE(url_decode(std::string("\\a\\%41")), std::string("aA"));
    }

    void backslashAtTheEndIsDropped()
    {
        QCOMPARE(url_decode(QStringLiteral("x\\")), QStringLiteral("x"));
        QCOMPARE(url_decode(std::string("x\\")), std::string("x"));
    }

    void percentWithoutDigitsStays()
    {
        for (const char* text : { "%", "%4", "%zz", "%4g", "a%", "100% x", "%%" })
            QCOMPARE(url_decode(std::string(text)), std::string(text));
        QCOMPARE(url_decode(std::string("%%41")), std::string("%A"));
        QCOMPARE(url_decode(std::string("%2541")), std::string("%41"));
    }

    void escapedZeroEndsTheText()
    {
        QCOMPARE(url_decode(std::string("ab%00cd")), std::string("ab"));
        QCOMPARE(url_decode(QStringLiteral("%00cd")), QString(QLatin1String("")));
    }

    void stdFormEndsAtAZeroByte()
    {
        QCOMPARE(url_encode(std::string("a\0b", 3)), std::string("a"));
        QCOMPARE(url_decode(std::string("a\0b", 3)), std::string("a"));
    }

    void emptyAndNullStayAsTheyAre()
    {
        QCOMPARE(url_encode(std::string()), std::string());
        QCOMPARE(url_decode(std::string()), std::string());
        QVERIFY(url_encode(QString()).isNull());
        QVERIFY(url_decode(QString()).isNull());
        QVERIFY(url_encode(QStringLiteral("")).isEmpty()
                && !url_encode(QStringLiteral("")).isNull());
        QVERIFY(url_decode(QStringLiteral("")).isEmpty()
                && !url_decode(QStringLiteral("")).isNull());
    }

    void utf8IsThatOfTheDecodedText()
    {
        QStringList texts{ QString(),
                           QStringLiteral("plain"),
                           QStringLiteral("a+b%41\\+"),
                           QString::fromUtf8("M\xC3\xB6"
                                             "bius %F0%9F%8E%B2"),
                           QStringLiteral("%E9"),
                           QStringLiteral("ab%00cd") };
        for (int code = 0; code < 0x300; ++code)
            texts << QStringLiteral("x") + QChar(code) + QStringLiteral("y");
        for (const QString& text : std::as_const(texts))
            QCOMPARE(url_decode_utf8(text), url_decode(text.toStdString()));
    }

    void aByteOrderMarkIsACharacterLikeOthers()
    {
        const std::string mark = "\xEF\xBB\xBF";
        QCOMPARE(url_decode(std::string("%EF%BB%BFa")), mark + "a");
        QCOMPARE(url_decode(QStringLiteral("%EF%BB%BFa")),
                 QString(QChar(0xFEFF)) + QLatin1Char('a'));
        QCOMPARE(url_decode(std::string("%EF%BB%BF%EF%BB%BF")), mark + mark);
    }

    void invalidBytesReadAsLatin1()
    {
        QCOMPARE(url_decode(std::string("%EF%BF%BD")), std::string("\xEF\xBF\xBD"));
        QCOMPARE(url_decode(std::string("%E9t%E9")), std::string("\xC3\xA9t\xC3\xA9"));
        QCOMPARE(url_decode(std::string("%C3%A9")), std::string("\xC3\xA9"));
    }
};

QTEST_GUILESS_MAIN(UrlCodecTest)
#include "tst_urlcodec.moc"
