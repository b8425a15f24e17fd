// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An update that takes the reply piece by piece makes the same file and the same database as one
// with a document, and fails in the same way. PAKMART_TEST_SEED repeats a run.

#include "tests/catalog/wholecatalogs.h"

#include "db/dbdump.h"
#include "request/replypieces.h"
#include "tests/request/requests.h"
#include "tests/store/storetest.h"

#include <QSignalSpy>
#include <sstream>
#include <sys/file.h>
#include <utility>

namespace
{

struct Told {
    QStringList ends; // failures and the end
    bool document = false; // a document was made
    int steps = 0; // of the progress
    double share = 0; // the last one
    int stopAfter = -1; // steps
    std::function<void()> wait; // while another update runs
};

class Update : public CAPIUpdateCatalog
{
public:
    Update(Told& told, bool inPieces) : CAPIUpdateCatalog(true, true), m_told(told)
    {
        if (inPieces)
            TakeInPieces();
        connect(this, &CAPI::signalFailure, qApp,
                [&told](AgentError::Code code, const QString&, const QString& details) {
                    told.ends << AgentError::Name(code) + QLatin1Char(' ') + details;
                });
        connect(this, &CAPI::APIComplete, qApp,
                [&told](bool succeeded) { told.ends << QString::number(succeeded); });
    }

    void onSuccessfulTransfer(QDomElement* body) override
    {
        m_told.document = true;
        CAPIUpdateCatalog::onSuccessfulTransfer(body);
        QDomElement catalog = body->firstChildElement();
        if (!catalog.isNull() && !ProcessVantrelCatalogRequest(catalog)) {
            m_bSucceeded = false;
            SetFailure(AgentError::CannotWrite, QString(), DataFolder());
        }
    }
    bool WaitForOtherUpdate() override
    {
        if (m_told.wait)
            m_told.wait();
        return CAPIUpdateCatalog::WaitForOtherUpdate();
    }
    bool KeepsGoing(double share) override
    {
        m_told.share = share;
        return m_told.stopAfter != m_told.steps++;
    }

private:
    Told& m_told;
};

QByteArray Ok(const QByteArray& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<agentfunction resultcode=\"OK\">" + body
        + "</agentfunction>";
}

QByteArray Catalog(const QByteArray& categories)
{
    return "<catalog a=\"1\" b=\"x%20y\">\n" + categories + "</catalog>";
}

QByteArray Dump()
{
    std::ostringstream out;
    const bool done = Agent::DumpCatalog(CatalogFolder(), out);
    return QByteArray::fromStdString(out.str()) + (done ? "" : "cannot be read");
}

} // namespace

class UpdateInPiecesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void sameWithAnyReply_data();
    void sameWithAnyReply();
    void sameWithRandomReplies();
    void moreNodesThanADocumentMayHave();
    void aDocumentForALargePiece();
    void aDocumentForOtherListeners();
    void whatCannotBeWritten_data();
    void whatCannotBeWritten();
    void stoppedUpdateChangesNothing();
    void abortedUpdateIsCancelled();
    void waitsForAnotherUpdate();
    void theTransfersTimeLimitIsOver();

private:
    Told run(const QByteArray& reply, bool inPieces, Told told = {})
    {
        m_server.answer("/f", ScriptedServer::http(reply));
        const StandardOutput output;
        (new Update(told, inPieces))->Execute();
        return told;
    }
    // Both ways, each from an empty folder. Returns what the one in pieces has told.
    Told compare(const QByteArray& reply)
    {
        clear();
        const Told whole = run(reply, false);
        const QByteArray saved = ReadDataFile(QStringLiteral(".catalog")), dump = Dump();
        clear();
        Told pieces = run(reply, true);
        [&] {
            QCOMPARE(pieces.ends, whole.ends);
            QCOMPARE(ReadDataFile(QStringLiteral(".catalog")), saved);
            QCOMPARE(Dump(), dump);
        }();
        return pieces;
    }
    static void clear()
    {
        RemoveDatabase();
        QFile::remove(DataPath(QStringLiteral(".catalog")));
    }
    QByteArray some(std::initializer_list<const char*> of)
    {
        return *(of.begin() + m_random.below(of.size()));
    }
    QByteArray text();
    QByteArray element(int depth);
    QByteArray product(int depth);
    QByteArray category(bool usual);

    ScriptedServer m_server;
    Random m_random{ 0 };
};

void UpdateInPiecesTest::initTestCase()
{
    m_random = Random::announced();
    Setting("agent api url", m_server.url("/api").toStdString());
    m_server.answer("/api", Directory({ { "CAPIUpdateCatalog", m_server.url("/f") } }));
    const StandardOutput output;
    CAPI::GetURLList();
}

void UpdateInPiecesTest::init()
{
    clear();
}

void UpdateInPiecesTest::sameWithAnyReply_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("document");
    const auto row = [](const char* name, const QByteArray& reply, bool document) {
        QTest::newRow(name) << reply << document;
    };
    const QByteArray usual = Catalog(Category(Product(1) + Product(2)) + Category(Product(3), "C"));
    row("usual", Ok(usual), false);
    row("no category", Ok(Catalog("")), false);
    row("empty category", Ok(Catalog(Category(""))), false);
    row("nothing", Ok(""), true);
    row("text only", Ok("text"), true);
    row("text before", Ok("text" + usual), false);
    row("comments around", Ok("<!-- a -->" + usual + "<!-- b -->text"), false);
    row("two catalogs", Ok(usual + Catalog(Category(Product(9)))), false);
    row("another name", Ok("<shelf>" + Category(Product(1)) + "</shelf>"), false);
    row("in a category", Ok(Catalog(Category(Category(Product(1)) + Product(2)))), false);
    row("in a product", Ok(Catalog(Category(Product(1, Product(2) + Product(3))))), false);
    row("out of order", Ok(Catalog(Category(Product(1) + Category(Product(2)) + Product(3)))),
        true);
    row("others in the catalog", Ok(Catalog("<a>x</a>" + Category(Product(1)) + "<d/>")), false);
    row("others out of order", Ok(Catalog("<d/>" + Category(Product(1)))), true);
    row("product beside", Ok(Catalog(Category(Product(1)) + Product(2))), false);
    row("text in the catalog", Ok(Catalog("text" + Category(Product(1)))), true);
    row("text in a category", Ok(Catalog(Category(Product(1) + "text"))), true);
    row("CDATA in a category", Ok(Catalog(Category("<![CDATA[ ]]>"))), true);
    row("comment in a category", Ok(Catalog(Category(Product(1) + "<!-- c -->"))), true);
    row("instruction in a category", Ok(Catalog(Category("<?do it?>" + Product(1)))), true);
    row("names in another case", Ok(Catalog(Category("<B/><a/>" + Product(1)))), false);
    row("large product",
        Ok(Catalog(Category(Product(1, QByteArray("<z/><y>t</y>").repeated(900))))), false);
    row("refused package",
        Ok(Catalog(Category(Product(1) + Product(1, "<version>2</version>") + Product(2)))), false);
    row("not well formed", Ok(Catalog(Category(Product(1) + "<product></produkt>"))), true);
    row("cut off", Ok(usual).left(300), true);
    row("more after the end", Ok(usual) + "<a/>", true);
    row("refused by the gate", Ok(Catalog(QByteArray("<a>").repeated(600))), true);
    row("failed", "<agentfunction resultcode=\"FAILED\" msg=\"no\">" + usual + "</agentfunction>",
        true);
    row("no result", "<agentfunction>" + usual + "</agentfunction>", true);
    row("no envelope", usual, true);
    row("not XML", "text", true);
    row("empty", "", true);
}

void UpdateInPiecesTest::sameWithAnyReply()
{
    QFETCH(QByteArray, reply);
    QFETCH(bool, document);
    const Told told = compare(reply);
    if (!document)
        QCOMPARE(told.ends, QStringList(QStringLiteral("1")));
    QVERIFY(document || !told.document);
}

QByteArray UpdateInPiecesTest::text()
{
    QByteArray made;
    for (std::uint32_t i = m_random.below(4); i > 0; --i)
        made += some({ "a", " ", "\n", "%20", "+", "\\", "&amp;", "&#233;", "&lt;", "%C3%A9",
                       "\xC3\xA9", "<![CDATA[ <c> ]]>", "<!-- c -->", "<?p i?>", "7", "lib", "%00z",
                       "<i>in</i>" });
    return made;
}

QByteArray UpdateInPiecesTest::element(int depth)
{
    const QByteArray name = some({ "serialnumber", "packagename", "briefdescription", "version",
                                   "dependencies", "downloadURL", "ranking", "filesize", "vendor",
                                   "other", "product", "category", "a-1", "Z" });
    if (name == "product" && depth > 0)
        return product(depth - 1);
    QByteArray content = text();
    for (std::uint32_t i = m_random.below(3); depth > 0 && i > 0; --i)
        content += element(depth - 1);
    return '<' + name + some({ "", " name=\"d\"", " name=\"e%20f\" z='&quot;' b=\"\t\"" }) + '>'
        + content + "</" + name + '>';
}

QByteArray UpdateInPiecesTest::product(int depth)
{
    const QByteArray number = QByteArray::number(m_random.below(40));
    QByteArray content = some({ "", "text", "\n  " });
    if (m_random.below(4) != 0)
        content += "<serialnumber>" + number + "</serialnumber><packagename>p" + number
            + "</packagename>";
    for (std::uint32_t i = m_random.below(6); i > 0; --i)
        content += element(depth) + some({ "", "\n" });
    return "<product" + some({ "", " name=\"N\"", " name=\"%41b\" other=\"1\"" }) + '>' + content
        + "</product>";
}

QByteArray UpdateInPiecesTest::category(bool usual)
{
    QByteArray content = "\n";
    for (std::uint32_t i = m_random.below(8); i > 0; --i)
        content += (usual || m_random.below(2) != 0 ? product(2) : element(2)) + some({ "", "\n" });
    return "<category" + some({ "", " name=\"c%26d\"", " home_page=\"h\" name=\"x\"" }) + '>'
        + content + "</category>";
}

void UpdateInPiecesTest::sameWithRandomReplies()
{
    int documents = 0, pieces = 0;
    constexpr int replies = 150;
    for (int i = 0; i < replies && !QTest::currentTestFailed(); ++i) {
        const bool usual = i % 3 != 0;
        QByteArray categories;
        for (std::uint32_t n = m_random.below(5); n > 0; --n)
            categories += category(usual);
        QByteArray reply = Ok(Catalog(categories));
        if (i % 10 == 0)
            reply.truncate(int(m_random.below(reply.size())));
        const Told told = compare(reply);
        documents += told.document ? 1 : 0;
        pieces += !told.document && told.ends == QStringList(QStringLiteral("1")) ? 1 : 0;
        QVERIFY(!told.document || !usual);
        if (QTest::currentTestFailed())
            qWarning("reply: %s", reply.constData());
    }
    qInfo("%d in pieces, %d with a document", pieces, documents);
    QVERIFY(documents > 10 && pieces > 60);
}

// Only the nodes of a piece are in memory at a time.
void UpdateInPiecesTest::moreNodesThanADocumentMayHave()
{
    constexpr int each = 1000, products = int(Agent::XmlGate::maxNodes) / 2 / each + 1;
    const QByteArray nodes = QByteArray("<z/>").repeated(each);
    QByteArray catalog;
    for (int i = 1; i <= products; ++i)
        catalog += "<product><a/>" + nodes + "</product>";
    const QByteArray reply = Ok(Catalog(Category(catalog)));
    QVERIFY(run(reply, false).ends.first().contains(QLatin1String("it has too many nodes")));
    clear();
    const Told told = run(reply, true);
    QCOMPARE(told.ends, QStringList(QStringLiteral("1")));
    QVERIFY(!told.document);
}

void UpdateInPiecesTest::aDocumentForALargePiece()
{
    const int most = int(Agent::mostPieceNodes);
    const auto document = [&](int nodes) { // each has an attribute, and one is the product
        const QByteArray z = QByteArray("<z y=\"\"/>").repeated((nodes - 1) / 2)
            + QByteArray("<z/>").repeated((nodes - 1) % 2);
        // The memory that a document may take grows with the text.
        const QByteArray reply
            = Ok(Catalog(Category("<product>" + z + "</product>"))) + QByteArray(8'000'000, '\n');
        const Told told = run(reply, true);
        return told.ends == QStringList(QStringLiteral("1")) ? int(told.document) : -1;
    };
    QCOMPARE(document(most), 0);
    QCOMPARE(document(most + 1), 1);
}

void UpdateInPiecesTest::aDocumentForOtherListeners()
{
    Told told;
    m_server.answer("/f", ScriptedServer::http(Ok(Catalog(Whole("1")))));
    const StandardOutput output;
    auto* request = new Update(told, true);
    QSignalSpy spy(request, &CAPI::SuccessfulTransfer);
    request->Execute();
    QCOMPARE(spy.size(), 1);
    QVERIFY(told.document);
    QCOMPARE(VersionOfWhole(), QByteArray("1"));
}

void UpdateInPiecesTest::whatCannotBeWritten_data()
{
    QTest::addColumn<QString>("blocked");
    QTest::newRow("the file") << QStringLiteral(".catalog");
    QTest::newRow("the database") << QStringLiteral(".VACatalog.k2");
    QTest::newRow("the lock") << QStringLiteral(".VACatalog.lock");
}

// A folder has the name.
void UpdateInPiecesTest::whatCannotBeWritten()
{
    QFETCH(QString, blocked);
    QVERIFY(QDir().mkdir(DataPath(blocked)));
    const QByteArray reply = Ok(Catalog(Whole("1")));
    const Told pieces = run(reply, true);
    QVERIFY(QDir().rmdir(DataPath(blocked)));
    QCOMPARE(pieces.ends.last(), QStringLiteral("0"));
    QVERIFY2(pieces.ends.first().startsWith(AgentError::Name(AgentError::CannotWrite)),
             qPrintable(pieces.ends.first()));
    QCOMPARE(QFile::exists(DataPath(QStringLiteral(".catalog"))),
             blocked != QLatin1String(".catalog"));
    QVERIFY(!QFile::exists(DataPath(QStringLiteral(".VACatalog.fil"))));
}

void UpdateInPiecesTest::stoppedUpdateChangesNothing()
{
    QCOMPARE(run(Ok(Catalog(Whole("1"))), true).ends, QStringList(QStringLiteral("1")));
    const QByteArray saved = ReadDataFile(QStringLiteral(".catalog"));
    Told told;
    told.stopAfter = 20;
    told = run(Ok(Catalog(Whole("2"))), true, told);
    QVERIFY(told.ends.first().startsWith(AgentError::Name(AgentError::Cancelled)));
    QCOMPARE(told.ends.last(), QStringLiteral("0"));
    QVERIFY(!told.document);
    QCOMPARE(told.steps, 21);
    QCOMPARE(ReadDataFile(QStringLiteral(".catalog")), saved);
    QCOMPARE(VersionOfWhole(), QByteArray("1"));
    QCOMPARE(Generations().size(), 1);
}

void UpdateInPiecesTest::abortedUpdateIsCancelled()
{
    QCOMPARE(run(Ok(Catalog(Whole("1"))), true).ends, QStringList(QStringLiteral("1")));
    class Aborting : public Update
    {
    public:
        using Update::Update;
        bool KeepsGoing(double) override { return CAPI::AbortTransfers(), true; }
    };
    Told told;
    m_server.answer("/f", ScriptedServer::http(Ok(Catalog(Whole("2")))));
    {
        const StandardOutput output;
        (new Aborting(told, true))->Execute();
    }
    QVERIFY(told.ends.first().startsWith(AgentError::Name(AgentError::Cancelled)));
    QVERIFY(!told.document);
    QCOMPARE(VersionOfWhole(), QByteArray("1"));
}

// The file is saved before the wait, and the database afterwards, from the same reply.
void UpdateInPiecesTest::waitsForAnotherUpdate()
{
    QCOMPARE(run(Ok(Catalog(Whole("1"))), true).ends, QStringList(QStringLiteral("1")));
    const QByteArray saved = ReadDataFile(QStringLiteral(".catalog"));
    const QByteArray lock = QFile::encodeName(DataPath(QStringLiteral(".VACatalog.lock")));
    int other = open(lock.constData(), O_RDWR | O_CLOEXEC);
    QVERIFY(other >= 0 && flock(other, LOCK_EX | LOCK_NB) == 0);
    Told told;
    int waits = 0;
    QByteArray meanwhile;
    told.wait = [&] {
        if (++waits < 5)
            return;
        if (other >= 0) {
            meanwhile = ReadDataFile(QStringLiteral(".catalog"));
            ::close(other);
        }
        other = -1;
    };
    const Told end = run(Ok(Catalog(Whole("2"))), true, told);
    QCOMPARE(end.ends, QStringList(QStringLiteral("1")));
    QVERIFY(!end.document);
    QVERIFY(waits >= 5);
    QVERIFY(meanwhile != saved);
    QCOMPARE(ReadDataFile(QStringLiteral(".catalog")), meanwhile);
    QCOMPARE(VersionOfWhole(), QByteArray("2"));
}

// The server has sent everything, so its silence does not end the update.
void UpdateInPiecesTest::theTransfersTimeLimitIsOver()
{
    QCOMPARE(run(Ok(Catalog(Whole("1"))), true).ends, QStringList(QStringLiteral("1")));
    const QByteArray lock = QFile::encodeName(DataPath(QStringLiteral(".VACatalog.lock")));
    int other = open(lock.constData(), O_RDWR | O_CLOEXEC);
    QVERIFY(other >= 0 && flock(other, LOCK_EX | LOCK_NB) == 0);
    Setting("response timeout", "1");
    QElapsedTimer since;
    since.start();
    Told told;
    told.wait = [&] {
        if (other >= 0 && since.hasExpired(4000))
            ::close(std::exchange(other, -1));
    };
    const Told end = run(Ok(Catalog(Whole("2"))), true, told);
    Setting("response timeout", "120");
    QCOMPARE(end.ends, QStringList(QStringLiteral("1")));
    QCOMPARE(VersionOfWhole(), QByteArray("2"));
}

QTEST_MAIN(UpdateInPiecesTest)
#include "tst_updateinpieces.moc"
