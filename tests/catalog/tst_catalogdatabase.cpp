// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog database made from a catalog element: its content, and its state after an
// interruption.

#include "db/cdependency.h"
#include "db/rebuild.h"
#include "tests/catalog/wholecatalogs.h"
#include "tests/common/plainuser.h"
#include "tests/common/processes.h"
#include "tests/request/requests.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace Agent;

class CatalogDatabaseTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    CCatalogFile m_file{ OnFiles(unsyncedFiles) };

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
        RemoveDatabase();
        QCOMPARE(InitIndex(), 0);
    }
    void cleanup()
    {
        m_file.Close();
        UnInitIndex();
        // Whatever happened, no leftover is next to the database.
        QVERIFY2(Generations().size() <= 1, qPrintable(Generations().join(QLatin1Char(' '))));
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

    // A product inherits nothing from the one before.
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
        files.removeAll(QStringLiteral(".VACatalog.lock"));
        files.sort();
        QCOMPARE(files, databaseFiles);
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
        // The key of the serial number follows the refused one.
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
        const std::unique_ptr<CAPIUpdateCatalog> request(
            new CAPIUpdateCatalog(true, true, OnFiles(unsyncedFiles)));
        request->ProcessRecordsInCategory(category, &m_file);
        QCOMPARE(names("Games"), (QStringList{ QStringLiteral("n1"), QStringLiteral("n2") }));
    }

    void eachCategoryGoesThroughTheHostsOwnFunction()
    {
        class Host : public CAPIUpdateCatalog
        {
        public:
            Host() : CAPIUpdateCatalog(true, true, OnFiles(unsyncedFiles)) { }
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
        const auto fill = [](CCatalogFile& file) {
            QCOMPARE(file.RecordNumber(), -1);
            file.setName("only a name");
            QVERIFY(file.SaveRecord());
        };
        QVERIFY(RebuildCatalogDatabase(OnFiles(unsyncedFiles), fill, [] { return false; }));
        open();
        QVERIFY(m_file.GetRecord(1));
        QCOMPARE(m_file.Name(), "only a name");
        QCOMPARE(m_file.Category(), "");
        QCOMPARE(m_file.NoteOffset(), -1);
    }

    // All its files are made and published in its own file system.
    void anUpdateOfAnotherFolderLeavesTheDescribedDatabase()
    {
        QVERIFY(Process(Whole("here")));
        const QTemporaryDir dir;
        CountingFiles files;
        const DbOptions there{ dir.path().toStdString() + '/', &files };
        const std::unique_ptr<CAPIUpdateCatalog> request(new CAPIUpdateCatalog(true, true, there));
        QDomDocument document = Document(Category(Product(1)));
        QDomElement catalog = document.documentElement();
        QVERIFY(request->ProcessVantrelCatalogRequest(catalog));
        QCOMPARE(files.syncs, 10 + 3); // the files, their folder, and twice the one with the links
        QVERIFY(files.opens >= 20 && files.opens == files.closes);
        CCatalogFile file(there);
        QVERIFY(file.Open());
        QVERIFY(file.FindServerSerialNumber(1));
        file.Close();
        QCOMPARE(CheckCatalog(there.folder).faults, Findings());
        QCOMPARE(VersionOfWhole(), QByteArray("here"));
    }

    // -- the request and the database

    void theElementOfAReplyFillsTheDatabase()
    {
        m_server.answer("/c",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><!-- x --><catalog>"
                                             + Whole("C%2B%2B") + "</catalog></agentfunction>"));
        QStringList events;
        auto* request = new CAPIUpdateCatalog(true, true, OnFiles(unsyncedFiles));
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
        QVERIFY((new CAPIUpdateCatalog(true, true, OnFiles(unsyncedFiles)))->Execute());
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
        for (const QString& name : databaseFiles) {
            QVERIFY(Process(Whole("1")));
            QVERIFY(QFile::remove(DataPath(name)) && QDir().mkdir(DataPath(name)));
            const QList<QByteArray> before = Contents();
            QVERIFY2(!Process(Whole("2")), qPrintable(name));
            QCOMPARE(Contents(), before);
            QVERIFY(QDir().rmdir(DataPath(name)));
        }
    }

    // Neither a file nor a link to one: a rename would replace it by a link.
    void whatIsNoFileIsNotReplaced()
    {
        QVERIFY(Process(Whole("1")));
        for (const QString& name : databaseFiles) {
            const QByteArray path = DataPath(name).toLocal8Bit();
            QVERIFY(QFile::rename(DataPath(name), DataPath(QStringLiteral("away"))));
            QCOMPARE(mkfifo(path.constData(), 0600), 0);
            const LoggedLines log;
            QVERIFY2(!Process(Whole("2")), path.constData());
            QVERIFY(log.text().contains("may not be replaced"));
            QVERIFY(unlink(path.constData()) == 0);
            QVERIFY(QFile::rename(DataPath(QStringLiteral("away")), DataPath(name)));
        }
        QCOMPARE(VersionOfWhole(), QByteArray("1"));
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
            // Not with the macro: clang warns about its empty arguments.
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
        for (const QString& name : databaseFiles)
            QVERIFY(QFile::setPermissions(DataPath(name), QFile::Permissions(0x6666)));
        QVERIFY(QFile::setPermissions(DataPath(QStringLiteral(".VACatalog.lock")),
                                      QFile::Permissions(0x6666)));
        QVERIFY(QFile::setPermissions(DataPath(databaseFiles[3]), QFile::Permissions(0x4444)));
        bool made = true;
        {
            const PlainUser nobody;
            const LoggedLines log;
            made = Process(Whole("2"));
            QVERIFY2(log.text().contains("k3 may not be replaced"), log.text().constData());
        }
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
        QVERIFY(QFile::setPermissions(DataPath(databaseFiles[3]), QFile::Permissions(0x6644)));
        QVERIFY(!made);
        QCOMPARE(VersionOfWhole(), QByteArray("1"));
    }

    // Its files could be rewritten one after the other, but half of them might be taken
    // for a whole database.
    void filesInAFolderThatCannotBeWrittenStay()
    {
        QVERIFY(Process(Whole("1")));
        if (geteuid() != 0) {
            // Not with the macro: clang warns about its empty arguments.
            QTest::qSkip("only root can give files to another user", __FILE__, __LINE__);
            return;
        }
        MakePlain();
        for (const QString& name : databaseFiles)
            QVERIFY(QFile::setPermissions(DataPath(name), QFile::Permissions(0x6666)));
        QFile::setPermissions(DataPath(QStringLiteral(".VACatalog.lock")),
                              QFile::Permissions(0x6666));
        {
            const PlainUser nobody;
            const LoggedLines log;
            QVERIFY(!Process(Whole("2")));
            QVERIFY2(log.text().contains("cannot make the folder"), log.text().constData());
        }
        QCOMPARE(VersionOfWhole(), QByteArray("1"));
    }

    void filesKeepTheirPermissionsAndOwner()
    {
        QVERIFY(Process(Whole("1")));
        const QByteArray path = DataPath(databaseFiles[0]).toLocal8Bit();
        const bool root = geteuid() == 0;
        QVERIFY(!root || chown(path.constData(), PlainUser::nobody, PlainUser::nobody) == 0);
        QCOMPARE(chmod(path.constData(), 0640), 0);
        QVERIFY(Process(Whole("2")));
        struct stat status;
        QCOMPARE(stat(path.constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), 0640);
        QVERIFY(!root || status.st_uid == PlainUser::nobody);
    }

    // Each kind of failure, once and permanently, at each of the first calls and at some
    // later ones: the old database stays, or the new one is complete.
    void aFailingDiskLeavesTheOldDatabase_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<int>("calls"); // at the least, that there are to fail
        QTest::newRow("open") << int(Fault::Open) << 9; // each file once
        QTest::newRow("seek") << int(Fault::Seek) << 9;
        // Storing so few products reads nothing; tst_heldfiles covers reading. Each file is
        // begun, gets its content in one piece, and at last its header.
        QTest::newRow("write") << int(Fault::Write) << 25;
        QTest::newRow("short write") << int(Fault::ShortWrite) << 25;
        QTest::newRow("full disk") << int(Fault::FullDisk) << 18;
        QTest::newRow("status") << int(Fault::Status) << 10;
        QTest::newRow("sync") << int(Fault::Sync) << 13; // each file, and three folders
        QTest::newRow("rename") << int(Fault::Rename) << 3;
    }
    void aFailingDiskLeavesTheOldDatabase() { failAtEachCall(); }

    // The same when plain files are replaced for the first time.
    void aFailingDiskLeavesTheOldPlainFiles_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<int>("calls");
        QTest::newRow("open") << int(Fault::Open) << 9;
        QTest::newRow("write") << int(Fault::Write) << 25;
        QTest::newRow("sync") << int(Fault::Sync) << 15;
        QTest::newRow("rename") << int(Fault::Rename) << 36;
    }
    void aFailingDiskLeavesTheOldPlainFiles()
    {
        failAtEachCall([] { MakePlain(); });
    }

private:
    void failAtEachCall(const std::function<void()>& prepare = [] {})
    {
        QFETCH(int, fault);
        QFETCH(int, calls);
        QVERIFY(Process(Whole("old")));
        prepare();
        const QList<QByteArray> before = Contents();
        QDomDocument document = Document(Whole("new"));
        int reached = -1;
        for (int k = 0;; k += 1 + k / 16) {
            FailingFiles files(Fault(fault), k, k % 2 == 0);
            const bool made = Process(document.documentElement(), files);
            if (!files.hasFailed()) {
                QVERIFY(made);
                break;
            }
            reached = k;
            QVERIFY2(!made, qPrintable(QString::number(k)));
            QCOMPARE(Contents(), before);
            QCOMPARE(VersionOfWhole(), QByteArray("old"));
            prepare();
        }
        QVERIFY2(reached + 1 >= calls, qPrintable(QString::number(reached)));
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
    }

private slots:

    // -- what comes in between

    // If it is killed at any change of a file or a name or at any sync, the old or the
    // new database is complete, both by the described names and when it is opened, and
    // the next update leaves nothing but its own.
    void killedAtAnyStepTheOldOrTheNewDatabaseIsWhole()
    {
        killAtEachStep([] {});
    }
    void killedAtAnyStepThePlainFilesOrTheNewOnesAreWhole()
    {
        killAtEachStep([] { MakePlain(); });
    }

private:
    void killAtEachStep(const std::function<void()>& prepare)
    {
        QDomDocument document = Document(Whole("new", 8));
        bool killed = true, isOld = false;
        int old = 0, fresh = 0;
        for (int k = 0; killed; ++k) {
            if (!isOld)
                QVERIFY(Process(Whole("old", 8)));
            prepare();
            const QList<QByteArray> before = Contents();
            killed = KilledAt(
                k, [&document](StoreFiles& files) { Process(document.documentElement(), files); });
            const QByteArray version = VersionOfWhole(8);
            isOld = version == "old";
            (isOld ? old : fresh) += 1;
            QVERIFY2(version == "old" || version == "new", version.constData());
            QCOMPARE(Contents() == before, version == "old");
        }
        QVERIFY2(old > 50, qPrintable(QString::number(old)));
        QVERIFY2(fresh > 1, qPrintable(QString::number(fresh))); // the sync that follows
        QCOMPARE(VersionOfWhole(8), QByteArray("new"));
        QCOMPARE(Generations().size(), 1);
    }

private slots:
    // Killed while the first database in a folder is made.
    void killedAtAnyStepOfTheFirstUpdateThereIsNoneOrAWholeOne()
    {
        QDomDocument document = Document(Whole("new", 8));
        bool killed = true;
        for (int k = 0; killed; ++k) {
            RemoveDatabase();
            killed = KilledAt(
                k, [&document](StoreFiles& files) { Process(document.documentElement(), files); });
            const QByteArray data = ReadDataFile(databaseFiles[0]);
            QCOMPARE(VersionOfWhole(data == "<none>" ? 0 : 8),
                     data == "<none>" ? QByteArray() : QByteArray("new"));
        }
    }

    void killedAtAnyTimeTheDatabaseIsWhole()
    {
        QDomDocument document = Document(Whole("new"));
        QVERIFY(Process(Whole("old")));
        QRandomGenerator random(11);
        for (int i = 0; i < 25; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                EndWithParent();
                for (;;)
                    Process(document.documentElement());
            }
            QVERIFY(child > 0);
            QTest::qSleep(int(random.bounded(1, 20)));
            QCOMPARE(kill(child, SIGKILL), 0);
            QCOMPARE(waitpid(child, nullptr, 0), child);
            const QByteArray version = VersionOfWhole();
            QVERIFY2(version == "old" || version == "new", version.constData());
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
        for (const pid_t child : std::as_const(children)) {
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
