// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The server's text functions. The encoder is checked with the agent's own decoder, after
// the XML parser that the agent uses.

#include "base/text.h"
#include "server/reply.h"
#include "server/stanza.h"
#include "util/urlcodec.h"

#include <QDomDocument>
#include <QRandomGenerator>
#include <QtTest>

using namespace Agent;

class ServerTextTest : public QObject
{
    Q_OBJECT

private:
    // Both forms of decoding, of an attribute and of a text, give `text` back.
    static bool survives(const std::string& text)
    {
        const QByteArray code = QByteArray::fromStdString(EncodeText(text));
        QDomDocument document;
        if (!document.setContent("<r a=\"" + code + "\">" + code + "</r>"))
            return false;
        const QDomElement root = document.documentElement();
        for (const QString& got : { root.text(), root.attribute(QStringLiteral("a")) }) {
            if (url_decode(got).toStdString() != text || url_decode(got.toStdString()) != text)
                return false;
        }
        return true;
    }

private slots:
    void everyPairOfAsciiSurvives()
    {
        std::string failed;
        for (int first = 1; first < 128; ++first) {
            for (int second = 1; second < 128; ++second) {
                const std::string pair{ char(first), char(second) };
                if (!TextFault(pair) && !survives(pair))
                    failed += pair + ' ';
            }
        }
        QCOMPARE(failed, std::string());
    }

    void everyCharacterSurvives()
    {
        // In blocks, since a document for each of a million characters would take too
        // long.
        for (char32_t block = 0xa0; block <= 0x10ffff; block += 256) {
            std::string text;
            for (char32_t c = block; c < block + 256 && c <= 0x10ffff; ++c) {
                if (c < 0xd800 || c > 0xdfff)
                    text += QString::fromUcs4(&c, 1).toStdString();
            }
            QVERIFY2(!TextFault(text), qPrintable(QString::number(uint(block), 16)));
            QVERIFY2(survives(text), qPrintable(QString::number(uint(block), 16)));
        }
    }

    void textsSurvive_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a blank") << QByteArray(" ");
        QTest::newRow("only white space") << QByteArray(" \n\t\n ");
        QTest::newRow("white space around") << QByteArray("\n a \t");
        QTest::newRow("looks encoded") << QByteArray("100%25 a%2bb %zz % %%");
        QTest::newRow("backslashes") << QByteArray("\\\\server\\share+\\");
        QTest::newRow("markup") << QByteArray("</r><![CDATA[x]]>&amp;&#65;<!--");
        QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf"
                                                       "a");
        QTest::newRow("no characters") << QByteArray("\xef\xbf\xbe\xef\xbf\xbf");
        QTest::newRow("bidi and astral") << QByteArray("\xe2\x80\xae \xf0\x9f\x98\x80");
    }
    void textsSurvive()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!TextFault(text.toStdString()));
        QVERIFY(survives(text.toStdString()));
    }

    void randomTextsSurvive()
    {
        QRandomGenerator random(20260101);
        const QString pool = QStringLiteral("%+\\<>&\"'=;#aZ09 \t\n./\u00e9\u4e2d");
        for (int round = 0; round < 5000; ++round) {
            QString text;
            for (int length = random.bounded(12); length >= 0; --length)
                text += pool[random.bounded(pool.size())];
            QVERIFY2(survives(text.toStdString()), qPrintable(text));
        }
    }

    void faultsOfText_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("faulty");
        QTest::newRow("plain") << QByteArray("a\tb\nc \xc3\xa9") << false;
        QTest::newRow("zero byte") << QByteArray("a\0b", 3) << true;
        QTest::newRow("escape") << QByteArray("\x1b[1m") << true;
        QTest::newRow("carriage return") << QByteArray("a\r") << true;
        QTest::newRow("delete") << QByteArray("\x7f") << true;
        QTest::newRow("lone continuation") << QByteArray("\x80") << true;
        QTest::newRow("latin-1") << QByteArray("caf\xe9") << true;
        QTest::newRow("cut at the end") << QByteArray("\xe4\xb8") << true;
        QTest::newRow("overlong slash") << QByteArray("\xc0\xaf") << true;
        QTest::newRow("overlong, three") << QByteArray("\xe0\x80\xaf") << true;
        QTest::newRow("overlong, four") << QByteArray("\xf0\x80\x80\xaf") << true;
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << true;
        QTest::newRow("beyond the last") << QByteArray("\xf4\x90\x80\x80") << true;
        QTest::newRow("five bytes") << QByteArray("\xf8\x88\x80\x80\x80") << true;
        QTest::newRow("last character") << QByteArray("\xf4\x8f\xbf\xbf") << false;
    }
    void faultsOfText()
    {
        QFETCH(QByteArray, text);
        QTEST(TextFault(text.toStdString()) != nullptr, "faulty");
    }

    void escapedXmlReadsAsItStood()
    {
        const std::string text = "<a href='x'>&amp; \"+\"%41\\</a>";
        QDomDocument document;
        const QByteArray code = QByteArray::fromStdString(EscapeXml(text));
        QVERIFY(document.setContent("<r a=\"" + code + "\">" + code + "</r>"));
        QCOMPARE(document.documentElement().text().toStdString(), text);
        QCOMPARE(document.documentElement().attribute(QStringLiteral("a")).toStdString(), text);
        QCOMPARE(EscapeXml(std::string("a\x1b\0b", 4)),
                 std::string("a?"
                             "?b"));
    }

    void percentDecoding()
    {
        std::string text;
        QVERIFY(DecodePercent("a%2Bb+%2f%253a", text));
        QCOMPARE(text, std::string("a+b+/%3a"));
        for (const char* broken : { "%", "%4", "a%zz", "%4g" })
            QVERIFY2(!DecodePercent(broken, text), broken);
    }

    void numbers_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("number");
        QTest::newRow("one") << QByteArray("1") << 1;
        QTest::newRow("zeros in front") << QByteArray("007") << 7;
        QTest::newRow("largest") << QByteArray("2147483647") << 2147483647;
        QTest::newRow("too large") << QByteArray("2147483648") << 0;
        QTest::newRow("far too large") << QByteArray(40, '9') << 0;
        QTest::newRow("empty") << QByteArray() << 0;
        QTest::newRow("negative") << QByteArray("-1") << 0;
        QTest::newRow("text behind") << QByteArray("1x") << 0;
    }
    void numbers()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, number);
        QCOMPARE(PositiveNumber(text.toStdString()), std::int32_t(number));
    }

    void quotedTextIsShortAndPrintable()
    {
        QCOMPARE(Quoted("a\nb\x1b\xc3"), std::string("'a?b?") + "?'");
        QCOMPARE(Quoted(std::string(500, 'x')).size(), std::size_t(125));
    }
};

QTEST_GUILESS_MAIN(ServerTextTest)
#include "tst_servertext.moc"
