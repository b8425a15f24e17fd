// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The files written for given replies and applications are the same in every build, so
// those of one Qt are those of the other. Their checksums are in written-files.sha256, in
// the format of sha256sum; on a difference the files are left in the folder that
// PAKMART_WRITTEN_FILES names.

#include "catalog/catalogproduct.h"
#include "catalog/cxmlnode.h"
#include "catalog/savedtree.h"
#include "db/ccatalogfile.h"
#include "db/crufile.h"
#include "db/dboptions.h"
#include "db/dbshared.h"
#include "db/rebuild.h"
#include "request/replydocument.h"
#include "store/indexfile.h"
#include "tests/common/datafolder.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDomDocument>
#include <QMap>
#include <QtTest>

using namespace Agent;

namespace
{

// Every kind of text that parsers treat differently, in elements and in attributes.
const char awkward[] = "<text a=' \t\n x&#9;&#10;&#13;y \r\n ' b=\"&quot;&apos;&amp;&lt;&gt;\">\r\n"
                       "  line\r\n\tline\rline &#13;&#x1F600;\xF0\x9F\x8E\xB2 &amp;lt; </text>"
                       "<blank> \t\r\n </blank><empty/><none></none><one> </one>"
                       "<mixed>a<b/>c</mixed>"
                       "<nested>\n <x y='\xC3\xA9'/>\n <x y='e\xCC\x81'/>\n</nested>"
                       "<escaped>%41%C3%A9%FF+%2B%5C\\%zz</escaped><x:y x:z='1'/>";

// Its saved form cannot be read back.
const char lost[] = "<mixed>a<!-- d -->e<?f g?>h</mixed><data><![CDATA[<&>]] ]]></data>";

QByteArray Product(int number)
{
    const QByteArray n = QByteArray::number(number);
    QByteArray text = "<product name=\"" + QByteArray(number % 2 ? "Name " : "\xE5\x90\x8D ") + n
        + "&#9;\n+%2B\"><serialnumber>" + n + "</serialnumber><packagename>package-" + n
        + "</packagename><briefdescription>\r\n a&#13;" + QByteArray(number * 7, 'd')
        + "\xE2\x98\xBA\xF0\x9F\x8E\xB2</briefdescription><vendor>M\xC3\xB6 &amp; %26 S</vendor>"
          "<price>0.00</price><downloads>99999999999</downloads><version>1."
        + n + "</version><filesize>" + n + "000</filesize><dependencies>";
    for (int i = 0; i < number % 5; ++i)
        text += "<dependency name=\"lib" + QByteArray::number(number * 10 + i) + "%2B\"/>";
    return text + "</dependencies></product>";
}

QByteArray Catalog(int products)
{
    QByteArray text = "<catalog><category home_page='http://a/?b=1&amp;c=%3D' name='Games'>";
    for (int number = 1; number <= products; ++number) {
        if (number % 50 == 0)
            text += "</category><category name='&#x418;\xD0\xB3\xD1\x80\xD1\x8B "
                + QByteArray::number(number) + "'>";
        text += Product(number);
    }
    return text + "</category></catalog>";
}

void SaveReply(const QByteArray& content, const char* name)
{
    QByteArray reply = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                       "<agentfunction resultcode=\"OK\">\r\n"
        + content + "\n</agentfunction>";
    QBuffer buffer(&reply);
    QDomDocument document;
    QVERIFY(buffer.open(QIODevice::ReadOnly) && ReadReplyDocument(buffer, document));
    SaveFirstElement(document.documentElement(), name);
    QVERIFY(QFile::exists(SavedTreePath(name)));
}

void FillCatalog(QDomElement catalog)
{
    const auto fill = [&catalog](CCatalogFile& file) {
        ForEachCategory(catalog, [&file](QDomElement& category) {
            ForEachProduct(
                category, [&file](const CatalogProduct& product) { RecordProduct(product, file); });
        });
    };
    QVERIFY(RebuildCatalogDatabase(Agent::DbOptions(), fill, [] { return true; }));
}

void FillRecent(int count)
{
    CRUFile recent;
    QVERIFY(recent.Create());
    for (int number = 1; number <= count; ++number) {
        recent.AddNew();
        recent.SetDescription("M\xC3\xB6" + QByteArray::number(number));
        recent.SetExecutablePath("/usr/games/a" + QByteArray::number(number));
        recent.SetIconPath("/usr/share/icons/a.png");
        recent.SetSmallIconPath("/usr/share/icons/small.png");
        recent.SetServerSerialNumber(number * 3);
        recent.SetLastAccessed(1700000000 + number % 7 * 1000);
        QVERIFY(recent.Update());
        if (number % 6 == 0)
            QVERIFY(recent.DeleteRecord(number * 3));
    }
}

// Collects the files in `folder`, except settings and locks, by their names after
// `prefix`.
void Collect(const QString& folder, const QString& prefix, QMap<QString, QByteArray>& files)
{
    for (const QFileInfo& info : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden)) {
        if (info.suffix() == QLatin1String("lock") || info.suffix() == QLatin1String("vauf"))
            continue;
        QFile file(info.filePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        files[prefix + info.fileName()] = file.readAll();
    }
}

// The checksums in the format of sha256sum.
QByteArray Sums(const QMap<QString, QByteArray>& files)
{
    QByteArray sums;
    for (auto it = files.begin(); it != files.end(); ++it)
        sums += QCryptographicHash::hash(it.value(), QCryptographicHash::Sha256).toHex() + "  "
            + it.key().toUtf8() + '\n';
    return sums;
}

void Keep(const QMap<QString, QByteArray>& files, const QString& folder)
{
    for (auto it = files.begin(); it != files.end(); ++it) {
        QFile file(folder + QLatin1Char('/') + it.key());
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(it.value()) == it.value().size());
    }
}

} // namespace

class WrittenFilesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        InitIndex();
        SaveReply("<aisles>" + QByteArray(awkward) + "</aisles>", ".aisles");
        SaveReply("<profile name='\xC3\xA9&#10;'>" + QByteArray(awkward) + lost + "</profile>",
                  ".profile");
        SaveReply(Catalog(180), ".catalog");
        QDomDocument document;
        QByteArray text = "<r>" + Catalog(180) + "</r>";
        QBuffer buffer(&text);
        QVERIFY(buffer.open(QIODevice::ReadOnly) && ReadReplyDocument(buffer, document));
        FillCatalog(document.documentElement().firstChildElement());
        FillRecent(60);
    }
    void cleanupTestCase() { UnInitIndex(); }

    void filesAreTheSameInEveryBuild()
    {
        QMap<QString, QByteArray> files;
        Collect(DataFolder(), QStringLiteral("store/"), files);
        Collect(QString::fromStdString(RecentFolder()), QStringLiteral("home/"), files);
        const QString kept = QString::fromLocal8Bit(qgetenv("PAKMART_WRITTEN_FILES"));
        if (!kept.isEmpty())
            Keep(files, kept);
        QFile expected(QStringLiteral(EXPECTED_SUMS));
        QVERIFY(expected.open(QIODevice::ReadOnly));
        const QList<QByteArray> wanted = expected.readAll().split('\n');
        const QByteArray sums = Sums(files);
        for (const QByteArray& sum : sums.split('\n'))
            QVERIFY2(wanted.contains(sum), "another sum, or a new file: " + sum);
        QCOMPARE(sums.split('\n').size(), wanted.size() - 2); // two licence lines
    }

    // Ensures that equal files are not equally wrong.
    void filesSayWhatWasPutIn()
    {
        CXMLNode aisles(nullptr);
        QVERIFY(ReadSavedTree(".aisles", aisles));
        const std::vector<CXMLNode*> texts = aisles.ChildArray("text");
        QVERIFY(texts.size() == 1);
        QCOMPARE(texts.front()->Attribute("a", ""), std::string(" \t\n x\t\n\ry \n "));
        CCatalogFile catalog;
        QVERIFY(catalog.Open());
        for (int number = 1; number <= 180; ++number) {
            QVERIFY(catalog.FindServerSerialNumber(number));
            QCOMPARE(QByteArray(catalog.PackageName()), "package-" + QByteArray::number(number));
            QCOMPARE(catalog.OwnDependencies().size(), number % 5);
            QVERIFY(catalog.Description().contains(QString(number * 7, QLatin1Char('d'))));
        }
        CRUFile recent;
        QVERIFY(recent.Open());
        for (int number = 1; number <= 60; ++number)
            QCOMPARE(recent.FindServerSerialNumber(number * 3), number % 6 != 0);
    }
};

QTEST_GUILESS_MAIN(WrittenFilesTest)
#include "tst_writtenfiles.moc"
