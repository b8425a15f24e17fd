// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog database made of a catalog element: what goes into it, and what is
// left of it when something comes in between.

#include "catalog/capiupdatecatalog.h"
#include "catalog/catalogrecord.h"
#include "db/ccatalogfile.h"
#include "db/cdependency.h"
#include "db/dbcheck.h"
#include "db/dbfolders.h"
#include "db/indexlayer.h"
#include "tests/common/datafolder.h"
#include "tests/common/plainuser.h"
#include "tests/request/requests.h"
#include "tests/store/storeshims.h"

#include <QDomDocument>
#include <QRandomGenerator>
#include <QtTest>
#include <sys/wait.h>

namespace
{

const QStringList kFiles{
    QStringLiteral(".VACatalog.fil"),     QStringLiteral(".VACatalog.k1"),
    QStringLiteral(".VACatalog.k2"),      QStringLiteral(".VACatalog.k3"),
    QStringLiteral(".VACatalog.k4"),      QStringLiteral(".VACatalogNotes.fil"),
    QStringLiteral(".VACatalogNotes.k1"), QStringLiteral(".VADepends.fil"),
    QStringLiteral(".VADepends.k1"),      QStringLiteral(".VADepends.k2"),
};

QDomDocument Document(const QByteArray& content)
{
    QDomDocument document;
    if (!document.setContent("<catalog>" + content + "</catalog>"))
        qFatal("the test's own XML is broken");
    return document;
}

bool Process(QDomElement catalog)
{
    // A request that is never executed is destroyed by its maker.
    const std::unique_ptr<CAPIUpdateCatalog> request(new CAPIUpdateCatalog(true, true));
    return request->ProcessVantrelCatalogRequest(catalog);
}

bool Process(const QByteArray& content)
{
    return Process(Document(content).documentElement());
}

QByteArray Product(int serial, const QByteArray& elements = "")
{
    const QByteArray number = QByteArray::number(serial);
    return "<product name=\"n" + number + "\"><serialnumber>" + number
        + "</serialnumber><packagename>p" + number + "</packagename>" + elements + "</product>";
}

QByteArray Category(const QByteArray& products, const QByteArray& name = "Games")
{
    return "<category name=\"" + name + "\" home_page=\"http://g/\">" + products + "</category>";
}

// A catalog whose products tell by their version which one it is.
QByteArray Whole(const QByteArray& version, int count = 40)
{
    QByteArray products;
    for (int i = 1; i <= count; ++i)
        products += Product(i,
                            "<version>" + version + "</version><briefdescription>about "
                                + QByteArray::number(i) + QByteArray(i * 7, 'x')
                                + "</briefdescription><dependencies><d name=\"libc6\"/><d name=\"q"
                                + QByteArray::number(i) + "\"/></dependencies>");
    return Category(products);
}

// The version of the whole catalog that is there; what is wrong, otherwise.
QByteArray VersionOfWhole(int count = 40)
{
    const DbFindings findings = CheckCatalog(CatalogFolder());
    if (!findings.faults.empty() || !findings.remarks.empty())
        return "unsound";
    const IndexLayer layer;
    CCatalogFile file;
    if (!file.Open())
        return "does not open";
    QByteArray version;
    int found = 0;
    for (bool more = file.FindFirstForCategory("Games"); more;
         more = file.FindNextForCategory("Games"), ++found) {
        if (found > 0 && version != file.Version())
            return "mixed";
        version = file.Version();
        if (file.OwnDependencies().size() != 2 || file.Description().isEmpty())
            return "with a product that lacks something";
    }
    return found == count ? version : "incomplete";
}

QList<QByteArray> Contents()
{
    QList<QByteArray> contents;
    for (const QString& name : kFiles)
        contents << ReadDataFile(name);
    return contents;
}

// What a process does that is killed at the k-th change of a file, or ends.
bool KilledAt(int k, const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        CrashingFiles files(k);
        SetStoreFiles(&files);
        work();
        _exit(0);
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child)
        qFatal("no child process");
    if (!WIFSIGNALED(status) && status != 0)
        qFatal("the process ended with status %d", status);
    return WIFSIGNALED(status);
}

} // namespace

class CatalogDatabaseTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    CCatalogFile m_file;

    void open()
    {
        m_file.Close();
        QVERIFY(m_file.Open());
    }
    QStringList names(const char* category)
    {
        QStringList all;
        for (bool more = m_file.FindFirstForCategory(category); more;
             more = m_file.FindNextForCategory(category))
            all << QString::fromUtf8(m_file.Name());
        return all;
    }
    DbFindings findings()
    {
        m_file.Close();
        return CheckCatalog(CatalogFolder());
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "CAPIUpdateCatalog", m_server.url("/c") } }));
        CAPI::GetURLList();
    }
    void init()
    {
        for (const QString& name : kFiles)
            QFile::remove(DataPath(name));
        QCOMPARE(InitIndex(), 0);
    }
    void cleanup()
    {
        m_file.Close();
        UnInitIndex();
        // Whatever happened, nothing is left beside the database.
        QCOMPARE(QDir(DataFolder()).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    // -- what goes in

    void everyElementGoesToItsField()
    {
        QVERIFY(Process(
            "<category name=\"Games+%26+Fun\" home_page=\"http://g/?a=%2B\">"
            "<product name=\"Dice%20%26+Cards\"><packagename>dice%2Bcards</packagename>"
            "<briefdescription>two+games</briefdescription><version>1:2.0-1</version>"
            "<vendor>A+B</vendor><copyright>%C2%A9+2026</copyright><price>9.99</price>"
            "<hidden>2</hidden><serialnumber>1003</serialnumber>"
            "<releasedate>2026-11-21</releasedate><reviewscore>4.5</reviewscore>"
            "<categoryranking>3</categoryranking><subcategoryranking>2</subcategoryranking>"
            "<vantrelranking>17</vantrelranking><downloads>12345</downloads>"
            "<filesize>20672</filesize><applicationdetailURL>http://d/%3Fx</applicationdetailURL>"
            "<authorpageURL>http://a/</authorpageURL><dependencies>"
            "<dependency name=\"libluck%2B%2B\"/><other name=\"libc6\"/></dependencies>"
            "</product></category>"));
        open();
        QVERIFY(m_file.FindServerSerialNumber(1003));
        QCOMPARE(m_file.RecordNumber(), 1);
        QCOMPARE(m_file.Category(), "Games & Fun");
        QCOMPARE(m_file.CategoryURL(), "http://g/?a=+");
        QCOMPARE(m_file.Name(), "Dice & Cards");
        QCOMPARE(m_file.PackageName(), "dice+cards");
        QCOMPARE(m_file.Description(), QStringLiteral("two games"));
        QCOMPARE(m_file.Version(), "1:2.0-1");
        QCOMPARE(m_file.Vendor(), "A B");
        QCOMPARE(m_file.Copyright(), "\xC2\xA9 2026");
        QCOMPARE(m_file.Price(), "9.99");
        QVERIFY(m_file.Hidden());
        QVERIFY(!m_file.Installed());
        QCOMPARE(m_file.ReleaseDate(), "2026-11-21");
        QCOMPARE(m_file.ReviewScore(), "4.5");
        QCOMPARE(m_file.CategoryRanking(), "3");
        QCOMPARE(m_file.SubCategoryRanking(), "2");
        QCOMPARE(m_file.VantrelRanking(), "17");
        QCOMPARE(m_file.Downloads(), 12345);
        QCOMPARE(m_file.FileSize(), 20672);
        QCOMPARE(m_file.ApplicationURL(), "http://d/?x");
        QCOMPARE(m_file.AuthorURL(), "http://a/");
        QCOMPARE(m_file.OwnDependencies(), (QByteArrayList{ "libc6", "libluck++" }));
        QCOMPARE(findings().faults, Findings());
    }

    void missingElementsLeaveEmptyFields()
    {
        QVERIFY(Process("<category><product/></category>"));
        open();
        QVERIFY(m_file.GetRecord(1));
        QVERIFY(m_file.FindServerSerialNumber(0));
        QCOMPARE(QByteArray(m_file.Name()) + m_file.Category() + m_file.PackageName()
                     + m_file.Version() + m_file.AuthorURL(),
                 QByteArray());
        QCOMPARE(m_file.NoteOffset(), -1);
        QVERIFY(!m_file.Hidden());
        QCOMPARE(m_file.OwnDependencies(), QByteArrayList());
    }

    // Nothing of a product is left in the next one.
    void productsDoNotInheritFromEachOther()
    {
        QVERIFY(Process(Category(
            Product(1,
                    "<vendor>v</vendor><hidden>1</hidden><briefdescription>d</briefdescription>"
                    "<dependencies><d name=\"a\"/></dependencies><filesize>9</filesize>")
            + Product(2))));
        open();
        QVERIFY(m_file.FindServerSerialNumber(2));
        QCOMPARE(m_file.Vendor(), "");
        QVERIFY(!m_file.Hidden());
        QCOMPARE(m_file.FileSize(), 0);
        QCOMPARE(m_file.Description(), QString());
        QCOMPARE(m_file.OwnDependencies(), QByteArrayList());
    }

    void productsBecomeRecordsInTheOrderOfTheDocument()
    {
        QVERIFY(Process(Category(Product(3) + "<box>" + Product(1) + "</box>", "B") + "<group>"
                        + Category(Product(9)) + "</group>" + Category(Product(2), "A")));
        open();
        const int serials[] = { 3, 1, 2 };
        for (int record = 1; record <= 3; ++record) {
            QVERIFY(m_file.GetRecord(record));
            QCOMPARE(m_file.ServerSerialNumber(), serials[record - 1]);
        }
        QVERIFY(!m_file.GetRecord(4));
        QCOMPARE(names("B"), (QStringList{ QStringLiteral("n1"), QStringLiteral("n3") }));
    }

    void theDownloadAddressKeepsItsPlaceInTheRankingField()
    {
        QVERIFY(Process(Category(
            Product(1, "<vantrelranking>5</vantrelranking><downloadURL>http://xy/z</downloadURL>")
            + Product(2,
                      "<downloadURL>http://xy</downloadURL><vantrelranking>5</vantrelranking>"))));
        open();
        QVERIFY(m_file.FindServerSerialNumber(1));
        QCOMPARE(m_file.VantrelRanking(), "http://xy/"); // cut to the field
        QVERIFY(m_file.FindServerSerialNumber(2));
        QCOMPARE(m_file.VantrelRanking(), "5");
    }

    void hiddenIsANumber()
    {
        QVERIFY(Process(
            Category(Product(1, "<hidden>2</hidden>") + Product(2, "<hidden>yes</hidden>"))));
        open();
        QVERIFY(m_file.FindServerSerialNumber(1) && m_file.Hidden());
        QVERIFY(m_file.FindServerSerialNumber(2) && !m_file.Hidden());
    }

    void emptyCatalogMakesAnEmptyDatabase()
    {
        QVERIFY(Process(Whole("1")));
        QVERIFY(Process(QByteArray()));
        QStringList files = DataFiles();
        files.sort();
        QCOMPARE(files, kFiles);
        open();
        QVERIFY(!m_file.FindServerSerialNumber(-1));
        QVERIFY(!m_file.FindFirstForCategory(nullptr));
        QCOMPARE(findings().faults, Findings());
    }

    void nothingOfAnEarlierCatalogIsLeft()
    {
        QVERIFY(Process(Whole("1", 30)));
        QVERIFY(Process(Whole("2", 5)));
        QCOMPARE(VersionOfWhole(5), QByteArray("2"));
        open();
        QVERIFY(!m_file.FindServerSerialNumber(6));
    }

    // -- what the indexes refuse

    void aProductOfTwoCategoriesBecomesTwoRecords()
    {
        QVERIFY(Process(Category(Product(1), "A") + Category(Product(1), "B")));
        open();
        QCOMPARE(names("A"), QStringList{ QStringLiteral("n1") });
        QCOMPARE(names("B"), QStringList{ QStringLiteral("n1") });
        QVERIFY(m_file.GetRecord(2));
        QVERIFY(m_file.FindServerSerialNumber(1));
        QCOMPARE(m_file.Category(), "A");
        const DbFindings found = findings();
        QCOMPARE(found.faults, Findings());
        QVERIFY(!found.remarks.empty());
    }

    void sameSerialOrPackageLeavesTheFirstToBeFound()
    {
        const auto product = [](const char* name, const char* serial, const char* package) {
            return QByteArray("<product name=\"") + name + "\"><serialnumber>" + serial
                + "</serialnumber><packagename>" + package + "</packagename></product>";
        };
        QVERIFY(Process(Category(product("first", "7", "p") + product("serial", "7", "q")
                                 + product("package", "8", "P") + product("later", "9", "r"))));
        open();
        QVERIFY(m_file.FindServerSerialNumber(7));
        QCOMPARE(m_file.Name(), "first");
        // The key of the serial number comes behind the one that was refused.
        QVERIFY(!m_file.FindServerSerialNumber(8));
        QVERIFY(m_file.FindServerSerialNumber(9));
        QCOMPARE(names("Games").size(), 4);
        QCOMPARE(findings().faults, Findings());
    }

    void sameDependencyTwiceIsStoredOnce()
    {
        QVERIFY(Process(Category(
            Product(1, "<dependencies><d name=\"a\"/><d name=\"a\"/><d/></dependencies>"))));
        open();
        QVERIFY(m_file.FindServerSerialNumber(1));
        QCOMPARE(m_file.OwnDependencies(), (QByteArrayList{ "", "a" }));
        QCOMPARE(findings().faults, Findings());
    }

    // -- texts that do not fit

    void textsAreCutToTheirFields()
    {
        const QByteArray text = QByteArray(9, 'x') + QByteArray("\xC3\xA4").repeated(400);
        const auto element = [&text](const QByteArray& name) {
            return '<' + name + '>' + text + "</" + name + '>';
        };
        QVERIFY(Process("<category home_page=\"" + text + "\"><product name=\"" + text + "\">"
                        + element("packagename") + element("version") + element("vendor")
                        + element("copyright") + element("price") + element("releasedate")
                        + element("reviewscore") + element("categoryranking")
                        + element("subcategoryranking") + element("vantrelranking")
                        + element("applicationdetailURL") + element("authorpageURL")
                        + "<serialnumber>1</serialnumber><dependencies><d name=\"" + text
                        + "\"/></dependencies></product></category>"));
        open();
        QVERIFY(m_file.FindServerSerialNumber(1));
        QCOMPARE(m_file.Name(), text.left(49));
        for (const char* field : { m_file.Vendor(), m_file.Copyright(), m_file.CategoryURL(),
                                   m_file.ApplicationURL(), m_file.PackageName() })
            QCOMPARE(field, text.left(255));
        QCOMPARE(m_file.Version(), text.left(49));
        for (const char* field :
             { m_file.Price(), m_file.ReviewScore(), m_file.CategoryRanking(),
               m_file.SubCategoryRanking(), m_file.ReleaseDate(), m_file.VantrelRanking() })
            QCOMPARE(field, text.left(9));
        QCOMPARE(m_file.AuthorURL(), text.left(457));
        QCOMPARE(m_file.OwnDependencies(), QByteArrayList{ text.left(51) });
        QCOMPARE(findings().faults, Findings());
    }

    void descriptionsAreKeptUpToTheirLimit()
    {
        const auto product = [](int serial, int length) {
            return Product(serial,
                           "<briefdescription>" + QByteArray(length, 'd') + "</briefdescription>");
        };
        QVERIFY(Process(Category(product(1, 499992) + product(2, 499993) + product(3, 1))));
        open();
        QVERIFY(m_file.FindServerSerialNumber(1));
        QCOMPARE(m_file.Description().size(), 499992);
        QVERIFY(m_file.FindServerSerialNumber(2));
        QCOMPARE(m_file.NoteOffset(), -1);
        QVERIFY(m_file.FindServerSerialNumber(3));
        QCOMPARE(m_file.Description(), QStringLiteral("d"));
    }

    void categoriesOf60And76CharactersAreFoundByTheirFirst60()
    {
        const QByteArray c60(60, 'c'), d76 = QByteArray(60, 'd') + QByteArray(16, 'e');
        QVERIFY(Process(Category(Product(1), c60) + Category(Product(2), d76)));
        open();
        QCOMPARE(names(c60), QStringList{ QStringLiteral("n1") });
        QCOMPARE(names(d76.left(60)), QStringList{ QStringLiteral("n2") });
        QVERIFY(m_file.FindServerSerialNumber(2));
        QCOMPARE(m_file.Category(), d76.left(60));
        QCOMPARE(findings().faults, Findings());
    }

    void numbersThatDoNotFitBecomeTheNearest()
    {
        QVERIFY(Process(
            Category("<product><serialnumber>99999999999</serialnumber><packagename>a</packagename>"
                     "<downloads>-99999999999</downloads><filesize>12 kB</filesize></product>"
                     "<product><serialnumber>-5</serialnumber><packagename>b</packagename>"
                     "<downloads>many</downloads></product>")));
        open();
        QVERIFY(m_file.FindServerSerialNumber(INT32_MAX));
        QCOMPARE(m_file.Downloads(), INT32_MIN);
        QCOMPARE(m_file.FileSize(), 12);
        QVERIFY(m_file.GetRecord(2));
        QCOMPARE(m_file.ServerSerialNumber(), -5);
        QCOMPARE(m_file.Downloads(), 0);
    }

    // -- one category by itself

    void productsOfACategoryAreAddedToAnOpenDatabase()
    {
        QVERIFY(Process(Category(Product(1))));
        open();
        QDomDocument document = Document(Category(Product(2)));
        QDomElement category = document.documentElement().firstChildElement();
        const std::unique_ptr<CAPIUpdateCatalog> request(new CAPIUpdateCatalog(true, true));
        request->ProcessRecordsInCategory(category, &m_file);
        QCOMPARE(names("Games"), (QStringList{ QStringLiteral("n1"), QStringLiteral("n2") }));
    }

    void eachCategoryGoesThroughTheHostsOwnFunction()
    {
        class Host : public CAPIUpdateCatalog
        {
        public:
            Host() : CAPIUpdateCatalog(true, true) { }
            void ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file) override
            {
                seen << category.attribute(QStringLiteral("name"));
                if (seen.size() != 2)
                    CAPIUpdateCatalog::ProcessRecordsInCategory(category, file);
            }
            QStringList seen;
        };
        const std::unique_ptr<Host> host(new Host);
        QDomDocument document = Document(Category(Product(1), "A") + Category(Product(2), "B")
                                         + Category(Product(3), "C"));
        QDomElement catalog = document.documentElement();
        QVERIFY(host->ProcessVantrelCatalogRequest(catalog));
        QCOMPARE(host->seen,
                 (QStringList{ QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C") }));
        open();
        QCOMPARE(names(nullptr), (QStringList{ QStringLiteral("n1"), QStringLiteral("n3") }));
    }

    void aFillerBeginsWithABlankProduct()
    {
        QVERIFY(RebuildCatalogDatabase([](CCatalogFile& file) {
            QCOMPARE(file.RecordNumber(), -1);
            file.setName("only a name");
            QVERIFY(file.SaveRecord());
        }));
        open();
        QVERIFY(m_file.GetRecord(1));
        QCOMPARE(m_file.Name(), "only a name");
        QCOMPARE(m_file.Category(), "");
        QCOMPARE(m_file.NoteOffset(), -1);
    }

    // -- the request and the database

    void theElementOfAReplyFillsTheDatabase()
    {
        m_server.answer("/c",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><!-- x --><catalog>"
                                             + Whole("C%2B%2B") + "</catalog></agentfunction>"));
        QStringList events;
        auto* request = new CAPIUpdateCatalog(true, true);
        connect(request, &CAPI::SuccessfulTransfer, this, [request, &events](QDomElement* body) {
            QDomElement catalog = body->firstChildElement();
            const bool made = request->ProcessVantrelCatalogRequest(catalog);
            events << (made ? QStringLiteral("made") : QStringLiteral("not made"));
        });
        connect(request, &CAPI::APIComplete, this,
                [&events](bool ok) { events << QStringLiteral("complete %1").arg(ok); });
        QVERIFY(request->Execute());
        QCOMPARE(events, (QStringList{ QStringLiteral("made"), QStringLiteral("complete 1") }));
        QCOMPARE(VersionOfWhole(), QByteArray("C++"));
        QVERIFY(QFile::remove(DataPath(QStringLiteral(".catalog"))));
    }

    void theRequestAloneLeavesTheDatabaseAsItIs()
    {
        m_server.answer("/c",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><catalog>"
                                             + Whole("1") + "</catalog></agentfunction>"));
        QVERIFY((new CAPIUpdateCatalog(true, true))->Execute());
        QCOMPARE(DataFiles(), QStringList{ QStringLiteral(".catalog") });
        QVERIFY(QFile::remove(DataPath(QStringLiteral(".catalog"))));
    }

    void theIndexLayerIsLeftAsTheHostHadIt()
    {
        QVERIFY(Process(Whole("1")));
        QVERIFY(HasPageCache());
        UnInitIndex();
        QVERIFY(Process(Whole("2")));
        QVERIFY(!HasPageCache());
        QCOMPARE(InitIndex(), 0);
        QCOMPARE(VersionOfWhole(), QByteArray("2"));
    }

    void theNamesOfTheFilesAreTheirOwnAgainAfterwards()
    {
        QVERIFY(Process(Whole("1")));
        QCOMPARE(CCatalogFile::CATALOGDFNAME, CatalogFolder() + ".VACatalog.fil");
        QCOMPARE(CCatalogFile::CATALOGNOTES, CatalogFolder() + ".VACatalogNotes");
        QCOMPARE(CDependency::DEPENDENCYIDXNAME2, CatalogFolder() + ".VADepends.k2");
    }

    // -- what cannot be created or written

    void aFileThatCannotBeReplacedIsAFailureAndTouchesNothing()
    {
        for (const QString& name : kFiles) {
            QVERIFY(Process(Whole("1")));
            QVERIFY(QFile::remove(DataPath(name)) && QDir().mkdir(DataPath(name)));
            const QList<QByteArray> before = Contents();
            QVERIFY2(!Process(Whole("2")), qPrintable(name));
            QCOMPARE(Contents(), before);
            QVERIFY(QDir().rmdir(DataPath(name)));
        }
    }

    void aFolderThatIsNotThereIsAFailure()
    {
        const QString elsewhere = DataFolder() + QStringLiteral(".away");
        QVERIFY(QDir().rename(DataFolder(), elsewhere));
        const bool made = Process(Whole("1"));
        const bool isThere = QDir(DataFolder()).exists();
        QVERIFY(QDir().rename(elsewhere, DataFolder()));
        QVERIFY(!made && !isThere);
    }

    void aFolderThatCannotBeWrittenIsAFailure()
    {
        const PlainUser nobody;
        if (access(DataFolder().toLocal8Bit().constData(), W_OK) == 0) {
            // Not by the macro, whose empty arguments clang does not like.
            QTest::qSkip("this user may write there", __FILE__, __LINE__);
            return;
        }
        QVERIFY(!Process(Whole("1")));
        QCOMPARE(DataFiles(), QStringList());
    }

    void filesThatCannotBeWrittenStay()
    {
        QVERIFY(Process(Whole("1")));
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7777)));
        QVERIFY(QFile::setPermissions(DataPath(kFiles[3]), QFile::Permissions(0x4444)));
        bool made = true;
        {
            const PlainUser nobody;
            made = Process(Whole("2"));
        }
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
        QVERIFY(!made);
        QCOMPARE(VersionOfWhole(), QByteArray("1"));
    }

    void filesInAFolderThatCannotBeWrittenAreMadeAnewInPlace()
    {
        QVERIFY(Process(Whole("1")));
        if (geteuid() != 0) {
            // Not by the macro, whose empty arguments clang does not like.
            QTest::qSkip("only root can give files to another user", __FILE__, __LINE__);
            return;
        }
        for (const QString& name : kFiles)
            QVERIFY(QFile::setPermissions(DataPath(name), QFile::Permissions(0x6666)));
        {
            const PlainUser nobody;
            QVERIFY(Process(Whole("2")));
        }
        QCOMPARE(VersionOfWhole(), QByteArray("2"));
    }

    void filesKeepTheirPermissionsAndOwner()
    {
        QVERIFY(Process(Whole("1")));
        const QByteArray path = DataPath(kFiles[0]).toLocal8Bit();
        const bool root = geteuid() == 0;
        QVERIFY(!root || chown(path.constData(), PlainUser::kNobody, PlainUser::kNobody) == 0);
        QCOMPARE(chmod(path.constData(), 0640), 0);
        QVERIFY(Process(Whole("2")));
        struct stat status;
        QCOMPARE(stat(path.constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), 0640);
        QVERIFY(!root || status.st_uid == PlainUser::kNobody);
    }

    // Each kind of failure, once and for good, at each call and then at some: the
    // old database stays, or the new one is whole.
    void aFailingDiskLeavesTheOldDatabase_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<int>("calls"); // at the least, that there are to fail
        QTest::newRow("open") << int(Fault::Open) << 9; // each file once
        QTest::newRow("seek") << int(Fault::Seek) << 10;
        // Nothing is read while so few products are stored: tst_heldfiles sees to that.
        QTest::newRow("write") << int(Fault::Write) << 100;
        QTest::newRow("short write") << int(Fault::ShortWrite) << 100;
        QTest::newRow("full disk") << int(Fault::FullDisk) << 100;
    }
    void aFailingDiskLeavesTheOldDatabase()
    {
        QFETCH(int, fault);
        QFETCH(int, calls);
        QVERIFY(Process(Whole("old")));
        const QList<QByteArray> before = Contents();
        QDomDocument document = Document(Whole("new"));
        int reached = -1;
        for (int k = 0;; k += 1 + k / 8) {
            FailingFiles files(Fault(fault), k, k % 2 == 0);
            bool made = false;
            {
                const UsedStoreFiles used(&files);
                made = Process(document.documentElement());
            }
            if (!files.hasFailed()) {
                QVERIFY(made);
                break;
            }
            reached = k;
            QVERIFY2(!made, qPrintable(QString::number(k)));
            QCOMPARE(Contents(), before);
        }
        QVERIFY2(reached + 1 >= calls, qPrintable(QString::number(reached)));
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
    }

    // -- what comes in between

    // Killed at each change of a file, the old database is whole, and the next
    // update makes a whole new one.
    void killedAtAnyWriteTheOldDatabaseIsWhole()
    {
        QVERIFY(Process(Whole("old", 8)));
        const QList<QByteArray> before = Contents();
        QDomDocument document = Document(Whole("new", 8));
        int kills = 0;
        while (KilledAt(kills, [&document] { Process(document.documentElement()); })) {
            QCOMPARE(Contents(), before);
            ++kills;
        }
        QVERIFY(kills > 50);
        QCOMPARE(VersionOfWhole(8), QByteArray("new"));
    }

    // Between the first file that is put in place and the last one.
    void killedWhileTheFilesArePutInPlaceTheDatabaseOpens()
    {
        QVERIFY(Process(Whole("new", 25)));
        const QList<QByteArray> fresh = Contents();
        for (int replaced = 1; replaced < kFiles.size(); ++replaced) {
            QVERIFY(Process(Whole("old", 40)));
            for (int i = 0; i < replaced; ++i)
                WriteDataFile(kFiles[i], fresh[i]);
            open();
            for (int serial = 1; serial <= 40; ++serial)
                m_file.FindServerSerialNumber(serial);
            names(nullptr);
            m_file.Close();
            QVERIFY(Process(Whole("next")));
            QCOMPARE(VersionOfWhole(), QByteArray("next"));
        }
    }

    void killedAtAnyTimeTheDatabaseOpensAndTheNextUpdateMakesItWhole()
    {
        QDomDocument document = Document(Whole("new"));
        QVERIFY(Process(Whole("old")));
        QRandomGenerator random(11);
        for (int i = 0; i < 25; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                for (;;)
                    Process(document.documentElement());
            }
            QVERIFY(child > 0);
            QTest::qSleep(int(random.bounded(1, 20)));
            QCOMPARE(kill(child, SIGKILL), 0);
            QCOMPARE(waitpid(child, nullptr, 0), child);
            open();
            m_file.Close();
        }
        QVERIFY(Process(Whole("next")));
        QCOMPARE(VersionOfWhole(), QByteArray("next"));
    }

    // The second waits for the first.
    void twoAgentsAtOnceLeaveTheDatabaseOfOneOfThem()
    {
        QList<pid_t> children;
        for (const char* version : { "a", "b", "c" }) {
            const pid_t child = fork();
            if (child == 0) {
                QDomDocument document = Document(Whole(version));
                bool made = true;
                for (int i = 0; i < 10 && made; ++i)
                    made = Process(document.documentElement());
                _exit(made ? 0 : 1);
            }
            QVERIFY(child > 0);
            children << child;
        }
        for (const pid_t child : qAsConst(children)) {
            int status = -1;
            QCOMPARE(waitpid(child, &status, 0), child);
            QCOMPARE(status, 0);
        }
        const QByteArray version = VersionOfWhole();
        QVERIFY2(version.size() == 1, version.constData());
    }
};

QTEST_MAIN(CatalogDatabaseTest)
#include "tst_catalogdatabase.moc"
