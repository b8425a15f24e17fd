// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pictures from the web, files and the icon theme: what is shown, what is refused, what is asked
// for again, and what the cache keeps.

#include "host/pictureengine.h"
#include "host/picturereader.h"
#include "host/picturestore.h"
#include "tests/common/pulse.h"
#include "tests/common/scriptedserver.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QPainter>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>
#include <utime.h>

using namespace Pakmart;

class PicturesTest : public QObject
{
    Q_OBJECT

private:
    struct Answered {
        QImage image;
        Failure failure;
        int answers = 0;
    };

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    PictureLimits m_limits;

    static QByteArray encoded(const char* format, const QSize& size = QSize(40, 20))
    {
        QImage image(size, QImage::Format_ARGB32);
        image.fill(Qt::red);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, format);
        return bytes;
    }
    static QByteArray svg(const QByteArray& inside = "<rect width='40' height='20' fill='#f00'/>")
    {
        return "<?xml version='1.0'?><svg xmlns='http://www.w3.org/2000/svg' width='40' "
               "height='20'>"
            + inside + "</svg>";
    }
    // The chunk of a PNG file that names another size than the pixels have.
    static QByteArray bomb(quint32 width, quint32 height)
    {
        QByteArray png = encoded("png");
        const auto put = [&png](int at, quint32 value) {
            for (int byte = 0; byte < 4; ++byte)
                png[at + byte] = char(value >> (24 - 8 * byte));
        };
        put(16, width);
        put(20, height);
        quint32 sum = 0xffffffff;
        for (int at = 12; at < 29; ++at) {
            sum ^= quint8(png.at(at));
            for (int bit = 0; bit < 8; ++bit)
                sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xedb88320 : 0);
        }
        put(29, ~sum);
        return png;
    }
    QString folder() const { return m_dir->filePath(QStringLiteral("cache/pakmart/pictures")); }
    QStringList kept() const { return QDir(folder()).entryList(QDir::Files); }
    QString url(const QByteArray& path) const { return QString::fromLatin1(m_server->url(path)); }
    static QByteArray picture(const QByteArray& bytes) { return ScriptedServer::http(bytes); }
    void serve(const QByteArray& path, const QByteArray& bytes)
    {
        m_server->answer(path, picture(bytes));
    }
    // Makes the files of the cache older.
    void age(int seconds) const
    {
        for (const QString& name : kept()) {
            const time_t then = time(nullptr) - seconds;
            const utimbuf times{ then, then };
            QCOMPARE(utime(QFile::encodeName(folder() + '/' + name).constData(), &times), 0);
        }
    }
    static bool wait(const std::function<bool()>& isDone) { return QTest::qWaitFor(isDone, 60000); }
    Answered ask(PictureEngine& engine, const QString& source, const QSize& size = QSize())
    {
        Answered answered;
        engine.request(source, size, [&answered](const QImage& image, const Failure& failure) {
            answered.image = image;
            answered.failure = failure;
            ++answered.answers;
        });
        if (answered.answers == 0)
            wait([&answered] { return answered.answers > 0; });
        return answered;
    }
    // The same with an engine of its own, as after a restart: its size, or the code.
    QString outcome(const QString& source, const QSize& size = QSize())
    {
        PictureEngine engine(folder(), m_limits);
        const Answered answered = ask(engine, source, size);
        if (answered.failure.code != Error::NoError)
            return answered.failure.sentence.isEmpty() ? QStringLiteral("no sentence")
                                                       : Error::name(answered.failure.code);
        return QStringLiteral("%1x%2").arg(answered.image.width()).arg(answered.image.height());
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_server = std::make_unique<ScriptedServer>();
        m_limits = PictureLimits();
    }

    // -- what is read

    void picturesAreRead_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("read");
        const QSize natural(40, 20);
        const auto row = [](const char* name, const QByteArray& bytes, const QSize& size,
                            const QSize& read) { QTest::newRow(name) << bytes << size << read; };
        row("png", encoded("png"), QSize(), natural);
        row("jpeg", encoded("jpeg"), QSize(), natural);
        row("webp", encoded("webp"), QSize(), natural);
        row("svg", svg(), QSize(), natural);
        row("a picture becomes smaller", encoded("png"), QSize(10, 10), QSize(10, 5));
        row("and not larger", encoded("png"), QSize(400, 400), natural);
        row("svg is drawn in its size", svg(), QSize(400, 400), QSize(400, 200));
        row("a line", encoded("png", QSize(4000, 1)), QSize(10, 10), QSize(10, 1));
        row("svg with a gradient",
            svg("<linearGradient id='a'/><style>.a { fill: #f00 }</style><g><path d='M0 0'/></g>"),
            QSize(), natural);
    }
    void picturesAreRead()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QSize, size);
        QVERIFY(!bytes.isEmpty());
        const QImage image = DecodePicture(bytes, size, 1000000);
        QTEST(image.size(), "read");
        if (image.size() != QSize(40, 20) || !bytes.startsWith("<?xml"))
            QVERIFY(image.pixelColor(0, 0).red() > 200);
    }

    void otherFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const auto row
            = [](const char* name, const QByteArray& bytes) { QTest::newRow(name) << bytes; };
        row("nothing", "");
        row("text", "a picture");
        row("html", "<html><body>Not found</body></html>");
        row("bmp", encoded("bmp"));
        row("truncated png", encoded("png", QSize(400, 400)).left(200));
        row("truncated jpeg", encoded("jpeg", QSize(400, 400)).left(1500));
        row("truncated webp", encoded("webp", QSize(400, 400)).left(60));
        row("truncated svg", svg().chopped(3));
        row("a png of many pixels", bomb(60000, 60000));
        row("a png without pixels", bomb(0, 10));
        row("a long png", bomb(0x7fffffff, 1));
        row("a large svg", svg().replace("'40'", "'40000'").replace("'20'", "'40000'"));
        row("svg with a file", svg("<image xlink:href='/etc/passwd' width='9' height='9'/>"));
        row("svg that repeats", svg("<g id='a'/><use xlink:href='#a'/>"));
        row("svg with a prefix",
            "<s:svg xmlns:s='http://www.w3.org/2000/svg' width='4' height='4'><s:use/></s:svg>");
        row("svg in UTF-16",
            QByteArray("\xff\xfe", 2)
                + QByteArray(
                    reinterpret_cast<const char*>(
                        QString::fromLatin1("<svg width='4' height='4'><use/></svg>").utf16()),
                    2 * 38));
        row("svg with entities",
            "<!DOCTYPE svg [<!ENTITY a 'aaaa'>]><svg width='4' height='4'>&a;</svg>");
        row("svg with dashes", svg("<path stroke-dasharray='0.001' d='M0 0L999999 0'/>"));
        row("svg with dashes in a style", svg("<path style='stroke-dasharray:1' d='M0 0L9 0'/>"));
        row("svg with dashes in a sheet", svg("<style>path { stroke-dasharray: 1 }</style>"));
        row("a deep svg", svg(QByteArray("<g>").repeated(100) + QByteArray("</g>").repeated(100)));
        row("a long svg", svg(QByteArray("<g/>").repeated(30000)));
    }
    void otherFilesAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(DecodePicture(bytes, QSize(), 1000000).isNull());
        QVERIFY(DecodePicture(bytes, QSize(16, 16), 1000000).isNull());
    }

    void aPictureIsNotDrawnLargerThanTheLimit()
    {
        QVERIFY(DecodePicture(svg(), QSize(2000, 2000), 1000000).isNull());
        QVERIFY(!DecodePicture(svg(), QSize(1000, 1000), 1000000).isNull());
    }

    // -- where it comes from

    void filesAreShown()
    {
        const QString path = m_dir->filePath(QStringLiteral("a.png"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(encoded("png")) > 0);
        file.close();
        QCOMPARE(outcome(path), QStringLiteral("40x20"));
        QCOMPARE(outcome(QUrl::fromLocalFile(path).toString()), QStringLiteral("40x20"));
        QVERIFY(QFile::link(path, path + QStringLiteral(".link")));
        QCOMPARE(outcome(path + QStringLiteral(".link")), QStringLiteral("40x20"));
        QCOMPARE(kept(), QStringList());
    }

    void otherSourcesAreFailures_data()
    {
        QTest::addColumn<QString>("source");
        for (const char* source : { "", "/nowhere/a.png", "file:///nowhere", "file://host/a.png",
                                    "ftp://127.0.0.1/a.png", "fish:/x", "http:", "https://",
                                    "no-such-icon", "a/b", "javascript:1", "/dev/zero", "/" })
            QTest::newRow(source) << QString::fromLatin1(source);
    }
    void otherSourcesAreFailures()
    {
        QFETCH(QString, source);
        const QString code = outcome(source);
        QVERIFY2(code == QLatin1String("other") || code == QLatin1String("reply-not-understood"),
                 qPrintable(code));
    }

    void aPipeDoesNotBlock()
    {
        const QString path = m_dir->filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        QCOMPARE(outcome(path), QStringLiteral("other"));
    }

    void iconsOfTheThemeAreShown()
    {
        const QString icons = m_dir->filePath(QStringLiteral("icons"));
        QDir().mkpath(icons + QStringLiteral("/hicolor/48x48/apps"));
        QFile theme(icons + QStringLiteral("/hicolor/index.theme"));
        QVERIFY(theme.open(QIODevice::WriteOnly));
        theme.write("[Icon Theme]\nName=Hicolor\nDirectories=48x48/apps\n"
                    "[48x48/apps]\nSize=48\nType=Fixed\n");
        theme.close();
        QFile icon(icons + QStringLiteral("/hicolor/48x48/apps/starlander-48.png"));
        QVERIFY(icon.open(QIODevice::WriteOnly));
        icon.write(encoded("png", QSize(48, 48)));
        icon.close();
        QIcon::setThemeSearchPaths({ icons });
        QIcon::setThemeName(QStringLiteral("hicolor"));
        QCOMPARE(outcome(QStringLiteral("starlander-48"), QSize(48, 48)), QStringLiteral("48x48"));
        QCOMPARE(outcome(QStringLiteral("starlander-49"), QSize(48, 48)), QStringLiteral("other"));
    }

    // -- the web and the cache

    void aPictureIsFetchedOnce()
    {
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QCOMPARE(outcome(url("/a.png"), QSize(20, 20)), QStringLiteral("20x10"));
        QCOMPARE(m_server->asked.size(), 1);
        QCOMPARE(kept().size(), 1);
        struct stat info = {};
        QCOMPARE(stat(QFile::encodeName(folder()).constData(), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), 0700);
        QCOMPARE(stat(QFile::encodeName(folder() + '/' + kept().first()).constData(), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), 0600);
    }

    void thoseWhoAskAtOnceShareATransfer()
    {
        serve("/a.png", encoded("png"));
        PictureEngine engine(folder(), m_limits);
        QList<QSize> sizes;
        const auto answer
            = [&sizes](const QImage& image, const Failure&) { sizes << image.size(); };
        for (int i = 0; i < 3; ++i)
            engine.request(url("/a.png"), QSize(), answer);
        // One that comes with another size when the work has begun.
        QTimer::singleShot(0, &engine,
                           [&] { engine.request(url("/a.png"), QSize(10, 10), answer); });
        QVERIFY(wait([&sizes] { return sizes.size() == 4; }));
        QCOMPARE(sizes.count(QSize(40, 20)), 3);
        QCOMPARE(sizes.count(QSize(10, 5)), 1);
        QCOMPARE(m_server->asked.size(), 1);
    }

    void anOldPictureIsFetchedAgain()
    {
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        serve("/a.png", encoded("png", QSize(8, 8)));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        age(m_limits.freshSeconds + 10);
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("8x8"));
    }

    // The clock has been set back since: nobody knows how old it is.
    void aPictureOfTheFutureIsFetchedAgain()
    {
        serve("/a.png", encoded("png"));
        m_server->answer("/none.png", ScriptedServer::http("no", "404 Not Found"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QCOMPARE(outcome(url("/none.png")), QStringLiteral("server-failed"));
        for (const char* path : { "/a.png", "/none.png" })
            serve(path, encoded("png", QSize(8, 8)));
        age(-24 * 60 * 60);
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("8x8"));
        QCOMPARE(outcome(url("/none.png")), QStringLiteral("8x8"));
    }

    void withoutNetworkTheOldPictureIsShown()
    {
        serve("/a.png", encoded("png"));
        const QString address = url("/a.png");
        QCOMPARE(outcome(address), QStringLiteral("40x20"));
        age(m_limits.freshSeconds + 10);
        m_server->close();
        QCOMPARE(outcome(address), QStringLiteral("40x20"));
        QCOMPARE(outcome(address + QStringLiteral("2")), QStringLiteral("server-unreachable"));
    }

    void aServerThatIsAwayIsLeftInPeace()
    {
        const QString address = url("/");
        m_server->close();
        PictureEngine engine(folder(), m_limits);
        QCOMPARE(ask(engine, address + '1').failure.code, Error::ServerUnreachable);
        int answers = 0;
        for (int i = 0; i < 3000; ++i)
            engine.request(address + QString::number(i) + QLatin1String("#sha256=0"), QSize(),
                           [&answers](const QImage&, const Failure& failure) {
                               answers += failure.code == Error::ServerUnreachable ? 1 : 0;
                           });
        QVERIFY(wait([&answers] { return answers == 3000; }));
    }

    void refusalsAreKeptForAWhile_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("again");
        QTest::newRow("404") << ScriptedServer::http("no", "404 Not Found")
                             << QStringLiteral("server-failed") << QStringLiteral("other");
        QTest::newRow("no picture") << picture("<html/>") << QStringLiteral("reply-not-understood")
                                    << QStringLiteral("other");
        QTest::newRow("too many bytes")
            << picture(QByteArray(5 * 1024 * 1024, 'x')) << QStringLiteral("reply-not-understood")
            << QStringLiteral("other");
        QTest::newRow("a bomb") << picture(bomb(60000, 60000))
                                << QStringLiteral("reply-not-understood")
                                << QStringLiteral("other");
    }
    void refusalsAreKeptForAWhile()
    {
        QFETCH(QByteArray, reply);
        m_server->answer("/a.png", reply);
        QTEST(outcome(url("/a.png")), "code");
        serve("/a.png", encoded("png"));
        QTEST(outcome(url("/a.png")), "again");
        QCOMPARE(m_server->asked.size(), 1);
        age(m_limits.refusedSeconds + 10);
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
    }

    // These may be other in a moment.
    void errorsOfTheServerAreNotKept_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("500") << ScriptedServer::http("no", "500 Internal Server Error");
        QTest::newRow("half") << ScriptedServer::http(encoded("png", QSize(400, 400))).chopped(90);
    }
    void errorsOfTheServerAreNotKept()
    {
        QFETCH(QByteArray, reply);
        m_server->answer("/a.png", reply);
        QVERIFY(!outcome(url("/a.png")).contains(QLatin1Char('x')));
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
    }

    void redirectionsLeadToWebAddressesOnly()
    {
        serve("/b.png", encoded("png"));
        const auto redirect = [this](const QByteArray& to) {
            m_server->answer("/a.png",
                             ScriptedServer::http("", "302 Found", "Location: " + to + "\r\n"));
        };
        const QString path = m_dir->filePath(QStringLiteral("a.png"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(encoded("png")) > 0);
        file.close();
        redirect("file://" + path.toLocal8Bit());
        QVERIFY(!outcome(url("/a.png")).contains(QLatin1Char('x')));
        age(m_limits.refusedSeconds + 10);
        redirect(m_server->url("/b.png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
    }

    void aServerThatIsSilentIsNotWaitedFor()
    {
        m_limits.silentSeconds = 1;
        m_server->answer("/a.png", [](QTcpSocket*, const QByteArray&) {});
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("timed-out"));
    }

    void aDamagedFileOfTheCacheIsFetchedAgain()
    {
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QVERIFY(QFile::resize(folder() + '/' + kept().first(), 30));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 2);
    }

    // -- addresses with sums

    void aPictureMustHaveTheSumOfItsAddress_data()
    {
        QTest::addColumn<QByteArray>("sum");
        QTest::addColumn<QString>("result");
        const QByteArray sum
            = QCryptographicHash::hash(encoded("png"), QCryptographicHash::Sha256).toHex();
        const QString none = QStringLiteral("reply-not-understood");
        QTest::newRow("its own") << sum << QStringLiteral("40x20");
        QTest::newRow("another") << QByteArray(sum).replace(0, 1, sum.startsWith('0') ? "1" : "0")
                                 << none;
        QTest::newRow("none") << QByteArray() << none;
        QTest::newRow("half of it") << sum.left(32) << none;
        QTest::newRow("more") << sum + '0' << none;
        QTest::newRow("large letters") << sum.toUpper() << none;
    }
    void aPictureMustHaveTheSumOfItsAddress()
    {
        QFETCH(QByteArray, sum);
        QFETCH(QString, result);
        serve("/p.png", encoded("png"));
        const QString source = url("/p.png") + QLatin1String("#sha256=") + QLatin1String(sum);
        QCOMPARE(outcome(source), result);
        QCOMPARE(m_server->asked.size(), 1);
        QVERIFY2(!m_server->asked.first().contains("sha256"), m_server->asked.first());
        QCOMPARE(outcome(url("/p.png")), QStringLiteral("40x20"));
    }
    void aPictureWithASumIsNeverTooOld()
    {
        serve("/p.png", encoded("png"));
        const QByteArray sum
            = QCryptographicHash::hash(encoded("png"), QCryptographicHash::Sha256).toHex();
        const QString source = url("/p.png") + QLatin1String("#sha256=") + QLatin1String(sum);
        QCOMPARE(outcome(source), QStringLiteral("40x20"));
        age(m_limits.freshSeconds + 100);
        QCOMPARE(outcome(source), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 1);
        // Whole, and yet another one.
        QFile file(folder() + QLatin1Char('/') + kept().first());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(encoded("png", QSize(7, 7)));
        file.close();
        QCOMPARE(outcome(source), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 2);
        m_server->close();
        QCOMPARE(outcome(source), QStringLiteral("40x20"));
    }

    void theOldestPicturesGo()
    {
        m_limits.total = 5 * 4096;
        for (int i = 0; i < 8; ++i) {
            const QByteArray path = "/" + QByteArray::number(i);
            serve(path, encoded("png"));
            QCOMPARE(outcome(url(path)), QStringLiteral("40x20"));
            QCOMPARE(kept().size(), std::min(i + 1, 5));
            for (const QString& name : kept()) { // times that differ on any file system
                const QString file = folder() + '/' + name;
                struct stat info = {};
                QCOMPARE(stat(QFile::encodeName(file).constData(), &info), 0);
                const utimbuf times{ info.st_mtime - 10, info.st_mtime - 10 };
                QCOMPARE(utime(QFile::encodeName(file).constData(), &times), 0);
            }
        }
        QCOMPARE(m_server->asked.size(), 8);
        QCOMPARE(outcome(url("/7")), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 8);
        QCOMPARE(outcome(url("/0")), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 9);
    }

    void aFolderThatCannotBeWrittenKeepsNothing()
    {
        QDir().mkpath(QFileInfo(folder()).path());
        QFile file(folder());
        QVERIFY(file.open(QIODevice::WriteOnly));
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 2);
    }

    void aFolderThatOthersCouldReadIsMadePrivate()
    {
        QVERIFY(QDir().mkpath(folder()));
        QCOMPARE(chmod(QFile::encodeName(folder()).constData(), 0755), 0);
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        struct stat info = {};
        QCOMPARE(stat(QFile::encodeName(folder()).constData(), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), 0700);
        QCOMPARE(kept().size(), 1);
    }
    void aFolderThatIsALinkKeepsNothing()
    {
        const QString other = m_dir->filePath(QStringLiteral("other"));
        QVERIFY(QDir().mkpath(other) && QDir().mkpath(QFileInfo(folder()).path()));
        QVERIFY(QFile::link(other, folder()));
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QVERIFY(QDir(other).isEmpty());
    }

    void linksInTheCacheAreNotFollowed()
    {
        serve("/a.png", encoded("png"));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        const QString kept0 = folder() + '/' + kept().first();
        const QString other = m_dir->filePath(QStringLiteral("other"));
        QVERIFY(QFile::rename(kept0, other) && QFile::link(other, kept0));
        QCOMPARE(outcome(url("/a.png")), QStringLiteral("40x20"));
        QCOMPARE(m_server->asked.size(), 2);
        QVERIFY(!QFileInfo(kept0).isSymLink());
    }

    // -- the public class

    void requestsAreAnsweredOnce()
    {
        serve("/a.png", encoded("png"));
        PictureStore store;
        QSignalSpy ready(&store, &PictureStore::ready), failed(&store, &PictureStore::failed);
        const int first = store.request(url("/a.png"));
        const int cancelled = store.request(url("/a.png"));
        const int missing = store.request(QStringLiteral("/nowhere"));
        QCOMPARE(ready.count() + failed.count(), 0);
        store.cancel(cancelled);
        store.cancel(-1);
        QVERIFY(wait([&] { return ready.count() + failed.count() == 2; }));
        QTest::qWait(100);
        QCOMPARE(ready.count(), 1);
        QCOMPARE(failed.count(), 1);
        QCOMPARE(ready.first().at(0).toInt(), first);
        QCOMPARE(ready.first().at(1).value<QImage>().size(), QSize(40, 20));
        QCOMPARE(failed.first().at(0).toInt(), missing);
        QCOMPARE(failed.first().at(1).value<Error::Code>(), Error::Other);
        QVERIFY(PictureCache::usualFolder().endsWith(QLatin1String("/pakmart/pictures")));
    }

    void aStoreMayBeDeletedAtAnyTime()
    {
        m_server->answer("/a.png", [](QTcpSocket*, const QByteArray&) {});
        for (int wait = 0; wait < 100; wait += 20) {
            PictureStore store;
            store.request(url("/a.png"));
            store.request(QStringLiteral("/dev/zero"));
            QTest::qWait(wait);
        }
        auto* self = new PictureStore;
        QSignalSpy gone(self, &QObject::destroyed);
        connect(self, &PictureStore::failed, self, &QObject::deleteLater);
        self->request(QStringLiteral("/nowhere"));
        QTRY_COMPARE(gone.count(), 1);
    }

    // The largest pictures that are read, many at once.
    void theEventLoopGoesOn()
    {
        serve("/a.png", encoded("png", QSize(3000, 3000)));
        for (int i = 0; i < 20; ++i)
            serve("/" + QByteArray::number(i), encoded("jpeg", QSize(1000 + i, 1000)));
        PictureEngine engine(folder(), m_limits);
        int answers = 0;
        const auto answer = [&answers](const QImage& image, const Failure&) {
            answers += image.isNull() ? 0 : 1;
        };
        const Pulse pulse;
        engine.request(url("/a.png"), QSize(), answer);
        for (int i = 0; i < 20; ++i)
            engine.request(url("/" + QByteArray::number(i)), QSize(64, 64), answer);
        QVERIFY(wait([&answers] { return answers == 21; }));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
    }
};

QTEST_MAIN(PicturesTest)
#include "tst_pictures.moc"
