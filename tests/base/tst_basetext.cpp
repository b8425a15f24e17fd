// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Characters, numbers and escapes, and the stanzas of dpkg's status.

#include "base/base64.h"
#include "base/dpkgstatus.h"
#include "base/requestname.h"
#include "base/text.h"
#include "base/utf8.h"

#include <QtTest>
#include <sstream>

using namespace Agent;

class BaseTextTest : public QObject
{
    Q_OBJECT

private slots:
    // -- UTF-8

    void everyCharacterIsOneAndSurrogatesAreNot()
    {
        for (char32_t c = 1; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 17) {
            const std::string bytes = QString::fromUcs4(&c, 1).toStdString();
            if (c >= 0xD800 && c <= 0xDFFF)
                continue;
            QVERIFY(Utf8Length(bytes, 0) == bytes.size() && IsUtf8(bytes));
        }
        QVERIFY(!IsUtf8("\xED\xA0\x80") && !IsUtf8("\xED\xBF\xBF"));
    }

    void invalidBytes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const auto row
            = [](const char* name, const QByteArray& bytes) { QTest::newRow(name) << bytes; };
        row("following byte alone", "\x80");
        row("overlong of two", "\xC0\x80");
        row("overlong of two, highest", "\xC1\xBF");
        row("overlong of three", "\xE0\x9F\xBF");
        row("overlong of four", "\xF0\x8F\xBF\xBF");
        row("beyond Unicode", "\xF4\x90\x80\x80");
        row("far beyond Unicode", "\xF5\x80\x80\x80");
        row("no second byte", "\xC3");
        row("ASCII as the second byte", "\xC3x");
        row("no third byte", "\xE2\x82");
        row("bad third byte", "\xE2\x82\xC0");
        row("no fourth byte", "\xF0\x9F\x98");
        row("bad fourth byte", "\xF0\x9F\x98z");
    }
    void invalidBytes()
    {
        QFETCH(QByteArray, bytes);
        const std::string text = bytes.toStdString();
        QCOMPARE(Utf8Length(text, 0), std::size_t(0));
        QVERIFY(!IsUtf8(text) && !IsUtf8("a" + text) && !IsUtf8(text + "a"));
    }

    void aReaderTakesTextByteByByte()
    {
        Utf8Reader reader;
        QByteArray whole;
        for (const char c : std::string("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z")) {
            QVERIFY(reader.Take(static_cast<unsigned char>(c)));
            whole += reader.IsWhole() ? '1' : '0';
        }
        QCOMPARE(whole, QByteArray("10100100011"));
    }

    // -- numbers and escapes

    void wordsHaveNoBlanksAroundThem()
    {
        QCOMPARE(Trimmed(" \t a b\r"), std::string("a b"));
        QCOMPARE(Trimmed("a"), std::string("a"));
        QCOMPARE(Trimmed("\na"), std::string("\na"));
        QCOMPARE(Trimmed(" \t\r"), std::string());
        QCOMPARE(Trimmed(""), std::string());
        QVERIFY((WordsIn("  a\tb\r\nc ") == std::vector<std::string>{ "a", "b", "c" }));
        QVERIFY(WordsIn(" ").empty());
    }

    void leadingNumbers()
    {
        QCOMPARE(LeadingNumber(" 12 kB"), 12);
        QCOMPARE(LeadingNumber("-3x"), -3);
        QCOMPARE(LeadingNumber("x3"), 0);
        QCOMPARE(LeadingNumber("99999999999"), std::numeric_limits<std::int32_t>::max());
        QCOMPARE(LeadingNumber("-99999999999999999999"), std::numeric_limits<std::int32_t>::min());
    }

    void positiveNumbersAreDigitsOnly()
    {
        QCOMPARE(PositiveNumber("2147483647"), 2147483647);
        QCOMPARE(PositiveNumber("007"), 7);
        for (const char* text :
             { "", "0", "2147483648", "99999999999999999999", "-1", "+1", " 1", "1 ", "0x1" })
            QVERIFY2(PositiveNumber(text) == 0, text);
    }

    void anEscapeIsTwoDigitsAfterThePercentSign()
    {
        QCOMPARE(EscapedByte("%2F", 0), 0x2F);
        QCOMPARE(EscapedByte("a%fFb", 1), 0xFF);
        for (const char* text : { "2F", "%", "%2", "%2g", "%g2", "% 2" })
            QVERIFY2(EscapedByte(text, 0) < 0, text);
        std::string escaped;
        for (const char c : { '\0', '/', '\xFF' })
            AppendEscaped(escaped, c);
        QCOMPARE(escaped, std::string("%00%2F%FF"));
    }

    void bytesAsBase64_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("none") << QByteArray();
        QTest::newRow("one") << QByteArray("\xFF", 1);
        QTest::newRow("two") << QByteArray("\0\xFE", 2);
        QTest::newRow("three") << QByteArray("abc");
        QTest::newRow("a text") << QByteArray("a text of some length\n");
    }
    void bytesAsBase64()
    {
        QFETCH(QByteArray, bytes);
        const std::string text = ToBase64(bytes.toStdString());
        QCOMPARE(QByteArray::fromStdString(text), bytes.toBase64());
        std::string back = "old";
        QVERIFY(FromBase64(text, back));
        QCOMPARE(QByteArray::fromStdString(back), bytes);
    }
    void onlyBase64IsRead()
    {
        std::string bytes;
        for (const char* text :
             { "A", "AA", "AAA", "AB==", "AAB=", "AAAA=", "=", "AA=A", "A A=", "AA-A", "AAAA\n" })
            QVERIFY2(!FromBase64(text, bytes), text);
    }

    void aRequestHasOneName_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* url, const char* name) {
            QTest::newRow(url) << QString::fromLatin1(url) << QString::fromLatin1(name);
        };
        row("http://Shop.Example/A?b=C", "http://shop.example/A?b=C");
        row("http://shop:80/a", "http://shop/a");
        row("https://shop:443/a", "https://shop/a");
        row("http://shop:443/a", "http://shop:443/a");
        row("HTTP://shop", "http://shop");
        row("http://shop/a?x[]=%7e%41", "http://shop/a?x%5B%5D=~A");
        row("http://shop/a?x%5b%5d=1", "http://shop/a?x%5B%5D=1");
        row("http://shop/a?x=1%262&y=a+b%2Bc%2f%", "http://shop/a?x=1%262&y=a+b%2Bc%2F%25");
        row("http://shop/\xC3\xB6 ", "http://shop/%C3%B6%20");
    }
    void aRequestHasOneName()
    {
        QFETCH(QString, url);
        QFETCH(QString, name);
        QCOMPARE(QString::fromStdString(RequestName(url.toLatin1().toStdString())), name);
    }

    // -- stanzas

    void aStanzaHasItsFieldsInAnyLetterCase()
    {
        std::istringstream text("\n\nPackage: a\nSTATUS:  install ok installed\nDescription: x\n"
                                " Version: not one\nArchitecture: all\n\nPackage: b");
        StatusStanza stanza;
        QVERIFY(stanza.Read(text));
        QCOMPARE(stanza.Field("Status"), std::string("install ok installed"));
        QCOMPARE(stanza.Field("Version"), std::string());
        QCOMPARE(stanza.Field("Stat"), std::string());
        QCOMPARE(stanza.Key(), std::string("a"));
        QVERIFY(stanza.Read(text));
        QCOMPARE(stanza.Key(), std::string("b"));
        QVERIFY(!stanza.Read(text));
    }

    void theKeyNamesAForeignArchitecture()
    {
        StatusStanza stanza;
        stanza.lines = { "Package: a", "Architecture: riscv64" };
        QCOMPARE(stanza.Key(), std::string("a:riscv64"));
        stanza.lines = { "Architecture: riscv64" };
        QCOMPARE(stanza.Key(), std::string());
    }
};

QTEST_APPLESS_MAIN(BaseTextTest)
#include "tst_basetext.moc"
