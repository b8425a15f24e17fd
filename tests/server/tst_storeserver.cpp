// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The functions of the store server, its start and its end, and its store.

#include "server/serverprocess.h"
#include "util/urlcodec.h"

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/stat.h>

namespace
{

const QByteArray product = "Serial: 7\nName: A\nCategory: B\nPackage: c\nDescription: d\n";
const QByteArray source = "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n";
const QByteArray package = "Package: p\nVersion: 1\nFilename: p_1_all.deb\n";

} // namespace

class StoreServerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }

    // Changes a file as a careful administrator does: in one step.
    void replace(const char* name, const QByteArray& text) const
    {
        QVERIFY(WriteTextFile(path("new"), text));
        QCOMPARE(::rename(qPrintable(path("new")), qPrintable(path(name))), 0);
    }

    // Runs a server that cannot start, and ends by itself.
    ServerProcess::Result runToTheEnd(int port = 0, const QStringList& options = {}) const
    {
        return ServerProcess::run(
            options
            + QStringList{ QStringLiteral("--port"), QString::number(port), m_dir->path() });
    }

    static HttpReply appInfo(const ServerProcess& server, const QByteArray& query)
    {
        return server.get("/agent/CAPIDownloadAppInfo" + query);
    }
    static HttpReply packageInfo(const ServerProcess& server, const QByteArray& query)
    {
        return server.get("/agent/CAPIGetPackageInfo" + query);
    }
    static HttpReply sourcesList(const ServerProcess& server)
    {
        return server.get("/agent/CAPIGetSourcesList");
    }

    // The envelope of a reply, or an empty element.
    static QDomElement envelope(const HttpReply& reply)
    {
        QDomDocument document;
        const bool read(document.setContent(reply.body));
        const QDomElement root = document.documentElement();
        return read && root.tagName() == QLatin1String("agentfunction") ? root : QDomElement();
    }
    static QString failure(const HttpReply& reply)
    {
        const QDomElement root = envelope(reply);
        return root.attribute(QStringLiteral("resultcode")) == QLatin1String("FAILED")
            ? root.attribute(QStringLiteral("msg"))
            : QStringLiteral("<no failure>");
    }
    // The decoded texts of the elements of that name, in order.
    static QStringList texts(const HttpReply& reply, const char* name)
    {
        const QDomElement root = envelope(reply);
        if (root.attribute(QStringLiteral("resultcode")) != QLatin1String("OK"))
            return { QStringLiteral("<failed>") };
        QStringList result;
        const QDomNodeList nodes = root.elementsByTagName(QLatin1String(name));
        for (int i = 0; i < nodes.count(); ++i)
            result += url_decode(nodes.at(i).toElement().text());
        return result;
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(WriteTextFile(path("products"), product));
        QVERIFY(WriteTextFile(path("sources"), source));
        QVERIFY(WriteTextFile(path("pool/main/Packages"), package));
    }
    void cleanup() { m_dir.reset(); }

    // -- the program

    void printsTheOneLineWithItsPort()
    {
        const ServerProcess server(m_dir->path());
        QCOMPARE(server.firstLine(),
                 QByteArray("listening on http://127.0.0.1:" + QByteArray::number(server.port())
                            + "/\n"));
    }

    void helpAndVersion()
    {
        const auto help = ServerProcess::run({ QStringLiteral("--help") });
        QCOMPARE(help.status, 0);
        QVERIFY(help.out.startsWith("Usage: pakmart-storeserver "));
        const auto version = ServerProcess::run({ QStringLiteral("--version") });
        QCOMPARE(version.status, 0);
        QVERIFY(version.out.startsWith("pakmart-storeserver "));
    }

    void wrongUsageIsStatusTwo_data()
    {
        QTest::addColumn<QStringList>("arguments");
        const auto row = [](const char* name, const char* arguments) {
            QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' '),
                                                                        Qt::SkipEmptyParts);
        };
        row("no store", "");
        row("two stores", "a b");
        row("unknown option", "--fast a");
        row("port of letters", "--port http a");
        row("port too high", "--port 65536 a");
        row("negative port", "--port -1 a");
        row("option without value", "a --port");
        row("public url without scheme", "--public-url store.example a");
        row("public url of another scheme", "--public-url ftp://store.example a");
        row("public url with a slash at its end", "--public-url http://store.example/ a");
        row("public url with a query", "--public-url http://store.example/?a=b a");
        row("public url without host", "--public-url http:// a");
    }
    void wrongUsageIsStatusTwo()
    {
        QFETCH(QStringList, arguments);
        const auto result = ServerProcess::run(arguments);
        QCOMPARE(result.status, 2);
        QCOMPARE(result.out, QByteArray());
        QVERIFY(result.err.contains("Try `pakmart-storeserver --help`."));
    }

    void aTakenPortIsStatusOne()
    {
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::LocalHost));
        const auto result = runToTheEnd(other.serverPort());
        QCOMPARE(result.status, 1);
        QCOMPARE(result.out, QByteArray());
        QVERIFY2(result.err.contains("cannot listen at http://127.0.0.1:"), result.err);
    }

    void aPortOfAnotherStoreServerIsTaken()
    {
        const ServerProcess server(m_dir->path());
        const auto result = runToTheEnd(server.port());
        QCOMPARE(result.status, 1);
    }

    void anAddressOfAnotherMachineIsStatusOne()
    {
        const auto result
            = runToTheEnd(0, { QStringLiteral("--listen"), QStringLiteral("192.0.2.1") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("cannot listen at http://192.0.2.1:"), result.err);
    }

    void endsWellOnSignals_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
    }
    void endsWellOnSignals()
    {
        QFETCH(int, signal);
        ServerProcess server(m_dir->path());
        QCOMPARE(server.get("/getagentapi.php").status, 200);
        QCOMPARE(server.end(signal), 0);
    }

    void endsWithAConnectionThatSaysNothing()
    {
        ServerProcess server(m_dir->path());
        const auto silent = server.send("GET /getag");
        QCOMPARE(server.get("/getagentapi.php").status, 200);
        QCOMPARE(server.end(SIGTERM), 0);
    }

    // -- broken stores

    void aBrokenStoreIsStatusOne_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("says");
        const auto row
            = [](const char* name, const char* file, const QByteArray& text, const char* says) {
                  QTest::newRow(name) << QByteArray(file) << text << QByteArray(says);
              };
        const char* p = "products";
        row("no colon", p, product + "Program\n",
            "/products:6: this is not a `Key: value` line: 'Program'");
        row("no key", p, product + ": x\n", "/products:6: this is no");
        row("blank in key", p, product + "Small Icon: x\n", "/products:6: this is no");
        row("continues nothing", p, " x\n", "/products:1: this line continues a value");
        row("continues a gap", p, product + "\n x\n", "/products:7: this line continues a value");
        row("no serial", p, "Name: A\n", "/products:1: Serial is missing here");
        row("no name", p, "\n\nSerial: 7\nCategory: B\n", "/products:3: Name is missing here");
        row("empty name", p, "Serial: 7\nName:\n", "/products:2: Name is missing here");
        row("serial of letters", p, QByteArray(product).replace("7", "six"),
            "/products:1: a serial number is");
        row("serial too large", p, QByteArray(product).replace("7", "2147483648"),
            "/products:1: a serial number is");
        row("serial zero", p, QByteArray(product).replace("7", "0"),
            "/products:1: a serial number is");
        row("two serials", p, product + "Serial: 8\n", "/products:6: a second Serial");
        row("the same serial", p, product + '\n' + product,
            "/products:7: the serial number 7 belongs");
        row("unknown field", p, product + "Prize: 1\n",
            "/products:6: a product has no field Prize");
        row("path of no program", p, product + "Path: /x\n",
            "/products:6: a product has no field Path here");
        row("two paths", p, product + "Program: x\nPath: /x\nPath: /y\n",
            "/products:8: a second Path");
        row("program without path", p, product + "Program: x\n",
            "/products:1: the program 'x' has no Path");
        row("field without value", p, product + "Program: x\nPath: /x\nMenu:\n",
            "/products:8: Menu has no value");
        row("invalid UTF-8", p, product + "# caf\xe9\n",
            "/products:6: there is a byte that is not UTF-8");
        row("control character", p, product + "# \x1b\n",
            "/products:6: there is a control character");
        row("carriage returns", p, QByteArray(product).replace("\n", "\r\n"),
            "/products:1: there is a control character");
        row("zero byte", p, product + QByteArray("\0", 1),
            "/products:6: there is a control character");

        const char* s = "sources";
        row("no type", s, "Entry: x\nTimestamp: 1\n", "/sources:1: Type is missing here");
        row("other type", s, QByteArray(source).replace("dep\n", "deps\n"),
            "/sources:1: a type is dep or plain");
        row("no entry", s, "Type: dep\nTimestamp: 1\n", "/sources:1: Entry is missing here");
        row("no timestamp", s, "Type: dep\nEntry: x\n", "/sources:1: Timestamp is missing here");
        row("timestamp of letters", s, QByteArray(source).replace("5", "now"),
            "/sources:3: a timestamp is");
        row("long timestamp", s, QByteArray(source).replace("5", QByteArray(21, '1')),
            "/sources:3: a timestamp is");
        row("options in an entry", s, QByteArray(source).replace("deb @", "deb [trusted=yes] @"),
            "/sources:2: an entry is one line without '#', '[' and tabs");
        row("comment in an entry", s, QByteArray(source).replace("./", "#"),
            "/sources:2: an entry is one line");
        row("entry of two lines", s, QByteArray(source).replace("./", "\n ./"),
            "/sources:2: an entry is one line");
        row("long entry", s, QByteArray(source).replace("./", QByteArray(600, 'x')),
            "/sources:2: the entry is longer");
        row("unknown source field", s, source + "Colour: red\n",
            "/sources:4: a source has no field Colour");

        const char* i = "pool/main/Packages";
        row("no package", i, "Version: 1\nFilename: x\n",
            "/pool/main/Packages:1: Package is missing here");
        row("no version", i, "Package: p\nFilename: x\n",
            "/pool/main/Packages:1: Version is missing here");
        row("no file name", i, "Package: p\nVersion: 1\n",
            "/pool/main/Packages:1: Filename is missing here");
        row("absolute file name", i, "Package: p\nVersion: 1\nFilename: /etc/passwd\n",
            "/Packages:3: this file is not in the repository");
        row("file name that leaves", i, "Package: p\nVersion: 1\nFilename: a/../../x\n",
            "/Packages:3: this file is not in the repository");
        row("file name that is a folder", i, "Package: p\nVersion: 1\nFilename: a/\n",
            "/Packages:3: this file is not in the repository");
        row("the same file", i, package + '\n' + package,
            "/Packages:7: a second package with the file");

        const char* l = "pool/main/Location";
        row("no location", l, "", "/Location:1: a location is one field, Archives");
        row("two locations", l, "Archives: http://a\nArchives: http://b\n",
            "/Location:1: a location is one field");
        row("other field", l, "Address: http://a\n", "/Location:1: Archives is missing here");
        row("location of another scheme", l, "Archives: file:///etc\n",
            "/Location:1: 'file:///etc' is not an address");
        row("location with options", l, "Archives: [trusted=yes] http://a\n",
            "/Location:1: '[trusted=yes] http://a' is not an address");
    }
    void aBrokenStoreIsStatusOne()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, says);
        QVERIFY(WriteTextFile(path(file), text));
        const auto result = runToTheEnd();
        QCOMPARE(result.status, 1);
        QCOMPARE(result.out, QByteArray());
        QVERIFY2(result.err.startsWith("pakmart-storeserver: " + m_dir->path().toUtf8() + '/'),
                 result.err);
        QVERIFY2(result.err.contains(says), result.err);
    }

    void aStoreWithoutAFileIsStatusOne_data()
    {
        QTest::addColumn<QByteArray>("file");
        for (const char* name : { "products", "sources", "pool" })
            QTest::newRow(name) << QByteArray(name);
    }
    void aStoreWithoutAFileIsStatusOne()
    {
        QFETCH(QByteArray, file);
        QVERIFY(QFile::rename(path(file), path("away")));
        const auto result = runToTheEnd();
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains('/' + file + ": No such file or directory"), result.err);
    }

    void aStoreFileThatIsNoneIsStatusOne_data()
    {
        QTest::addColumn<QByteArray>("kind");
        for (const char* kind : { "folder", "pipe", "link" })
            QTest::newRow(kind) << QByteArray(kind);
    }
    void aStoreFileThatIsNoneIsStatusOne()
    {
        QFETCH(QByteArray, kind);
        QVERIFY(QFile::rename(path("products"), path("away")));
        if (kind == "folder")
            QVERIFY(QDir().mkdir(path("products")));
        else if (kind == "pipe")
            QCOMPARE(mkfifo(qPrintable(path("products")), 0600), 0);
        else
            QVERIFY(QFile::link(path("away"), path("products")));
        const auto result = runToTheEnd();
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(kind == "link" ? "links are not followed"
                                                    : "this is not a regular file"),
                 result.err);
    }

    void anEmptyStoreIsServed()
    {
        for (const char* name : { "products", "sources", "pool/main/Packages" })
            QVERIFY(WriteTextFile(path(name), {}));
        const ServerProcess server(m_dir->path());
        QCOMPARE(texts(sourcesList(server), "entry"), QStringList());
        QCOMPARE(failure(appInfo(server, "?app_id[]=7")),
                 QStringLiteral("There is no product with the number '7' in this store."));
    }

    // -- a store that changes

    void changesAreSeen()
    {
        const ServerProcess server(m_dir->path());
        QCOMPARE(texts(appInfo(server, "?app_id[]=7"), "name"), QStringList{ QStringLiteral("A") });
        replace("products", QByteArray(product).replace("Name: A", "Name: Z"));
        QCOMPARE(texts(appInfo(server, "?app_id[]=7"), "name"), QStringList{ QStringLiteral("Z") });
        replace("sources", QByteArray(source).replace("deb ", "deb-src "));
        QVERIFY(texts(sourcesList(server), "entry").value(0).startsWith(QLatin1String("deb-src ")));
        replace("pool/main/Packages", QByteArray(package).replace("p_1", "p_2"));
        QVERIFY(texts(packageInfo(server, "?filename[]=p_2_all.deb"), "package_data")
                    .value(0)
                    .contains(QLatin1String("p_2")));
    }

    void repliesThatAreKeptFollowTheStore_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<QByteArray>("shown");
        const QByteArray other = QByteArray(product).replace("Package: c", "Package: p");
        const struct {
            const char *name, *file;
            QByteArray text;
            const char *function, *shown;
        } rows[] = {
            { "a product", "products", other, "UpdateCatalog", "<packagename>p<" },
            { "a version", "pool/main/Packages", "Package: c\nVersion: 8\nFilename: c_8_all.deb\n",
              "UpdateCatalog", "<version>8<" },
            { "a new repository", "pool/new/Packages",
              "Package: c\nVersion: 9\nFilename: c_9_all.deb\n", "UpdateCatalog", "<version>9<" },
            { "a category", "categories", "Name: B\nSerial: 77\n", "UpdateCatalog",
              "serialnumber=\"77\"" },
            { "an aisle", "aisles", "Name: Play\nCategory: B\n", "GetAisles", "Play" },
            { "a category in an aisle", "categories", "Name: B\nSerial: 77\n", "GetAisles", "77" },
            { "an update", "updates", "Package: libc6\n", "GetOSVer", "libc6" },
        };
        for (const auto& row : rows)
            QTest::newRow(row.name) << QByteArray(row.file) << row.text << QByteArray(row.function)
                                    << QByteArray(row.shown);
    }
    void repliesThatAreKeptFollowTheStore()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, function);
        QFETCH(QByteArray, shown);
        QVERIFY(WriteTextFile(path("aisles"), "Name: Look\nCategory: B\n"));
        const ServerProcess server(m_dir->path());
        const QByteArray before = server.get("/agent/CAPI" + function).body;
        QVERIFY2(before.contains("resultcode=\"OK\"") && !before.contains(shown), before);
        QCOMPARE(server.get("/agent/CAPI" + function).body, before);
        QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("pool/new")));
        replace(file.constData(), text);
        const QByteArray after = server.get("/agent/CAPI" + function).body;
        QVERIFY2(after.contains("resultcode=\"OK\"") && after.contains(shown), after);
    }

    void aBrokenPartLeavesTheRepliesOfTheOthers()
    {
        const ServerProcess server(m_dir->path());
        replace("aisles", "Shelf: 1\n");
        for (const char* version : { "8", "9" }) {
            replace("pool/main/Packages",
                    QByteArray("Package: c\nVersion: ") + version + "\nFilename: c_1_all.deb\n");
            QCOMPARE(texts(server.get("/agent/CAPIUpdateCatalog"), "version"),
                     QStringList{ QLatin1String(version) });
        }
        QCOMPARE(failure(server.get("/agent/CAPIGetAisles")),
                 QStringLiteral("The store is being repaired. Please try again later."));
    }

    void aNewRepositoryIsSeenAndAnOldOneGoes()
    {
        const ServerProcess server(m_dir->path());
        QVERIFY(WriteTextFile(path("pool/extra/Packages"),
                              "Package: x\nVersion: 1\nFilename: x_1_all.deb\n"));
        QCOMPARE(texts(packageInfo(server, "?filename[]=x_1_all.deb"), "package_url"),
                 QStringList{ server.url() + QLatin1String("/pool/extra") });
        QVERIFY(QDir(path("pool/main")).removeRecursively());
        QCOMPARE(failure(packageInfo(server, "?filename[]=p_1_all.deb")),
                 QStringLiteral("There is no package file 'p_1_all.deb' in this store."));
    }

    void aFileThatBreaksFailsUntilItIsRepaired()
    {
        ServerProcess server(m_dir->path());
        replace("products", "Serial: seven\n");
        const HttpReply reply = appInfo(server, "?app_id[]=7");
        QCOMPARE(failure(reply),
                 QStringLiteral("The store is being repaired. Please try again later."));
        QVERIFY(!reply.body.contains(m_dir->path().toUtf8())); // clients must not learn it
        QVERIFY(envelope(sourcesList(server)).attribute(QStringLiteral("resultcode"))
                == QLatin1String("OK"));
        replace("products", product);
        QCOMPARE(texts(appInfo(server, "?app_id[]=7"), "name"), QStringList{ QStringLiteral("A") });
        QCOMPARE(server.end(SIGTERM), 0);
        QVERIFY(server.standardError().contains("/products:1: Name is missing here"));
    }

    // -- the functions

    void directoryListsTheFunctionsUnderTheHostAsked()
    {
        const ServerProcess server(m_dir->path());
        const HttpReply reply = server.get("/getagentapi.php", { "Host: Shop-1.example:81" });
        QCOMPARE(reply.header("Content-Type"), QByteArray("text/xml; charset=UTF-8"));
        QVERIFY(reply.body.startsWith("<?xml"));
        QCOMPARE(texts(reply, "name"),
                 (QStringList{
                     QStringLiteral("CAPIDownloadAppInfo"), QStringLiteral("CAPIGetAisles"),
                     QStringLiteral("CAPIGetOSVer"), QStringLiteral("CAPIGetPackageInfo"),
                     QStringLiteral("CAPIGetSourcesList"), QStringLiteral("CAPISetOEMInfo"),
                     QStringLiteral("CAPISyncMyMachine"), QStringLiteral("CAPIUpdateCatalog") }));
        const QStringList urls = texts(reply, "url");
        QCOMPARE(urls.size(), 8);
        for (const QString& url : urls) {
            QVERIFY(url.startsWith(QLatin1String("http://Shop-1.example:81/agent/")));
            QVERIFY(
                !envelope(server.get(url.mid(int(strlen("http://Shop-1.example:81"))).toLatin1()))
                     .isNull());
        }
    }

    void directoryNamesThePublicUrl()
    {
        const ServerProcess server(
            m_dir->path(),
            { QStringLiteral("--public-url"), QStringLiteral("https://store.example/shop") });
        const HttpReply reply = server.get("/getagentapi.php", { "Host: <evil>" });
        QCOMPARE(texts(reply, "url").value(0),
                 QStringLiteral("https://store.example/shop/agent/CAPIDownloadAppInfo"));
        QCOMPARE(texts(sourcesList(server), "entry"),
                 QStringList{ QStringLiteral("deb https://store.example/shop/pool/main ./") });
    }

    void withoutAHostTheServersOwnAddressIsNamed()
    {
        const ServerProcess server(m_dir->path());
        for (const char* request : { "GET /getagentapi.php HTTP/1.0\r\n\r\n",
                                     "GET /getagentapi.php HTTP/1.1\r\nHost:\r\n\r\n",
                                     "GET /getagentapi.php HTTP/1.1\r\nHost: \r\n\r\n" })
            QCOMPARE(texts(server.ask(request), "url").value(0),
                     server.url() + QLatin1String("/agent/CAPIDownloadAppInfo"));
    }

    void goodHostsAreTaken_data()
    {
        QTest::addColumn<QByteArray>("host");
        for (const char* host : { "localhost", "localhost:1", "127.0.0.1:65535", "[::1]",
                                  "[::1]:8080", "a_b.c-d.example" })
            QTest::newRow(host) << QByteArray(host);
    }
    void goodHostsAreTaken()
    {
        QFETCH(QByteArray, host);
        const ServerProcess server(m_dir->path());
        QVERIFY(texts(server.get("/getagentapi.php", { "Host: " + host }), "url")
                    .value(0)
                    .startsWith(QLatin1String("http://") + QLatin1String(host)
                                + QLatin1String("/agent/")));
    }

    void hostileHostsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("host");
        QTest::newRow("markup") << QByteArray("</url><url>http://evil/");
        QTest::newRow("quote") << QByteArray("a\"b");
        QTest::newRow("entity") << QByteArray("&lt;");
        QTest::newRow("path") << QByteArray("evil/path");
        QTest::newRow("user") << QByteArray("user@evil");
        QTest::newRow("query") << QByteArray("a?b");
        QTest::newRow("blank inside") << QByteArray("a b");
        QTest::newRow("port of letters") << QByteArray("a:b");
        QTest::newRow("port too high") << QByteArray("a:65536");
        QTest::newRow("port empty") << QByteArray("a:");
        QTest::newRow("two ports") << QByteArray("a:1:2");
        QTest::newRow("bracket open") << QByteArray("[::1");
        QTest::newRow("bracket empty") << QByteArray("[]");
        QTest::newRow("letters in brackets") << QByteArray("[evil]");
        QTest::newRow("bytes") << QByteArray("\xff\xfe");
        QTest::newRow("long") << QByteArray(300, 'a');
        QTest::newRow("percent") << QByteArray("evil%2fpath");
    }
    void hostileHostsAreRefused()
    {
        QFETCH(QByteArray, host);
        const ServerProcess server(m_dir->path());
        const HttpReply reply = server.get("/getagentapi.php", { "Host: " + host });
        QCOMPARE(reply.status, 400);
        QVERIFY2(failure(reply).startsWith(QLatin1String("The request names an invalid host")),
                 reply.body);
    }

    void aHostWithAControlCharacterMakesNoRequest()
    {
        const ServerProcess server(m_dir->path());
        const HttpReply reply = server.get("/getagentapi.php", { QByteArray("Host: a\x01") });
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.body, QByteArray("This request cannot be understood.\n"));
    }

    void twoHostsAreRefused()
    {
        const ServerProcess server(m_dir->path());
        QCOMPARE(server.get("/getagentapi.php", { "Host: a", "Host: b" }).status, 400);
    }

    void appInfoKeepsEveryCharacter()
    {
        const QString hard = QStringLiteral("100%25 a+b \\+ <&>\"' caf\u00e9 \u4e2d");
        QVERIFY(WriteTextFile(path("products"),
                              "Serial: 7\nName: " + hard.toUtf8()
                                  + "\nCategory: B\nPackage: libc++\nDescription: d\nProgram: "
                                  + hard.toUtf8()
                                  + "\nPath: /usr/bin/x --a=1+2\nMenu: " + hard.toUtf8() + "\n"));
        const ServerProcess server(m_dir->path());
        const HttpReply reply = appInfo(server, "?app_id[]=7");
        QCOMPARE(texts(reply, "name"), (QStringList{ hard, hard }));
        QCOMPARE(texts(reply, "menu"), QStringList{ hard });
        QCOMPARE(texts(reply, "path"), QStringList{ QStringLiteral("/usr/bin/x --a=1+2") });
        QCOMPARE(texts(reply, "packagename"), QStringList{ QStringLiteral("libc++") });
    }

    void appInfoAnswersInTheOrderAsked()
    {
        QVERIFY(WriteTextFile(path("products"),
                              product + "\n" + QByteArray(product).replace("7", "8")));
        const ServerProcess server(m_dir->path());
        const QStringList expected{ QStringLiteral("8"), QStringLiteral("7") };
        QCOMPARE(texts(appInfo(server, "?app_id[]=8&app_id[]=7"), "serialnumber"), expected);
        QCOMPARE(texts(appInfo(server, "?app_id%5B%5D=8&app_id%5b%5d=7"), "serialnumber"),
                 expected);
    }

    void appInfoRefusals_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<QString>("says");
        const QString none = QStringLiteral("The request names no product.");
        const QString unknown
            = QStringLiteral("There is no product with the number '%1' in this store.");
        QTest::newRow("no query") << QByteArray() << none;
        QTest::newRow("empty query") << QByteArray("?") << none;
        QTest::newRow("other parameter") << QByteArray("?id=7") << none;
        QTest::newRow("unknown") << QByteArray("?app_id[]=8") << unknown.arg(8);
        QTest::newRow("one of two") << QByteArray("?app_id[]=7&app_id[]=8") << unknown.arg(8);
        QTest::newRow("negative") << QByteArray("?app_id[]=-7") << unknown.arg(-7);
        QTest::newRow("no value") << QByteArray("?app_id[]") << unknown.arg(QString());
        QTest::newRow("letters") << QByteArray("?app_id[]=7x") << unknown.arg(QStringLiteral("7x"));
        QTest::newRow("markup") << QByteArray("?app_id[]=%22%3E%0A")
                                << unknown.arg(QStringLiteral("\">?"));
        QTest::newRow("invalid UTF-8")
            << QByteArray("?app_id[]=%FF") << unknown.arg(QStringLiteral("?"));
    }
    void appInfoRefusals()
    {
        QFETCH(QByteArray, query);
        const ServerProcess server(m_dir->path());
        const HttpReply reply = appInfo(server, query);
        QCOMPARE(reply.status, 200);
        QTEST(failure(reply), "says");
    }

    void packageInfoHasOneElementForEachRepository()
    {
        QVERIFY(WriteTextFile(path("pool/main/Packages"),
                              package + "\nPackage: q\nVersion: 1\nFilename: sub/q_1_all.deb\n"));
        QVERIFY(WriteTextFile(path("pool/extra/Packages"),
                              "Package: x\nVersion: 1\nFilename: x_1_all.deb\n"));
        const ServerProcess server(m_dir->path());
        const HttpReply reply = packageInfo(
            server, "?filename[]=q_1_all.deb&filename[]=x_1_all.deb&filename[]=p_1_all.deb");
        QCOMPARE(texts(reply, "package_url"),
                 (QStringList{ server.url() + QLatin1String("/pool/extra"),
                               server.url() + QLatin1String("/pool/main") }));
        QCOMPARE(
            texts(reply, "package_data"),
            (QStringList{ QStringLiteral("Package: x\nVersion: 1\nFilename: x_1_all.deb\n\n"),
                          QStringLiteral("Package: q\nVersion: 1\nFilename: sub/q_1_all.deb\n\n")
                              + QString::fromLatin1(package + '\n') }));
        QCOMPARE(envelope(reply).firstChildElement().tagName(), QStringLiteral("package_info"));
    }

    void packageInfoTakesNamesAsAptPrintsThem_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("as it is") << QByteArray("libl++_1%3a0.9~rc1_all.deb");
        QTest::newRow("escaped") << QByteArray("libl%2b%2b_1%253a0.9%7erc1_all.deb");
        QTest::newRow("half escaped") << QByteArray("libl++_1%253a0.9~rc1_all.deb");
    }
    void packageInfoTakesNamesAsAptPrintsThem()
    {
        QFETCH(QByteArray, name);
        QVERIFY(WriteTextFile(
            path("pool/main/Packages"),
            "Package: libl++\nVersion: 1:0.9~rc1\nFilename: libl++_1%3a0.9~rc1_all.deb\n"));
        const ServerProcess server(m_dir->path());
        QCOMPARE(
            texts(packageInfo(server, "?filename[]=" + name), "package_data"),
            QStringList{ QStringLiteral(
                "Package: libl++\nVersion: 1:0.9~rc1\nFilename: libl++_1%3a0.9~rc1_all.deb\n\n") });
    }

    void packageInfoGivesAFileOnce()
    {
        QVERIFY(WriteTextFile(path("pool/other/Packages"), package));
        const ServerProcess server(m_dir->path());
        const HttpReply reply
            = packageInfo(server, "?filename[]=p_1_all.deb&filename[]=p_1_all.deb");
        QCOMPARE(texts(reply, "package_data"), QStringList{ QString::fromLatin1(package + '\n') });
        QCOMPARE(texts(reply, "package_url"),
                 QStringList{ server.url() + QLatin1String("/pool/main") });
    }

    void archivesElsewhereAreFetchedFromThere()
    {
        QVERIFY(WriteTextFile(path("pool/main/Location"), "Archives: http://far.example/debian\n"));
        const ServerProcess server(m_dir->path());
        const QByteArray call = "/agent/CAPIGetPackageInfo?filename[]=p_1_all.deb";
        QCOMPARE(texts(server.get(call), "package_url"),
                 QStringList{ QStringLiteral("http://far.example/debian") });
        replace("pool/main/Location", "Archives: https://[::1]:81/a-b\n");
        QCOMPARE(texts(server.get(call), "package_url"),
                 QStringList{ QStringLiteral("https://[::1]:81/a-b") });
        QVERIFY(QFile::remove(path("pool/main/Location")));
        QCOMPARE(texts(server.get(call), "package_url"),
                 QStringList{ server.url() + QStringLiteral("/pool/main") });
    }

    void repositoriesOfOneAddressShareAnIndex()
    {
        for (const char* name : { "main", "more" })
            QVERIFY(WriteTextFile(path("pool") + QLatin1Char('/') + QLatin1String(name)
                                      + QStringLiteral("/Location"),
                                  "Archives: http://far.example\n"));
        QVERIFY(WriteTextFile(path("pool/more/Packages"),
                              "Package: q\nVersion: 1\nFilename: q_1_all.deb\n"));
        const ServerProcess server(m_dir->path());
        const HttpReply reply
            = server.get("/agent/CAPIGetPackageInfo?filename[]=q_1_all.deb&filename[]=p_1_all.deb");
        QCOMPARE(texts(reply, "package_url"), QStringList{ QStringLiteral("http://far.example") });
        QCOMPARE(texts(reply, "package_data").join(QString()),
                 QStringLiteral("Package: q\nVersion: 1\nFilename: q_1_all.deb\n\n")
                     + QString::fromLatin1(package) + QLatin1Char('\n'));
    }

    void packageInfoRefusals_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<QString>("says");
        const QString unknown = QStringLiteral("There is no package file '%1' in this store.");
        QTest::newRow("no query") << QByteArray()
                                  << QStringLiteral("The request names no package file.");
        QTest::newRow("unknown") << QByteArray("?filename[]=x.deb")
                                 << unknown.arg(QStringLiteral("x.deb"));
        QTest::newRow("one of two")
            << QByteArray("?filename[]=p_1_all.deb&filename[]=x") << unknown.arg(QLatin1Char('x'));
        QTest::newRow("path") << QByteArray("?filename[]=../main/p_1_all.deb")
                              << unknown.arg(QStringLiteral("../main/p_1_all.deb"));
        QTest::newRow("empty") << QByteArray("?filename[]=") << unknown.arg(QString());
    }
    void packageInfoRefusals()
    {
        QFETCH(QByteArray, query);
        const ServerProcess server(m_dir->path());
        QTEST(failure(packageInfo(server, query)), "says");
    }

    void sourcesAreGroupedByTheirType()
    {
        QVERIFY(WriteTextFile(path("sources"),
                              source + "\nType: plain\nEntry: deb http://x y z+w\nTimestamp: 6\n\n"
                                  + QByteArray(source).replace("5", "7")));
        const ServerProcess server(m_dir->path());
        const HttpReply reply = sourcesList(server);
        const QString here
            = QStringLiteral("deb ") + server.url() + QStringLiteral("/pool/main ./");
        QCOMPARE(texts(reply, "entry"),
                 (QStringList{ here, here, QStringLiteral("deb http://x y z+w") }));
        const QDomElement root = envelope(reply);
        const QDomElement first = root.firstChildElement();
        QCOMPARE(first.attribute(QStringLiteral("type")), QStringLiteral("dep"));
        QCOMPARE(first.lastChildElement().attribute(QStringLiteral("timestamp")),
                 QStringLiteral("7"));
        QCOMPARE(first.nextSiblingElement().attribute(QStringLiteral("type")),
                 QStringLiteral("plain"));
    }
};

QTEST_GUILESS_MAIN(StoreServerTest)
#include "tst_storeserver.moc"
