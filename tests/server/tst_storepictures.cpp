// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pictures of products: taken from an archive of icons, listed, and served.

#include "server/serverprocess.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/stat.h>

namespace
{

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

QByteArray SumOf(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

QByteArray Png(Qt::GlobalColor color, int width = 64, int height = 64)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    return image.save(&buffer, "PNG") ? buffer.data() : QByteArray();
}

// Pixels that cannot be packed.
QByteArray LargePng()
{
    QImage image(512, 512, QImage::Format_RGB32);
    quint32 noise = 1;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, noise = noise * 1664525 + 1013904223);
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    return image.save(&buffer, "PNG") ? buffer.data() : QByteArray();
}

QByteArray Stanza(const QByteArray& name)
{
    return "Package: " + name + "\nVersion: 1\nDescription: " + name
        + " for tests\nSection: misc\nFilename: pool/" + name
        + "_1_all.deb\nSize: 100\nSHA256: " + QByteArray(64, 'a') + "\n\n";
}

QByteArray Application(const QByteArray& package, const QByteArray& icons)
{
    return "---\nType: desktop-application\nID: " + package + "\nPackage: " + package
        + "\nName:\n  C: The " + package + "\nSummary:\n  C: Summary\n" + icons;
}

QByteArray CachedIcon(const QByteArray& name)
{
    return "Icon:\n  stock: other\n  cached:\n  - name: " + name
        + "\n    width: 48\n    height: 48\n  - name: " + name
        + "\n    width: 64\n    height: 64\n";
}

const char head[] = "---\nFile: DEP-11\nVersion: '0.14'\nOrigin: x\n";
const char directory[] = "/getagentapi.php";
const char call[] = "/agent/CAPIGetPictures";

} // namespace

class StorePicturesTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    QByteArray stored(const QByteArray& name) const
    {
        return Contents(path("store/") + QString::fromLatin1(name));
    }
    bool put(const QByteArray& name, const QByteArray& bytes) const
    {
        return WriteTextFile(path("icons/") + QString::fromLatin1(name), bytes);
    }
    // Packs what is in the folder `icons`.
    bool pack(const QStringList& options = {}) const
    {
        return QProcess::execute(QStringLiteral("tar"),
                                 options
                                     + QStringList{ QStringLiteral("-C"), path("icons"),
                                                    QStringLiteral("-czf"), path("icons.tar.gz"),
                                                    QStringLiteral(".") })
            == 0;
    }
    ServerProcess::Result import(const QStringList& options) const
    {
        return ServerProcess::run(QStringList{ QStringLiteral("import"),
                                               QStringLiteral("--archive"),
                                               QStringLiteral("http://archive.example/debian") }
                                  + options + QStringList{ path("index"), path("store") });
    }
    ServerProcess::Result importIcons() const
    {
        return import({ QStringLiteral("--appstream"), path("catalog.yml"),
                        QStringLiteral("--icons"), path("icons.tar.gz") });
    }
    // A store with one product, made by hand, and its picture.
    bool writeStore(const QByteArray& picture) const
    {
        const QString store = path("store/");
        return WriteTextFile(store + QLatin1String("products"),
                             "Serial: 7\nName: A\nCategory: B\nPackage: p\nDescription: d\n")
            && WriteTextFile(store + QLatin1String("sources"), "")
            && WriteTextFile(store + QLatin1String("pool/main/Packages"), "")
            && WriteTextFile(store + QLatin1String("icons"),
                             "Serial: 7\nPicture: " + SumOf(picture) + "\n")
            && WriteTextFile(fileOf(picture), picture);
    }
    QString fileOf(const QByteArray& picture) const
    {
        return path("store/pictures/") + QString::fromLatin1(SumOf(picture) + ".png");
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(WriteTextFile(path("index"), Stanza("ab") + Stanza("cd") + Stanza("ef")));
        QVERIFY(WriteTextFile(path("catalog.yml"),
                              head + Application("ab", CachedIcon("ab_x.png"))
                                  + Application("cd", "Icon:\n  stock: cd\n")));
    }
    void cleanup() { m_dir.reset(); }

    // -- import

    void iconsOfApplicationsComeIntoTheStore()
    {
        const QByteArray red = Png(Qt::red);
        QVERIFY(put("ab_x.png", red) && put("unknown.png", Png(Qt::blue)) && pack());
        const auto result = importIcons();
        QCOMPARE(result.err, QByteArray());
        QVERIFY2(result.out.contains(", applications: 2, icons: 1\n"), result.out);
        QCOMPARE(stored("icons"), "Serial: 1\nPicture: " + SumOf(red) + "\n\n");
        QCOMPARE(Contents(fileOf(red)), red);
        QCOMPARE(QDir(path("store/pictures")).entryList(QDir::Files).size(), 1);

        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        QVERIFY(server.get(directory).body.contains(call));
        QCOMPARE(
            server.get(call).body,
            QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<agentfunction resultcode=\"OK\">\n <pictures folder=\"../pictures\">\n"
                       "  <picture serialnumber=\"1\">"
                       + SumOf(red) + ".png</picture>\n </pictures>\n</agentfunction>\n"));
    }
    void anotherImportKeepsOrReplacesThem()
    {
        const QByteArray red = Png(Qt::red), blue = Png(Qt::blue);
        QVERIFY(put("ab_x.png", red) && pack());
        QCOMPARE(importIcons().status, 0);
        const QByteArray first = stored("icons");
        struct stat before = {}, after = {};
        QCOMPARE(::stat(qPrintable(fileOf(red)), &before), 0);
        QCOMPARE(importIcons().status, 0);
        QCOMPARE(::stat(qPrintable(fileOf(red)), &after), 0);
        QCOMPARE(before.st_ino, after.st_ino);
        QCOMPARE(import({}).status, 0);
        QCOMPARE(stored("icons"), first);
        QVERIFY(put("ab_x.png", blue) && pack());
        QCOMPARE(importIcons().status, 0);
        QCOMPARE(stored("icons"), "Serial: 1\nPicture: " + SumOf(blue) + "\n\n");
        QCOMPARE(Contents(fileOf(blue)), blue);
        QCOMPARE(Contents(fileOf(red)), red); // for agents with the older list
    }
    void damagedIconsAreLeftOut_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("why");
        const QByteArray good = Png(Qt::red);
        const QByteArray damaged = "it is cut short or damaged";
        const auto row = [](const char* name, const QByteArray& bytes, const QByteArray& why) {
            QTest::newRow(name) << bytes << why;
        };
        row("whole", good, "");
        row("largest", Png(Qt::red, 1024, 1024), "");
        row("empty", "", "it is not a PNG picture");
        row("text", "<svg/>", "it is not a PNG picture");
        row("signature alone", good.left(8), damaged);
        row("cut in the header", good.left(20), damaged);
        row("cut at the end", good.left(good.size() - 1), damaged);
        row("without the end", good.left(good.size() - 12), damaged);
        row("more after the end", good + "x", damaged);
        row("a changed byte", QByteArray(good).replace("IDAT", "IDAX"), damaged);
        row("an endless part", QByteArray(good).replace(8, 4, "\xff\xff\xff\xff"), damaged);
        row("too wide", Png(Qt::red, 1025, 1), "1 to 1024 pixels");
        row("too high", Png(Qt::red, 1, 1025), "1 to 1024 pixels");
        row("too large", LargePng(), "it is larger than 256 KB");
    }
    void damagedIconsAreLeftOut()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, why);
        QVERIFY(put("ab_x.png", bytes) && pack());
        const auto result = importIcons();
        QCOMPARE(result.status, 0);
        const QByteArray left = "left out: " + path("icons.tar.gz").toUtf8() + ": 'ab_x.png': ";
        QVERIFY2(result.err.contains(why) && result.err.contains(left) != why.isEmpty(),
                 result.err);
        QCOMPARE(QFile::exists(path("store/icons")), why.isEmpty());
        QCOMPARE(QDir(path("store/pictures")).entryList(QDir::Files).size(), why.isEmpty() ? 1 : 0);
    }
    void entriesThatAreNoIconsAreRefused_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("why");
        const QByteArray away = "this is not in the archive's own folder";
        const auto row = [](const char* kind, const QByteArray& why) {
            QTest::newRow(kind) << QString::fromLatin1(kind) << why;
        };
        row("s,ab_x,../ab_x,", "'../ab_x.png': " + away);
        row("s,ab_x,folder/ab_x,", "'folder/ab_x.png': " + away);
        row("s,./ab_x,/tmp/ab_x,", "'/tmp/ab_x.png': " + away);
        row("symlink", "'ab_x.png': this is not a regular file");
        row("hard link", "'ab_x.png': this is not a regular file");
        row("pipe", "'ab_x.png': this is not a regular file");
    }
    void entriesThatAreNoIconsAreRefused()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, why);
        const bool isMoved = kind.startsWith(QLatin1String("s,"));
        QVERIFY(put("aa.png", Png(Qt::red)));
        const QString entry = path("icons/ab_x.png"), other = path("icons/aa.png");
        if (isMoved)
            QVERIFY(put("ab_x.png", Png(Qt::red)));
        else if (kind == QLatin1String("symlink"))
            QVERIFY(QFile::link(QStringLiteral("/etc/passwd"), entry));
        else if (kind == QLatin1String("hard link"))
            QCOMPARE(::link(qPrintable(other), qPrintable(entry)), 0);
        else
            QCOMPARE(mkfifo(qPrintable(entry), 0600), 0);
        QStringList options{ QStringLiteral("--sort=name"), QStringLiteral("-P") };
        if (isMoved)
            options << QStringLiteral("--transform=") + kind;
        QVERIFY(pack(options));
        const auto result = importIcons();
        QCOMPARE(result.status, 0);
        QVERIFY2(result.err.contains("left out: " + path("icons.tar.gz").toUtf8() + ": " + why),
                 result.err);
        QVERIFY(result.out.contains(", icons: 0\n"));
        QVERIFY(!QFile::exists(path("store/icons")) && !QFile::exists(path("store/pictures")));
        QVERIFY(!QFile::exists(path("ab_x.png")));
    }
    void anArchiveThatCannotBeReadStopsTheImport_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("why");
        const QByteArray tar = QByteArray("ab_x.png").leftJustified(512, '\0');
        QTest::newRow("missing") << QByteArray("-") << QByteArray("No such file or directory");
        QTest::newRow("not packed") << tar << QByteArray("icons.tar.gz: ");
        QTest::newRow("cut") << QByteArray("cut") << QByteArray("cut short");
        QTest::newRow("no archive") << QByteArray("plain") << QByteArray("icons.tar.gz: ");
    }
    void anArchiveThatCannotBeReadStopsTheImport()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, why);
        const QString file = path("icons.tar.gz");
        QVERIFY(put("ab_x.png", LargePng()) && pack());
        if (bytes == "cut")
            bytes = Contents(file).left(100000);
        QFile::remove(file);
        if (bytes == "plain") { // a packed text
            QVERIFY(WriteTextFile(path("icons.tar"), QByteArray(2000, 'x')));
            QCOMPARE(QProcess::execute(QStringLiteral("gzip"), { path("icons.tar") }), 0);
        } else if (bytes != "-") {
            QVERIFY(WriteTextFile(file, bytes));
        }
        const auto result = importIcons();
        QCOMPARE(result.status, 1);
        QCOMPARE(result.out, QByteArray());
        QVERIFY2(result.err.contains(why) && result.err.count('\n') == 1, result.err);
        QVERIFY(!QFile::exists(path("store/products")));
    }
    void iconsNeedApplications()
    {
        const auto result = import({ QStringLiteral("-i"), path("icons.tar.gz") });
        QCOMPARE(result.status, 2);
        QVERIFY2(result.err.contains("--appstream names"), result.err);
    }

    // -- made by hand

    void aStoreMadeByHandIsChecked_data()
    {
        QTest::addColumn<QByteArray>("picture");
        QTest::addColumn<QByteArray>("now"); // in its file
        QTest::addColumn<QByteArray>("why");
        const QByteArray red = Png(Qt::red), blue = Png(Qt::blue);
        QTest::newRow("good") << red << red << QByteArray();
        QTest::newRow("text") << QByteArray("x") << QByteArray("x")
                              << QByteArray("it is not a PNG picture");
        QTest::newRow("too large") << LargePng() << LargePng() << QByteArray("larger than 256 KB");
        QTest::newRow("another picture")
            << red << blue << QByteArray("its bytes are not those of its name");
    }
    void aStoreMadeByHandIsChecked()
    {
        QFETCH(QByteArray, picture);
        QFETCH(QByteArray, now);
        QFETCH(QByteArray, why);
        QVERIFY(writeStore(picture));
        QVERIFY(WriteTextFile(fileOf(picture), now));
        const auto result = ServerProcess::run({ QStringLiteral("check"), path("store") });
        QCOMPARE(result.status, why.isEmpty() ? 0 : 1);
        const QByteArray left = "left out: " + fileOf(picture).toUtf8() + ": ";
        QVERIFY2(result.err.contains(left) != why.isEmpty() && result.err.contains(why),
                 result.err);
    }

    // -- serving

    void aPictureIsServedForALongTime()
    {
        const QByteArray red = Png(Qt::red), target = "/pictures/" + SumOf(red) + ".png";
        QVERIFY(writeStore(red));
        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        const HttpReply reply = server.get(target, { "Accept-Encoding: gzip" });
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body, red);
        QCOMPARE(reply.header("Content-Type"), QByteArray("image/png"));
        QCOMPARE(reply.header("Cache-Control"), QByteArray("public, max-age=31536000, immutable"));
        QCOMPARE(reply.header("ETag"), '"' + SumOf(red) + '"');
        const HttpReply shown = server.ask("HEAD " + target + " HTTP/1.1\r\n\r\n");
        QCOMPARE(shown.header("Content-Length"), QByteArray::number(red.size()));
        QCOMPARE(shown.body, QByteArray());
    }
    void whatAClientHasIsNotSentAgain_data()
    {
        QTest::addColumn<QByteArray>("tags"); // SUM is that of the picture
        QTest::addColumn<int>("status");
        QTest::newRow("this") << QByteArray("\"SUM\"") << 304;
        QTest::newRow("weak") << QByteArray("W/\"SUM\"") << 304;
        QTest::newRow("among others") << QByteArray("\"x\", \"SUM\"") << 304;
        QTest::newRow("any") << QByteArray("*") << 304;
        QTest::newRow("another") << QByteArray("\"x\"") << 200;
        QTest::newRow("without quotation marks") << QByteArray("SUM") << 200;
    }
    void whatAClientHasIsNotSentAgain()
    {
        QFETCH(QByteArray, tags);
        QFETCH(int, status);
        const QByteArray red = Png(Qt::red);
        QVERIFY(writeStore(red));
        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        const HttpReply reply
            = server.get("/pictures/" + SumOf(red) + ".png",
                         { "If-None-Match: " + QByteArray(tags).replace("SUM", SumOf(red)) });
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.body, status == 200 ? red : QByteArray());
        QCOMPARE(reply.header("ETag"), '"' + SumOf(red) + '"');
    }
    void nothingElseIsServed()
    {
        const QByteArray red = Png(Qt::red), blue = Png(Qt::blue), large(256 * 1024 + 1, 'x');
        QVERIFY(writeStore(red));
        QVERIFY(WriteTextFile(fileOf(blue), blue.left(blue.size() - 1)));
        QVERIFY(WriteTextFile(fileOf(large), large));
        QVERIFY(WriteTextFile(path("store/pictures/name.png"), red));
        QVERIFY(QFile::link(fileOf(red), fileOf("link")));
        ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        for (const QByteArray& name :
             { SumOf(red), SumOf(red).toUpper() + ".png", SumOf(red) + ".PNG",
               SumOf("none") + ".png", SumOf("link") + ".png", SumOf(blue) + ".png",
               SumOf(large) + ".png", QByteArray("name.png"), "../pictures/" + SumOf(red) + ".png",
               QByteArray(), QByteArray(".png"), QByteArray("../products") }) {
            const HttpReply reply = server.get("/pictures/" + name);
            QVERIFY2(reply.status == 404 && reply.header("ETag").isEmpty(), name);
        }
        QCOMPARE(server.end(SIGTERM), 0);
        const QByteArray told = server.standardError();
        for (const QByteArray& wrong : { blue, large })
            QVERIFY2(told.contains(SumOf(wrong) + ".png: its bytes are not those of its name\n"),
                     told);
        QCOMPARE(told.count('\n'), 2);
    }
    void onlyProductsOfTheStoreAreListed()
    {
        const QByteArray red = Png(Qt::red);
        QVERIFY(writeStore(red));
        QVERIFY(WriteTextFile(path("store/icons"),
                              stored("icons") + "\nSerial: 8\nPicture: " + SumOf(red) + "\n"));
        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        const QByteArray body = server.get(call).body;
        QCOMPARE(body.count("<picture "), 1);
        QVERIFY(body.contains("<picture serialnumber=\"7\">" + SumOf(red) + ".png<"));
    }
    // A store without pictures answers as if the function did not exist.
    void aStoreWithoutPicturesHasNoFunction()
    {
        QVERIFY(writeStore(Png(Qt::red)));
        const QByteArray icons = stored("icons");
        for (const QByteArray& text : { QByteArray("-"), QByteArray("# none yet\n") }) {
            QVERIFY(text == "-" ? QFile::remove(path("store/icons"))
                                : WriteTextFile(path("store/icons"), text));
            const ServerProcess server(path("store"));
            QVERIFY(server.isRunning());
            QCOMPARE(server.get(directory).body.count("<api>"), 8);
            QVERIFY(!server.get(directory).body.contains("CAPIGetPictures"));
            QCOMPARE(server.get(call).status, 404);
            // It is noticed while the server runs.
            QVERIFY(WriteTextFile(path("store/icons"), icons));
            QCOMPARE(server.get(directory).body.count("<api>"), 9);
            QVERIFY(server.get(call).body.contains("<picture "));
        }
    }
    void aChangedListIsNoticed()
    {
        const QByteArray red = Png(Qt::red), blue = Png(Qt::blue);
        QVERIFY(writeStore(red));
        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        QVERIFY(server.get(call).body.contains(SumOf(red)));
        QVERIFY(WriteTextFile(path("store/icons"), "Serial: 7\nPicture: " + SumOf(blue) + "\n"));
        QVERIFY(server.get(call).body.contains(SumOf(blue)));
    }
    void aBrokenListIsNotServed()
    {
        QVERIFY(writeStore(Png(Qt::red)));
        QVERIFY(WriteTextFile(path("store/icons"), "Serial: 7\n"));
        const auto result
            = ServerProcess::run({ QStringLiteral("--port"), QStringLiteral("0"), path("store") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("/store/icons:1: Picture is missing here\n"), result.err);
    }
    void aBrokenListFailsOnlyItsOwnCall()
    {
        QVERIFY(writeStore(Png(Qt::red)));
        ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        const QByteArray catalog = server.get("/agent/CAPIUpdateCatalog").body;
        QVERIFY(WriteTextFile(path("store/icons"), "Serial: 7\n"));
        QCOMPARE(server.get("/agent/CAPIUpdateCatalog").body, catalog);
        QVERIFY(server.get(directory).body.contains(call));
        QVERIFY(server.get(call).body.contains("resultcode=\"FAILED\" msg=\"The store is being "));
    }
};

QTEST_GUILESS_MAIN(StorePicturesTest)
#include "tst_storepictures.moc"
