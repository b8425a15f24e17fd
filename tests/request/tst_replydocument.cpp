// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which replies become documents, with what content, and which are refused.

#include "request/replydocument.h"
#include "request/xmlgate.h"
#include "request/xmlsource.h"
#include "tests/common/observe.h"
#include "tests/request/documentcontent.h"
#include "util/paths.h"

#include <QBuffer>
#include <QDomDocument>
#include <QFile>
#include <QRandomGenerator>
#include <QtTest>
#include <malloc.h>

using namespace Agent;

namespace
{

constexpr std::uint64_t usualSize = 1ull << 28; // that "max reply size" has unless it is set

bool Passes(const QByteArray& text, int chunk = 64 * 1024)
{
    QByteArray bytes = text;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return PassesGate(buffer, usualSize, chunk);
}

bool Reads(const QByteArray& text, QDomDocument& document)
{
    QByteArray bytes = text;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return ReadReplyDocument(buffer, document);
}

// The text that the parser gets if it is fed in pieces of `size` bytes.
QByteArray Kept(const QByteArray& text, int size)
{
    SpaceKeeper keeper;
    QByteArray result;
    for (int at = 0; at < int(text.size()); at += size)
        keeper.Feed(text.constData() + at, std::min(size, int(text.size()) - at), result);
    return result;
}

// The memory that the process has allocated.
double AllocatedBytes()
{
    const auto info = mallinfo2();
    return double(info.uordblks) + double(info.hblkhd);
}

#ifdef VANTREL_SANITIZE
constexpr bool sanitized = true; // with the sanitizers' allocator
#else
constexpr bool sanitized = false;
#endif

QByteArray Nested(int depth)
{
    return QByteArray("<e>").repeated(depth) + "x" + QByteArray("</e>").repeated(depth);
}

const QByteArray odd = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding='utf-8' standalone=\"yes\" ?>\n"
                       "<!DOCTYPE agentfunction SYSTEM \"x>y\" >\n"
                       "<!-- <a> - -> '\" -->\n<?pi <b> ? > ?>"
                       "<agentfunction a='>/\">' b = \">'\"><![CDATA[<c>]] ]>]]]>"
                       "<d/><e f='/'></e ><g\n/>h&lt;&#65;\xC3\xA9 > ' \"<!----></agentfunction>\n";

} // namespace

class ReplyDocumentTest : public QObject
{
    Q_OBJECT

private slots:
    void fineDocumentsPass_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("bare") << QByteArray("<a/>");
        QTest::newRow("everything") << odd;
        QTest::newRow("bare doctype") << QByteArray("<!DOCTYPE a><a/>");
        QTest::newRow("public doctype") << QByteArray("<!DOCTYPE a PUBLIC '-' \"[x]\"><a/>");
        QTest::newRow("depth 512") << Nested(512);
        QTest::newRow("latin 1") << QByteArray(
            "<?xml version='1.0' encoding='ISO-8859-15'?><a>\xE9</a>");
        QTest::newRow("windows") << QByteArray(
            "<?xml version='1.0' encoding=\"Windows-1252\"?><a>\x80</a>");
        QTest::newRow("ascii") << QByteArray("<?xml version='1.0' encoding='us-ascii'?><a/>");
        for (const char* name : { "KOI8-R", "KOI8-U", "TIS-620", "windows-874", "IBM866", "cp1251",
                                  "ISO_8859-2", "ISO-8859-8-I", "latin1", "ASCII" })
            QTest::newRow(name) << QByteArray("<?xml version='1.0' encoding='" + QByteArray(name)
                                              + "'?><a>x</a>");
        QTest::newRow("stylesheet") << QByteArray("<?xml version='1.0'?><?xml-stylesheet x?><a/>");
        QTest::newRow("long text") << QByteArray("<a>" + QByteArray(300000, 'x') + "</a>");
        QTest::newRow("long comment")
            << QByteArray("<a><!--" + QByteArray(300000, '<') + "--></a>");
        QTest::newRow("tag of 64 KB")
            << QByteArray("<a b='" + QByteArray(65536 - 10, 'x') + "' />");
        QTest::newRow("references to characters") << QByteArray(
            "<a>" + QByteArray("&amp;&lt;&gt;&quot;&apos;&#65;").repeated(700000) + "</a>");
        QTest::newRow("wide") << QByteArray("<a>" + QByteArray("<b/><c></c>").repeated(2000)
                                            + "</a>");
    }
    void fineDocumentsPass()
    {
        QFETCH(QByteArray, text);
        QVERIFY(Passes(text));
        QDomDocument document(QStringLiteral("VantrelAgentXML"));
        QVERIFY(Reads(text, document));
        QVERIFY(!document.documentElement().isNull());
    }

    void harmfulDocumentsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("entity") << QByteArray("<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>");
        QTest::newRow("element declaration") << QByteArray("<!DOCTYPE a[<!ELEMENT a ANY>]><a/>");
        QTest::newRow("parameter entity") << QByteArray("<!DOCTYPE a [ %b; ]><a/>");
        QTest::newRow("external and internal")
            << QByteArray("<!DOCTYPE a SYSTEM 'x' [<!ENTITY b SYSTEM 'y'>]><a/>");
        QByteArray bomb = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
        for (int i = 1; i < 30; ++i)
            bomb += "<!ENTITY e" + QByteArray::number(i) + " '"
                + QByteArray("&e" + QByteArray::number(i - 1) + ";").repeated(2) + "'>";
        QTest::newRow("entity bomb") << QByteArray(bomb + "]><a>&e29;</a>");
        QTest::newRow("one long entity")
            << QByteArray("<!DOCTYPE a [<!ENTITY b '" + QByteArray(4000, 'x') + "'>]><a>"
                          + QByteArray("&b;").repeated(20000) + "</a>");
        QTest::newRow("depth 513") << Nested(513);
        QTest::newRow("empty element at 513") << QByteArray(QByteArray("<e>").repeated(512) + "<f/>"
                                                            + QByteArray("</e>").repeated(512));
        QTest::newRow("depth 100000") << Nested(100000);
        QTest::newRow("depth behind a comment")
            << QByteArray("<!--->--><a>" + Nested(600) + "</a>");
        QTest::newRow("depth behind a quote") << QByteArray("<a b='\"'>" + Nested(600) + "</a>");
        QTest::newRow("depth behind CDATA")
            << QByteArray("<a><![CDATA[]]]]>" + Nested(600) + "</a>");
        QTest::newRow("depth behind an instruction")
            << QByteArray("<?a '?><a>" + Nested(600) + "</a>");
        QTest::newRow("tag over 64 KB")
            << QByteArray("<a b='" + QByteArray(65536 - 9, 'x') + "' />");
        QTest::newRow("end tag over 64 KB") << QByteArray("<a></a" + QByteArray(65536, ' ') + ">");
        QByteArray many = "<a";
        for (int i = 0; i < XmlGate::maxAttributes + 1; ++i)
            many += " b" + QByteArray::number(i) + "=''";
        QTest::newRow("too many attributes") << QByteArray(many + "/>");
        QTest::newRow("too many nodes")
            << QByteArray("<a>" + QByteArray("<b/>").repeated(int(XmlGate::maxNodes / 2)) + "</a>");
        const int half = int(XmlGate::maxNodes / 2);
        QTest::newRow("too many references to entities")
            << QByteArray("<a>" + QByteArray("&b;").repeated(half) + "</a>");
        QTest::newRow("too many nodes of all kinds") << QByteArray(
            "<a>" + QByteArray("<b/>&c;<!----><?d ?><![CDATA[]]>").repeated(half / 5) + "</a>");
        QTest::newRow("NUL in text") << QByteArray("<a>\0</a>", 8);
        QTest::newRow("NUL behind the end") << QByteArray("<a/>\0", 5);
        QTest::newRow("bad UTF-8") << QByteArray("<a>\xC3</a>");
        QTest::newRow("overlong UTF-8") << QByteArray("<a>\xC0\xBC"
                                                      "b></a>");
        QTest::newRow("surrogate in UTF-8") << QByteArray("<a>\xED\xA0\x80</a>");
        QTest::newRow("beyond Unicode") << QByteArray("<a>\xF4\x90\x80\x80</a>");
        QTest::newRow("UTF-8 cut off") << QByteArray("<a/>\xE2\x82");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a mark alone") << QByteArray("\xEF\xBB\xBF");
        QTest::newRow("part of a mark") << QByteArray("\xEF\xBB<a/>");
        QTest::newRow("text alone") << QByteArray("no document");
        QTest::newRow("truncated") << QByteArray("<a><b></b>");
        QTest::newRow("truncated tag") << QByteArray("<a/><!--");
        QTest::newRow("too many ends") << QByteArray("<a/></a>");
        QTest::newRow("tag in a tag") << QByteArray("<a <b></a>");
        QTest::newRow("tag in a value") << QByteArray("<a b='<c>'/>");
        QTest::newRow("dashes in a comment") << QByteArray("<!-- -- <a> --><a/>");
        QTest::newRow("unknown declaration") << QByteArray("<!ELEMENT a ANY><a/>");
        QTest::newRow("late XML declaration") << QByteArray(" <?xml version='1.0'?><a/>");
        QTest::newRow("two doctypes") << QByteArray("<!DOCTYPE a><!DOCTYPE a><a/>");
    }
    void harmfulDocumentsAreRefused()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!Passes(text));
        QDomDocument document(QStringLiteral("VantrelAgentXML"));
        QVERIFY(!Reads(text, document));
        QVERIFY(document.documentElement().isNull());
    }

    void moreNodesMayBeInATextThatMayBeLarger()
    {
        // Both counts of a node: itself, and the text that may be before it.
        const QByteArray text
            = "<a>" + QByteArray("<b/>").repeated(int(XmlGate::maxNodes / 2)) + "<b/>";
        const std::uint64_t usual = XmlGate::maxNodes * XmlGate::bytesForNode;
        XmlGate gate(usual), larger(usual + 10 * XmlGate::bytesForNode);
        QVERIFY(!gate.Feed(text.constData(), std::size_t(text.size())));
        QCOMPARE(gate.Refusal(), "it has too many nodes");
        QVERIFY(larger.Feed(text.constData(), std::size_t(text.size())));
        const QByteArray more = QByteArray("<b/>").repeated(10);
        QVERIFY(!larger.Feed(more.constData(), std::size_t(more.size())));
        QCOMPARE(larger.Refusal(), "it has too many nodes");
    }

    void encodingsThatHideMarkupAreRefused_data()
    {
        QTest::addColumn<QByteArray>("name");
        for (const char* name :
             { "UTF-16", "UTF-16LE", "UTF-32", "UTF-7", "ISO-2022-JP", "IBM037", "EBCDIC-CP-US",
               "Shift_JIS", "GB18030", "Big5", "HZ-GB-2312", "SCSU", "BOCU-1", "ISO-8859-0",
               "ISO-8859-17", "windows-1259", "ISO-8859-1,locale=de,swaplfnl", "", "UTF-8\"x" })
            QTest::newRow(name) << QByteArray(name);
    }
    void encodingsThatHideMarkupAreRefused()
    {
        QFETCH(QByteArray, name);
        QVERIFY(!Passes("<?xml version=\"1.0\" encoding=\"" + name + "\"?><a/>"));
    }

    void anAcceptedTextCostsNoMoreMemoryThanItMay_data()
    {
        QTest::addColumn<QByteArray>("piece");
        QTest::newRow("empty elements") << QByteArray("<a/>");
        QTest::newRow("elements with a letter") << QByteArray("<a>x</a>");
        QTest::newRow("letters between") << QByteArray("x<a/>");
        QTest::newRow("prefixes") << QByteArray("<x:a/>");
        QTest::newRow("comments") << QByteArray("<!---->");
        QTest::newRow("instructions") << QByteArray("<?p?>");
        QTest::newRow("sections") << QByteArray("<![CDATA[x]]>");
        QTest::newRow("one attribute") << QByteArray("<a b=''/>");
        QByteArray many = "<a";
        for (int i = 0; i < 127; ++i)
            many += " b" + QByteArray::number(i) + "=''";
        QByteArray named;
        for (int i = 1000; i < 2000; ++i)
            named += "<p" + QByteArray::number(i) + ":n" + QByteArray::number(i) + "/>";
        QTest::newRow("names") << named;
        QTest::newRow("127 attributes") << QByteArray(many + "/>");
    }
    void anAcceptedTextCostsNoMoreMemoryThanItMay()
    {
        QFETCH(QByteArray, piece);
        const auto whole = [&piece](int count) { return "<r>" + piece.repeated(count) + "</r>"; };
        // The maximum number of pieces that is accepted, out of those that fit into 8 MB.
        int fits = 1, fails = 8'000'000 / int(piece.size());
        QVERIFY(Passes(whole(fits)));
        while (fails - fits > fits / 100 + 1) {
            const int middle = fits + (fails - fits) / 2;
            (Passes(whole(middle)) ? fits : fails) = middle;
        }
        const QByteArray text = whole(fits);
        const bool tables = piece.contains('=');
        const double may
            = (16.0 + (tables ? double(XmlGate::maxTableGrowth) : 0)) * text.size() + 100e6;
        const double before = AllocatedBytes();
        QDomDocument document;
        QVERIFY(Reads(text, document));
        const double cost = AllocatedBytes() - before;
        if (!sanitized)
            QVERIFY2(cost < may && cost > may / 2,
                     qPrintable(QStringLiteral("%1 MB of %2").arg(cost / 1e6).arg(may / 1e6)));
    }

    void aCatalogOfADistributionIsAccepted()
    {
        QByteArray text = "<agentfunction resultcode=\"OK\"><catalog>";
        for (int i = 0; i < 63000; ++i)
            text += "<product name=\"package-" + QByteArray::number(i)
                + "\"><serialnumber>1</serialnumber><version>1.0-1</version>"
                  "<packagename>package</packagename><description>A package of a few words"
                  "</description><size>1024</size><license>free</license></product>\n";
        QVERIFY(Passes(text + "</catalog></agentfunction>"));
    }

    void aSavedFileMayBeAsLongAsItsEscapes()
    {
        // 30,000 letters of another alphabet fit into a tag, but not as escapes.
        const QByteArray value = QByteArray("\xD0\xB6").repeated(30000);
        QVERIFY(Passes("<a b='" + value + "'/>"));
        const QByteArray saved = "<a b='" + QByteArray(value.toPercentEncoding()) + "'/>";
        QVERIFY(!Passes(saved));
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(saved);
        file.close();
        QDomDocument document;
        QVERIFY(ReadSavedDocument(file.fileName(), document));
        QVERIFY(!ReadReplyDocument(file.fileName(), document));
        QVERIFY(document.documentElement().isNull());
        // And it is refused for the same reasons as a reply.
        QVERIFY(file.open());
        file.write(Nested(600));
        file.close();
        QVERIFY(!ReadSavedDocument(file.fileName(), document));
        QVERIFY(!ReadSavedDocument(file.fileName() + QLatin1String(".absent"), document));
    }

    void aSavedFileMayBeLargerThanAReply()
    {
        Setting("max reply size", "1000");
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write("<a>" + QByteArray("%D0").repeated(2990) + "</a>");
        file.flush();
        QDomDocument document;
        const bool fits = ReadSavedDocument(file.fileName(), document);
        file.write(QByteArray(100, ' '));
        file.flush();
        const bool over = ReadSavedDocument(file.fileName(), document);
        Setting("max reply size", "0");
        QVERIFY(fits);
        QVERIFY(!over);
    }

    void wideTextIsRefused()
    {
        const QByteArray mark = "\xFE\xFF";
        for (const int width : { 2, 4 }) {
            for (const bool marked : { false, true }) {
                const QByteArray zeros(width - 1, '\0');
                QByteArray big = marked ? zeros.mid(1) + mark : QByteArray();
                for (const char c : QByteArray("<?xml version='1.0'?><a/>"))
                    big += zeros + c;
                QByteArray little;
                for (int at = 0; at < int(big.size()); at += width)
                    for (int byte = width - 1; byte >= 0; --byte)
                        little += big[at + byte];
                QVERIFY(!Passes(big));
                QVERIFY(!Passes(little));
            }
        }
    }

    void everyChunkSizeGivesTheSameAnswer()
    {
        QVERIFY(Passes(odd));
        for (int chunk = 1; chunk <= odd.size(); ++chunk)
            QVERIFY2(Passes(odd, chunk), qPrintable(QString::number(chunk)));
        const QByteArray references = QByteArray("x&eacute;").repeated(int(XmlGate::maxNodes / 2));
        QVERIFY(!Passes("<a>" + references + "</a>", 7));
        for (const QByteArray& bad :
             { Nested(513), QByteArray("<!DOCTYPE a [<!ENTITY b 'c'>]><a/>"),
               QByteArray("<?xml version='1.0' encoding='UTF-7'?><a/>"),
               QByteArray("<a>\xE2\x82</a>") }) {
            for (int chunk = 1; chunk <= 64; ++chunk)
                QVERIFY2(!Passes(bad, chunk), qPrintable(QString::number(chunk)));
        }
    }

    void mutationsNeverLetDepthThrough()
    {
        const QByteArray good = "<?xml version='1.0'?><!DOCTYPE r><r a='>' b=\"'\"><!-- <x> -->"
                                "<![CDATA[<y>]]>"
            + Nested(505) + "<?p <z>?></r>";
        QRandomGenerator random(1);
        const QByteArray pieces[] = { "<",    ">",
                                      "'",    "\"",
                                      "-",    "--",
                                      "<!--", "-->",
                                      "]]>",  "<![CDATA[",
                                      "?>",   "<?",
                                      "/",    "/>",
                                      "=",    "<e>",
                                      "</e>", "!",
                                      "[",    "]",
                                      "&",    QByteArray("<e>").repeated(20) };
        int passed = 0;
        for (int round = 0; round < 3000; ++round) {
            QByteArray text = good;
            for (int change = 1 + int(random.bounded(3)); change > 0; --change) {
                // Most changes are near the beginning, where the markup is varied.
                const int at = random.bounded(2) ? random.bounded(80) : random.bounded(text.size());
                text.replace(at, random.bounded(4), pieces[random.bounded(22)]);
            }
            if (!Passes(text))
                continue;
            ++passed;
            QDomDocument document;
            document.setContent(text);
            QVERIFY2(DocumentContent(document).depth <= XmlGate::maxDepth,
                     text.left(200).constData());
        }
        QVERIFY(passed > 0);
    }

    void randomMarkupNeverCrashes()
    {
        const QByteArray alphabet[]
            = { "<",           ">",    "/",   "a",         "<a>", "</a>", "<a/>",
                " b='c'",      "<!--", "-->", "<![CDATA[", "]]>", "<?",   "?>",
                "<!DOCTYPE a", "[",    "]",   "&lt;",      "\"" };
        QRandomGenerator random(2);
        for (int round = 0; round < 20000; ++round) {
            QByteArray text;
            for (int n = random.bounded(20); n >= 0; --n)
                text += alphabet[random.bounded(19)];
            const bool passes = Passes(text);
            QCOMPARE(Passes(text, 1), passes);
            QDomDocument document;
            if (!passes)
                QVERIFY2(!document.setContent(text) || text.contains("<!DOCTYPE"),
                         text.constData());
        }
    }

    void theSizeLimitComesFromTheSettings()
    {
        QCOMPARE(ReadTransferLimits().size, std::uint64_t(256) << 20);
        QFile settings(QString::fromStdString(SettingsFile()));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("max reply size = 20\n");
        settings.close();
        QDomDocument document;
        QVERIFY(Reads("<a>" + QByteArray(13, 'x') + "</a>", document));
        QVERIFY(!Reads("<a>" + QByteArray(14, 'x') + "</a>", document));
        QVERIFY(document.documentElement().isNull());
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("max reply size = -1\n");
        settings.close();
        QCOMPARE(ReadTransferLimits().size, std::uint64_t(256) << 20);
        QVERIFY(settings.remove());
    }

    void readsAFileAndNamesNoOther()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(odd);
        file.close();
        QDomDocument document(QStringLiteral("VantrelAgentXML"));
        QVERIFY(ReadReplyDocument(file.fileName(), document));
        QCOMPARE(document.documentElement().tagName(), QStringLiteral("agentfunction"));
        QVERIFY(!ReadReplyDocument(file.fileName() + QLatin1String(".absent"), document));
        QVERIFY(document.documentElement().isNull());
        QVERIFY(!ReadReplyDocument(QDir::tempPath(), document));
    }

    void tabsAndLineEndsOfAttributesStay()
    {
        QDomDocument document;
        QVERIFY(Reads("<a\n\tb='x\ty\nz\r\n\r\"\n' c=\" '\t \">\tx\r\ny\rz</a>", document));
        const QDomElement root = document.documentElement();
        QCOMPARE(root.attribute(QStringLiteral("b")), QStringLiteral("x\ty\nz\n\n\"\n"));
        QCOMPARE(root.attribute(QStringLiteral("c")), QStringLiteral(" '\t "));
        QCOMPARE(root.text(), QStringLiteral("\tx\ny\nz"));
    }

    void onlyAttributesAreRewritten()
    {
        const QByteArray before = "<?pi a='\t'?><!DOCTYPE a SYSTEM '\t'><!-- <b c='\t'> '-->\t'"
                                  "<a ><![CDATA[<b c='\t'>]] ]]]>\n\"\r\n</a ><b c='";
        const QByteArray after = "'>\t</b>";
        const QByteArray text = before + "\r\n\t>\r" + after;
        const QByteArray wanted = before + "&#10;&#9;>&#10;" + after;
        for (int size = 1; size <= int(text.size()); ++size)
            QCOMPARE(Kept(text, size), wanted);
    }

    // They also come from texts that are too long to be read at once.
    void aLongTextIsReadTheSame()
    {
        const QByteArray element = "<b c='\t1\r\n2\n'>&#9;x&amp;\r\n</b>";
        QDomDocument document;
        QVERIFY(Reads("<a>" + element.repeated(20000) + "</a>", document));
        int count = 0;
        for (QDomElement b = document.documentElement().firstChildElement(); !b.isNull();
             b = b.nextSiblingElement(), ++count) {
            QCOMPARE(b.attribute(QStringLiteral("c")), QStringLiteral("\t1\n2\n"));
            QCOMPARE(b.childNodes().count(), 1);
            QCOMPARE(b.text(), QStringLiteral("\tx&\n"));
        }
        QCOMPARE(count, 20000);
    }

    void textsAreReadAlikeWhateverQtItIs()
    {
        QDomDocument document;
        QVERIFY(Reads("<a>\n <b/> \n<c> </c>x <![CDATA[ ]]>y<!-- -->z&#x1F600;</a>", document));
        QStringList nodes;
        const QDomElement root = document.documentElement();
        for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling())
            nodes << node.nodeName() + QLatin1Char('=') + node.nodeValue();
        QCOMPARE(nodes,
                 QStringList({ QStringLiteral("b="), QStringLiteral("c="),
                               QStringLiteral("#text=x "), QStringLiteral("#cdata-section= "),
                               QStringLiteral("#text=y"), QStringLiteral("#comment= "),
                               QString::fromUtf8("#text=z\xF0\x9F\x98\x80") }));
        QVERIFY(!root.firstChildElement(QStringLiteral("c")).hasChildNodes());
    }

    // Texts that one of Qt's parsers accepts, and the other does not.
    void laxTextsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("undeclared entity") << QByteArray("<a>&b;</a>");
        QTest::newRow("attribute twice") << QByteArray("<a b='1' b='2'/>");
        QTest::newRow("control character") << QByteArray("<a>\x01</a>");
        QTest::newRow("reference to one") << QByteArray("<a>&#1;</a>");
        QTest::newRow("ascii that is none")
            << QByteArray("<?xml version='1.0' encoding='us-ascii'?><a>\xC3\xA9</a>");
    }
    void laxTextsAreRefused()
    {
        QFETCH(QByteArray, text);
        QDomDocument document;
        QVERIFY(!Reads(text, document));
    }

    // How a byte without a meaning in the encoding is decoded is left to Qt.
    void lettersOfEncodingsWithGapsAreRead_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        QTest::addColumn<QByteArray>("byte");
        QTest::addColumn<QString>("letter");
        const auto row = [](const char* encoding, const char* byte, const char* letter) {
            QTest::newRow(encoding)
                << QByteArray(encoding) << QByteArray(byte) << QString::fromUtf8(letter);
        };
        row("ISO-8859-3", "\xA1", "Ħ");
        row("ISO-8859-7", "\xE1", "α");
        row("ISO-8859-8", "\xE0", "א");
        row("windows-1253", "\xE1", "α");
        row("windows-1255", "\xE0", "א");
        row("windows-1257", "\xE0", "ą");
        row("KOI8-R", "\xC1", "а");
    }
    void lettersOfEncodingsWithGapsAreRead()
    {
        QFETCH(QByteArray, encoding);
        QFETCH(QByteArray, byte);
        QFETCH(QString, letter);
        QDomDocument document;
        QVERIFY(Reads("<?xml version='1.0' encoding='" + encoding + "'?><a>" + byte + "</a>",
                      document));
        QCOMPARE(document.documentElement().text(), letter);
    }

    // In encodings without gaps, each byte is a character.
    void everyByteOfAnEncodingIsRead_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        QTest::addColumn<QString>("letters"); // the bytes A4, E0 and FF
        const auto row = [](const char* encoding, const char16_t* letters) {
            QTest::newRow(encoding) << QByteArray(encoding) << QString::fromUtf16(letters);
        };
        row("ISO-8859-1", u"\u00A4\u00E0\u00FF");
        row("ISO-8859-2", u"\u00A4\u0155\u02D9");
        row("ISO-8859-4", u"\u00A4\u0101\u02D9");
        row("ISO-8859-5", u"\u0404\u0440\u045F");
        row("ISO-8859-9", u"\u00A4\u00E0\u00FF");
        row("ISO-8859-10", u"\u012A\u0101\u0138");
        row("ISO-8859-13", u"\u00A4\u0105\u2019");
        row("ISO-8859-14", u"\u010A\u00E0\u00FF");
        row("ISO-8859-15", u"\u20AC\u00E0\u00FF");
        row("windows-1250", u"\u00A4\u0155\u02D9");
        row("windows-1251", u"\u00A4\u0430\u044F");
        row("windows-1252", u"\u00A4\u00E0\u00FF");
        row("windows-1254", u"\u00A4\u00E0\u00FF");
        row("windows-1256", u"\u00A4\u00E0\u06D2");
        row("windows-1258", u"\u00A4\u00E0\u00FF");
    }
    void everyByteOfAnEncodingIsRead()
    {
        QFETCH(QByteArray, encoding);
        QFETCH(QString, letters);
        QByteArray bytes;
        for (int byte = 0x80; byte < 0x100; ++byte)
            bytes += char(byte);
        QDomDocument document;
        QVERIFY(Reads("<?xml version='1.0' encoding='" + encoding + "'?><a>" + bytes + "</a>",
                      document));
        const QString text = document.documentElement().text();
        QCOMPARE(int(text.size()), 128);
        QCOMPARE(QString(text[0xA4 - 0x80]) + text[0xE0 - 0x80] + text[0xFF - 0x80], letters);
    }

    void notWellFormedIsFalseAndNothingOfItIsKept()
    {
        QDomDocument document;
        QVERIFY(Passes("<a><b></a></b>"));
        QVERIFY(!Reads("<a><b></a></b>", document));
        QVERIFY(document.documentElement().isNull());
        QVERIFY(document.firstChild().isNull());
    }
};

QTEST_GUILESS_MAIN(ReplyDocumentTest)
#include "tst_replydocument.moc"
