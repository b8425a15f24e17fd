// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store as files: nginx, with the site that comes with the server, answers from them what the
// store server would answer, to the byte.

#include "common/cutrun.h"
#include "common/exportedsite.h"
#include "common/signingkey.h"
#include "serverprocess.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>

namespace
{

const char productsText[]
    = "Serial: 7\nName: A\nCategory: B\nPackage: p\nDescription: d\nProgram: A\nPath: a\n\n"
      "Serial: 8\nName: Ünï + 50% <b>\nCategory: C & D\nPackage: libluck++\nDescription: e\n\n";
const char indexText[]
    = "Package: p\nVersion: 1\nArchitecture: all\nFilename: p_1_all.deb\nSize: 3000\n"
      "SHA256: 0f2f6a7c4a3d3f7a4e9d6d2c1b0a99887766554433221100ffeeddccbbaa9988\n\n"
      "Package: libluck++\nVersion: 1:1.0~b-1\nArchitecture: all\nFilename: "
      "lib/libluck++_1%3a1.0~b-1_all.deb\nSize: 9\n"
      "SHA256: 1f2f6a7c4a3d3f7a4e9d6d2c1b0a99887766554433221100ffeeddccbbaa9988\n";
const char publicUrl[] = "http://store.example";

// Of one pixel.
QByteArray Picture()
{
    return QByteArray::fromHex("89504e470d0a1a0a0000000d49484452000000010000000108060000001f15c489"
                               "0000000d49444154789c63606060f80f0001040100b35d3d2e0000000049454e44"
                               "ae426082");
}

QByteArray SumOf(const QByteArray& text)
{
    return QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex();
}

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

QStringList FilesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator entries(folder, QDir::Files | QDir::Hidden | QDir::System,
                         QDirIterator::Subdirectories);
    while (entries.hasNext())
        files << entries.next().mid(folder.size());
    files.sort();
    return files;
}

} // namespace

class ExportTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SigningKey> m_key;
    quint16 m_port = 0; // of nginx

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& text) const
    {
        if (!WriteTextFile(path(name), text))
            qFatal("cannot write a file of the store");
    }
    void makeStore() const
    {
        QByteArray products = productsText;
        // So many that the catalog is worth packing.
        for (int serial = 100; serial < 130; ++serial)
            products += "Serial: " + QByteArray::number(serial) + "\nName: P"
                + QByteArray::number(serial) + "\nCategory: B\nPackage: q\nDescription: d\n\n";
        write("store/products", products);
        write("store/sources", "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n");
        write("store/aisles", "Name: Play\nCategory: B\n");
        write("store/updates", "Package: one\n");
        write("store/profile", "Serial: 7\nName: A\nPackage: p\n");
        write("store/icons", "Serial: 7\nPicture: " + SumOf(Picture()) + "\n");
        write(("store/pictures/" + SumOf(Picture()) + ".png").constData(), Picture());
        write("store/pool/main/p_1_all.deb", QByteArray(3000, 'd'));
        write("store/pool/main/lib/libluck++_1%3a1.0~b-1_all.deb", "archive\n\n");
        write("store/pool/main/Packages", indexText);
    }
    QStringList signing(bool isSigned)
    {
        if (isSigned && !m_key)
            m_key = std::make_unique<SigningKey>(QString::fromLocal8Bit(qgetenv("TEST_DIR"))
                                                 + QLatin1String("/key"));
        return isSigned ? QStringList{ QStringLiteral("--sign"), m_key->secretFile() }
                        : QStringList();
    }
    QStringList exportWords(const QStringList& options = {}, const char* folder = "out") const
    {
        return QStringList{ QStringLiteral("export"), QStringLiteral("--public-url"),
                            QLatin1String(publicUrl) }
        + options + QStringList{ path("store"), path(folder) };
    }
    ServerProcess::Result runExport(const QStringList& options = {},
                                    const char* folder = "out") const
    {
        return ServerProcess::run(exportWords(options, folder));
    }
    // The folder of the current version.
    QString current(const char* folder = "out") const
    {
        const QByteArray text = Contents(path(folder) + QLatin1String("/current.conf"));
        const auto at = text.indexOf("/versions/");
        return path(folder) + QString::fromLatin1(text.mid(at, 10 + 32));
    }

    std::unique_ptr<Nginx> startNginx(quint16 serverPort)
    {
        for (int tries = 0; tries < 5; ++tries) {
            m_port = Nginx::freePort();
            auto nginx = std::make_unique<Nginx>(path("nginx"),
                                                 ExportedSite(path("out"), m_port, serverPort));
            if (nginx->start(m_port))
                return nginx;
            qWarning("%s", nginx->log().constData());
        }
        return nullptr;
    }
    HttpReply ask(const QByteArray& target, const QList<QByteArray>& headers = {}) const
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
        if (!socket.waitForConnected(60000))
            return {};
        QByteArray request = "GET " + target + " HTTP/1.1\r\nHost: store.example\r\n";
        for (const QByteArray& header : headers)
            request += header + "\r\n";
        socket.write(request + "Connection: close\r\n\r\n");
        return ServerProcess::receive(socket);
    }

    static QList<QByteArray> targetsForAll()
    {
        return { "/getagentapi.php",
                 "/agent/CAPIGetAisles",
                 "/agent/CAPIGetOSVer",
                 "/agent/CAPIGetPictures",
                 "/agent/CAPIGetSourcesList",
                 "/agent/CAPIUpdateCatalog",
                 "/agent/CAPIDownloadAppInfo?app_id[]=7",
                 "/agent/CAPIDownloadAppInfo?app_id%5B%5D=8",
                 "/agent/CAPIGetPackageInfo?filename[]=p_1_all.deb",
                 "/agent/CAPIGetPackageInfo?filename[]=libluck++_1%3a1.0~b-1_all.deb",
                 "/pool/main/Packages",
                 "/pool/main/./Packages",
                 "/pool/main/p_1_all.deb",
                 "/pool/main/lib/libluck++_1%253a1.0~b-1_all.deb",
                 "/pictures/" + SumOf(Picture()) + ".png" };
    }
    // The text of a statement without its dates, and whether there is one.
    static QByteArray statementOf(const HttpReply& reply)
    {
        QByteArrayList lines
            = QByteArray::fromBase64(reply.header("Pakmart-Statement").split(' ').value(0))
                  .split('\n');
        for (QByteArray& line : lines)
            line = line.contains("Date: ") || line.contains("Valid-Until: ") ? "" : line;
        return lines.join('\n');
    }
    void compare(const QByteArray& target, const HttpReply& ours, const HttpReply& right) const
    {
        QVERIFY2(right.status == 200, target);
        QVERIFY2(ours.status == 200, target + ' ' + ours.head);
        QVERIFY2(ours.body == right.body, target);
        for (const char* name : { "Content-Type", "Content-Length", "Cache-Control" })
            QVERIFY2(ours.header(name) == right.header(name), target + ' ' + ours.head);
        QVERIFY2(statementOf(ours) == statementOf(right), target + '\n' + statementOf(ours));
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        makeStore();
    }

    // -- nginx

    void nginxAnswersAsTheServerDoes_data()
    {
        QTest::addColumn<bool>("isSigned");
        QTest::newRow("plain") << false;
        QTest::newRow("signed") << true;
    }
    void nginxAnswersAsTheServerDoes()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there", __FILE__, __LINE__);
        QFETCH(bool, isSigned);
        const auto result = runExport(signing(isSigned));
        QVERIFY2(result.status == 0, result.err);
        const ServerProcess server(path("store"),
                                   QStringList{ QStringLiteral("--public-url"),
                                                QLatin1String(publicUrl), QStringLiteral("--proxy"),
                                                QStringLiteral("127.0.0.1") }
                                       + signing(isSigned));
        QVERIFY(server.isRunning());
        { // alone
            const auto nginx = startNginx(Nginx::freePort());
            QVERIFY(nginx);
            for (const QByteArray& target : targetsForAll())
                compare(target, ask(target), server.get(target));
            for (const char* file : { "InRelease", "Release" })
                QCOMPARE(ask(QByteArray("/pool/main/") + file).status, isSigned ? 200 : 502);
            QCOMPARE(ask("/agent/CAPISyncMyMachine").status, 502);
        }
        const auto nginx = startNginx(server.port());
        QVERIFY(nginx);
        for (const char* target :
             { "/agent/CAPISyncMyMachine", "/agent/CAPISetOEMInfo?id=1",
               "/agent/CAPIDownloadAppInfo?app_id[]=7&app_id[]=8", "/agent/CAPIUpdateCatalog?x" })
            compare(target, ask(target), server.get(target));
    }

    void nginxAcceptsTheSite()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there", __FILE__, __LINE__);
        QCOMPARE(runExport(signing(true)).status, 0);
        m_port = Nginx::freePort();
        Nginx nginx(path("nginx"), ExportedSite(path("out"), m_port, Nginx::freePort()));
        QVERIFY2(nginx.check(), nginx.log());
    }

    void packedFormsAreOfTheSameText()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there", __FILE__, __LINE__);
        QCOMPARE(runExport().status, 0);
        const auto nginx = startNginx(Nginx::freePort());
        QVERIFY(nginx);
        const QByteArray plain = ask("/agent/CAPIUpdateCatalog").body;
        const auto packed = [this](const char* accepts) {
            return ask("/agent/CAPIUpdateCatalog", { QByteArray("Accept-Encoding: ") + accepts });
        };
        for (const char* form : { "gzip", "zstd" }) {
            const HttpReply reply = packed(form);
            QCOMPARE(reply.header("Content-Encoding"), QByteArray(form));
            QCOMPARE(reply.header("Vary"), QByteArray("Accept-Encoding"));
            QVERIFY(reply.body.size() < plain.size());
            QProcess unpack;
            unpack.start(QLatin1String(form), { QStringLiteral("-dc") });
            unpack.write(reply.body);
            unpack.closeWriteChannel();
            QVERIFY2(unpack.waitForFinished(), form);
            QCOMPARE(unpack.readAllStandardOutput(), plain);
        }
        QCOMPARE(packed("zstd, br, gzip").header("Content-Encoding"), QByteArray("zstd"));
        QCOMPARE(packed("br").header("Content-Encoding"), QByteArray());
        QCOMPARE(packed("zstd;q=0, gzip").header("Content-Encoding"), QByteArray("gzip"));
        // Short texts are as they are.
        QCOMPARE(ask("/agent/CAPIGetAisles", { "Accept-Encoding: gzip, zstd" })
                     .header("Content-Encoding"),
                 QByteArray());
    }

    void whatAClientHasIsNotSentAgain()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there", __FILE__, __LINE__);
        QCOMPARE(runExport(signing(true)).status, 0);
        const auto nginx = startNginx(Nginx::freePort());
        QVERIFY(nginx);
        for (const QByteArray& target : targetsForAll()) {
            const QByteArray mark = ask(target).header("ETag");
            const HttpReply again = ask(target, { "If-None-Match: " + mark });
            QVERIFY2(again.status == 304 && again.body.isEmpty(), target + again.head);
            if (target.startsWith("/agent/"))
                QVERIFY2(!statementOf(again).isEmpty(), target);
        }
    }

    void nothingElseIsServed_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target :
             { "/current.conf",
               "/agent/../current.conf",
               "/pool/../../../current.conf",
               "/pool/%2e%2e/%2e%2e/%2e%2e/current.conf",
               "/agent/CAPIDownloadAppInfo/7",
               "/agent/CAPIDownloadAppInfo?app_id[]=../../../../current.conf",
               "/agent/CAPIGetPackageInfo?filename[]=..%2f..%2f..%2f..%2fcurrent.conf",
               "/agent/CAPIGetPackageInfo?filename[]=../../../../current.conf",
               "/agent/CAPIGetPackageInfo?filename[]=..",
               "/agent/CAPIGetPackageInfo?filename[]=",
               "/agent/CAPIDownloadAppInfo?app_id[]=",
               "/agent/CAPIDownloadAppInfo?app_id[]=07",
               "/agent/CAPIDownloadAppInfo?app_id[]=7%00",
               "/agent/CAPIUpdateCatalog.gz",
               "/agent/CAPIUpdateCatalog/",
               "/none",
               "/pool/",
               "/pool/main/",
               "/pictures/",
               "/",
               "/content/",
               "/versions/",
               "/getagentapi.php/x",
               "//getagentapi.php" })
            QTest::newRow(target) << QByteArray(target);
    }
    void nothingElseIsServed()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there", __FILE__, __LINE__);
        QFETCH(QByteArray, target);
        QCOMPARE(runExport().status, 0);
        const auto nginx = startNginx(Nginx::freePort());
        QVERIFY(nginx);
        const HttpReply reply = ask(target);
        QVERIFY2(reply.status >= 400, reply.head + reply.body);
        QVERIFY(!reply.body.contains("versions/"));
    }

    // -- versions

    void whatIsUnchangedStaysAsItIs()
    {
        QCOMPARE(runExport().status, 0);
        const QString first = current();
        struct stat before = {}, after = {};
        const auto look = [](const QString& version, const char* name, struct stat& info) {
            return stat(QFile::encodeName(version + QLatin1String(name)).constData(), &info) == 0;
        };
        QVERIFY(look(first, "/agent/CAPIDownloadAppInfo/8", before));
        const auto again = runExport();
        QVERIFY2(again.out.contains(", as before;") && again.out.contains("files written: 0,"),
                 again.out);
        QCOMPARE(current(), first);

        write("store/products", QByteArray(productsText).replace("Name: A\n", "Name: New\n"));
        const auto changed = runExport();
        QVERIFY2(changed.status == 0 && !changed.out.contains("as before"), changed.out);
        QVERIFY(current() != first);
        QVERIFY(look(current(), "/agent/CAPIDownloadAppInfo/8", after));
        QCOMPARE(after.st_ino, before.st_ino);
        QCOMPARE(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
        QVERIFY(look(current(), "/agent/CAPIDownloadAppInfo/7", after));
        QVERIFY(look(first, "/agent/CAPIDownloadAppInfo/7", before));
        QVERIFY(after.st_ino != before.st_ino);
        // Another text has another mark, even of the same length and in the same second.
        QVERIFY(after.st_mtim.tv_sec != before.st_mtim.tv_sec);
        // The pool is not copied.
        QVERIFY(look(current(), "/pool/main/p_1_all.deb", after));
        QVERIFY(look(path("store"), "/pool/main/p_1_all.deb", before));
        QCOMPARE(after.st_ino, before.st_ino);
    }

    void oldVersionsStayForATime()
    {
        QCOMPARE(runExport().status, 0);
        const QString first = current();
        write("store/updates", "Package: two\n");
        const auto second = runExport();
        QVERIFY2(second.out.contains("old versions removed: 0"), second.out);
        QVERIFY(QFile::exists(first + QLatin1String("/agent/CAPIGetOSVer")));
        const QByteArray old = Contents(first + QLatin1String("/agent/CAPIGetOSVer"));
        const QString text = path("out") + QLatin1String("/content/")
            + QString::fromLatin1(SumOf(old).left(2) + '/' + SumOf(old));
        QCOMPARE(Contents(text), old);
        const auto third = runExport({ QStringLiteral("--keep"), QStringLiteral("0") });
        QVERIFY2(third.out.contains("old versions removed: 1"), third.out);
        QVERIFY(!QFile::exists(first));
        QVERIFY(!QFile::exists(text));
        QVERIFY(QFile::exists(current() + QLatin1String("/agent/CAPIGetOSVer")));
    }

    // Its day begins when it is replaced, not when it was made.
    void aVersionThatWasCurrentForLongStaysAsWell()
    {
        QCOMPARE(runExport().status, 0);
        const QString first = current();
        const timespec longAgo[] = { { 1000000000, 0 }, { 1000000000, 0 } };
        QCOMPARE(utimensat(AT_FDCWD, QFile::encodeName(first).constData(), longAgo, 0), 0);
        write("store/updates", "Package: two\n");
        QCOMPARE(runExport().status, 0);
        QVERIFY(QFile::exists(first));
    }

    void aTextThatWasCutOffIsWrittenAgain()
    {
        QCOMPARE(runExport().status, 0);
        const QByteArray right = Contents(current() + QLatin1String("/agent/CAPIGetOSVer"));
        const QString text = path("out") + QLatin1String("/content/")
            + QString::fromLatin1(SumOf(right).left(2) + '/' + SumOf(right));
        QVERIFY(QFile::resize(text, 3));
        write("store/aisles", "Name: Other\nCategory: B\n");
        QCOMPARE(runExport().status, 0);
        QCOMPARE(Contents(current() + QLatin1String("/agent/CAPIGetOSVer")), right);
    }

    void aKillAtAnyMomentLeavesAWholeVersion_data()
    {
        QTest::addColumn<int>("killed");
        QTest::newRow("killed") << int(Killed::All);
        QTest::newRow("no room") << int(Killed::None);
    }
    void aKillAtAnyMomentLeavesAWholeVersion()
    {
        QFETCH(int, killed);
        write("store/products", productsText);
        QCOMPARE(runExport().status, 0);
        const QString before = current();
        write("store/updates", "Package: two\n");
        QCOMPARE(runExport({}, "right").status, 0);
        const QString right = current("right"), wanted = right.mid(right.lastIndexOf('/'));
        const QStringList files = FilesBelow(right);
        QVERIFY(files.size() > 12);
        QStringList words = exportWords();
        words.prepend(QStringLiteral(STORESERVER));
        bool isCut = true;
        int cuts = 0, after = 0;
        for (; isCut; ++cuts) {
            QVERIFY(QDir(path("out")).removeRecursively());
            write("store/updates", "Package: one\n");
            QCOMPARE(runExport().status, 0);
            QCOMPARE(current(), before);
            write("store/updates", "Package: two\n");
            const CutRun run = RunCutAt(cuts, Killed(killed), words, path("output"));
            if (!run.traced)
                return QTest::qSkip("this system does not allow tracing", __FILE__, __LINE__);
            QVERIFY(!run.hung);
            isCut = run.cut;
            if (current() == before)
                continue;
            ++after;
            QVERIFY2(current().endsWith(wanted), run.last);
            for (const QString& file : files)
                QVERIFY2(Contents(current() + file) == Contents(right + file), run.last);
        }
        QVERIFY2(cuts > 30 && after > 1 && after < cuts, QByteArray::number(cuts));
        QCOMPARE(runExport().status, 0);
        QVERIFY(current().endsWith(wanted));
        QCOMPARE(FilesBelow(current()), files);
        QVERIFY(!QFile::exists(path("out") + QLatin1String("/versions/new")));
    }

    // -- what is refused

    void whatCannotBeExportedSaysWhy_data()
    {
        QTest::addColumn<QStringList>("words"); // STORE and OUT stand for the folders
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char* name, const char* words, int status, const char* text) {
            QTest::newRow(name) << QString::fromLatin1(words).split(QLatin1Char(' ')) << status
                                << QByteArray(text);
        };
        row("no address", "STORE OUT", 2, "--public-url needs an address");
        row("no folder", "--public-url http://a STORE", 2, "a STORE and a FOLDER are needed");
        row("bad address", "--public-url ftp://a STORE OUT", 2, "--public-url needs an address");
        row("bad time", "--public-url http://a --keep x STORE OUT", 2,
            "'x' is not a number of seconds");
        row("negative time", "--public-url http://a --keep -1 STORE OUT", 2,
            "'-1' is not a number of seconds");
        row("bad name", "--public-url http://a --origin \n STORE OUT", 2,
            "the name of a store is one line of ASCII");
        row("no store", "--public-url http://a /none OUT", 1, "/none/products");
        row("no key", "--public-url http://a --sign /none STORE OUT", 1, "/none");
        row("odd folder", "--public-url http://a STORE OUT$x", 1, "the name of this folder");
    }
    void whatCannotBeExportedSaysWhy()
    {
        QFETCH(QStringList, words);
        QFETCH(int, status);
        QFETCH(QByteArray, text);
        for (QString& word : words)
            word.replace(QLatin1String("STORE"), path("store"))
                .replace(QLatin1String("OUT"), path("out"));
        const auto result = ServerProcess::run(QStringList{ QStringLiteral("export") } + words);
        QCOMPARE(result.status, status);
        QVERIFY2(result.err.contains(text), result.err);
        QVERIFY(!QFile::exists(path("out") + QLatin1String("/current.conf")));
    }
    void aBrokenStoreLeavesTheVersion()
    {
        QCOMPARE(runExport().status, 0);
        const QString first = current();
        write("store/products", "Serial: six\n");
        const auto result = runExport();
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("store/products:1"), result.err);
        QCOMPARE(current(), first);
    }
    void twoExportsAtOnceAreRefused()
    {
        QCOMPARE(runExport().status, 0);
        QFile folder(path("out"));
        const int fd = ::open(qPrintable(path("out")), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(::flock(fd, LOCK_EX), 0);
        const auto result = runExport();
        ::close(fd);
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("another command"), result.err);
    }

    // -- what is left to the server

    void aLargeSignedStoreLeavesProductsToTheServer()
    {
        QByteArray products;
        for (int serial = 1; serial <= 2001; ++serial)
            products += "Serial: " + QByteArray::number(serial)
                + "\nName: P\nCategory: B\n"
                  "Package: q\nDescription: d\n\n";
        write("store/products", products);
        write("store/icons", "");
        QCOMPARE(runExport(signing(true)).status, 0);
        QVERIFY(!QFile::exists(current() + QLatin1String("/agent/CAPIDownloadAppInfo")));
        QVERIFY(QFile::exists(current() + QLatin1String("/agent/CAPIUpdateCatalog")));
        QCOMPARE(runExport().status, 0);
        QVERIFY(QFile::exists(current() + QLatin1String("/agent/CAPIDownloadAppInfo/2001")));
    }
    // Archives are linked to, which only works within a file system.
    void aPoolOnAnotherFileSystemIsCopiedOnce()
    {
        const QTemporaryDir other(QStringLiteral("/dev/shm/export-XXXXXX"));
        struct stat here = {}, there = {};
        if (!other.isValid() || stat(qPrintable(other.path()), &there) != 0
            || stat(qPrintable(m_dir->path()), &here) != 0 || here.st_dev == there.st_dev)
            return QTest::qSkip("there is no other file system", __FILE__, __LINE__);
        QVERIFY(QFile::link(other.path(), path("out")));
        const auto look = [this](struct stat& info) {
            return stat(qPrintable(current() + QLatin1String("/pool/main/p_1_all.deb")), &info)
                == 0;
        };
        QCOMPARE(runExport().status, 0);
        QVERIFY(look(there) && stat(qPrintable(path("store/pool/main/p_1_all.deb")), &here) == 0);
        QVERIFY(here.st_dev != there.st_dev);
        QCOMPARE(there.st_mtim.tv_sec, here.st_mtim.tv_sec);
        QCOMPARE(there.st_mtim.tv_nsec, here.st_mtim.tv_nsec);
        QCOMPARE(Contents(current() + QLatin1String("/pool/main/p_1_all.deb")),
                 QByteArray(3000, 'd'));
        const QString first = current();
        write("store/updates", "Package: two\n");
        QCOMPARE(runExport().status, 0);
        QVERIFY(current() != first);
        const ino_t copy = there.st_ino;
        QVERIFY(look(there));
        QCOMPARE(there.st_ino, copy);
    }
    // nginx would not find them, or find something else.
    void oddNamesAreLeftToTheServer()
    {
        write("store/pool/main/Packages",
              QByteArray(indexText)
                  + "\nPackage: odd\nVersion: 1\nArchitecture: all\nFilename: "
                    ".odd_1_all.deb\nSize: 9\n"
                    "\nPackage: odder\nVersion: 1\nArchitecture: all\nFilename: "
                    "a&b_1_all.deb\nSize: 9\n");
        QCOMPARE(runExport().status, 0);
        const QStringList files
            = FilesBelow(current() + QLatin1String("/agent/CAPIGetPackageInfo"));
        QCOMPARE(files,
                 (QStringList{ QStringLiteral("/libluck++_1%3a1.0~b-1_all.deb"),
                               QStringLiteral("/p_1_all.deb") }));
    }
    void linksOfThePoolAreNotFollowed()
    {
        write("secret", "not for all");
        QVERIFY(QFile::link(path("secret"), path("store/pool/main/link.deb")));
        QCOMPARE(runExport().status, 0);
        QVERIFY(!QFile::exists(current() + QLatin1String("/pool/main/link.deb")));
    }
};

QTEST_GUILESS_MAIN(ExportTest)
#include "tst_export.moc"
