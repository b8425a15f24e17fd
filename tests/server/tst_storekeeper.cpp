// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands for the keeper of a store: check, init and add.

#include "server/serverprocess.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

const char product[] = "Serial: 7\nName: A\nCategory: B\nPackage: p\nDescription: d\n";
const char source[] = "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n";
const char emptySum[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

} // namespace

class StoreKeeperTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const QString& name) const { return m_dir->filePath(name); }
    QString store() const { return path(QStringLiteral("store")); }
    bool write(const char* name, const QByteArray& text) const
    {
        return WriteTextFile(store() + QLatin1Char('/') + QLatin1String(name), text);
    }
    QByteArray stored(const char* name) const
    {
        return Contents(store() + QLatin1Char('/') + QLatin1String(name));
    }
    static ServerProcess::Result command(const char* name, const QStringList& words)
    {
        return ServerProcess::run(QStringList{ QLatin1String(name) } + words);
    }
    ServerProcess::Result check(const QStringList& options = {}) const
    {
        return command("check", options + QStringList{ store() });
    }
    ServerProcess::Result makeStore() const { return command("init", { store() }); }
    ServerProcess::Result add(const QString& archive, const QStringList& options = {}) const
    {
        return command("add", options + QStringList{ store(), archive });
    }

    // Builds an archive of these control fields. Returns its path.
    QString build(const QByteArray& control, const char* name = "x.deb") const
    {
        const QString tree = path(QStringLiteral("tree"));
        QDir(tree).removeRecursively();
        if (!WriteTextFile(tree + QLatin1String("/DEBIAN/control"), control)
            || !WriteTextFile(tree + QLatin1String("/usr/share/x"), control))
            qFatal("cannot write the files of a package");
        const QString archive = path(QLatin1String(name));
        QProcess dpkg;
        dpkg.start(QStringLiteral("dpkg-deb"),
                   { QStringLiteral("--nocheck"), QStringLiteral("--root-owner-group"),
                     QStringLiteral("--build"), tree, archive });
        if (!dpkg.waitForFinished(60000) || dpkg.exitCode() != 0)
            qFatal("dpkg-deb: %s", dpkg.readAllStandardError().constData());
        return archive;
    }
    static QByteArray control(const QByteArray& version, const QByteArray& more = QByteArray())
    {
        return "Package: lib++\nVersion: " + version
            + "\nArchitecture: all\nMaintainer: A <a@b.example>\n" + more
            + "Description: one line\n and more\n .\n after an empty line\n";
    }

    // A store with a product and its archive, which has no bytes.
    bool writeStore() const
    {
        return write("products", product) && write("sources", source)
            && write("pool/main/p_1_all.deb", "") && write("pool/main/Packages", index());
    }
    static QByteArray index(const QByteArray& size = "0", const QByteArray& sum = emptySum)
    {
        return "Package: p\nVersion: 1\nFilename: p_1_all.deb\nSize: " + size + "\nSHA256: " + sum
            + '\n';
    }

private slots:
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }

    // -- check

    void aGoodStoreIsClean()
    {
        QVERIFY(writeStore());
        for (const QStringList& options :
             { QStringList(), QStringList{ QStringLiteral("--signed") } }) {
            const ServerProcess::Result result = check(options);
            QCOMPARE(result.err, QByteArray());
            QCOMPARE(result.out, QByteArray("products: 1, repositories: 1, archives: 1\n"));
            QCOMPARE(result.status, 0);
        }
    }

    void faultsAreNamed_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("says");
        const auto row = [](const char* name, const char* file, const QByteArray& text,
                            const QByteArray& says) {
            QTest::newRow(name) << QByteArray(file) << text << says;
        };
        row("products", "products", "Serial: six\n",
            "refused: STORE/products:1: Name is missing here");
        row("categories", "categories", "Name: B\n",
            "refused: STORE/categories:1: Serial is missing here");
        row("category without products", "categories", "Name: C\nSerial: 1\n",
            "left out: STORE/categories: the category 'C' has no products");
        row("aisles", "aisles", "Name: A\n", "refused: STORE/aisles:1: Category is missing here");
        row("aisle to nowhere", "aisles", "Name: A\nCategory: B\nCategory: C\n",
            "left out: STORE/aisles: the aisle 'A' leads to the category 'C', which has no "
            "products");
        row("profile", "profile", "Name: A\n", "refused: STORE/profile:1: Serial is missing here");
        const QByteArray icon = QByteArray("Serial: 7\nPicture: ") + emptySum + "\n";
        row("icons", "icons", "Serial: 7\n", "refused: STORE/icons:1: Picture is missing here");
        row("picture", "icons", "Serial: 7\nPicture: dice.png\n",
            "refused: STORE/icons:2: a picture is the SHA-256 of its file in small letters, not "
            "'dice.png'");
        row("second icon", "icons", icon + "\n" + icon,
            "refused: STORE/icons:4: a second icon of this product");
        row("icon of nothing", "icons", QByteArray(icon).replace("7", "8"),
            "left out: STORE/icons: there is no product with the number '8'");
        row("no picture", "icons", icon,
            QByteArray("left out: STORE/pictures/") + emptySum
                + ".png: it cannot be read: No such file or directory");
        row("updates", "updates", "Package: -x\n",
            "refused: STORE/updates:1: invalid package name: '-x'");
        row("sources", "sources", "Type: x\n",
            "refused: STORE/sources:1: a type is dep or plain, not 'x'");
        row("unknown repository", "sources",
            QByteArray(source) + "\n" + QByteArray(source).replace("main", "more"),
            "left out: STORE/sources: there is no repository 'more'");
        row("packages", "pool/main/Packages", "Package: p\n",
            "refused: STORE/pool/main/Packages:1: Version is missing here");
        row("location", "pool/main/Location", "Archives: here\n",
            "refused: STORE/pool/main/Location:1: 'here' is not an address such as "
            "http://deb.debian.org/debian");
        row("no index", "pool/more/x.deb", "x",
            "left out: STORE/pool/more: a repository needs a file Packages");
        row("name", "pool/a b/Packages", "",
            "left out: STORE/pool/a b: a repository's name has letters, digits and '-._' only");
        row("packed index", "pool/main/Packages.gz", "x",
            "left out: STORE/pool/main/Packages.gz: this is not the packed form of Packages");
        row("no archive", "pool/main/Packages", index().replace("p_1", "q_1"),
            "left out: STORE/pool/main/q_1_all.deb: the index has this archive, and it cannot be "
            "read: "
            "No such file or directory");
        row("size", "pool/main/Packages", index("1"),
            "left out: STORE/pool/main/p_1_all.deb: it has 0 bytes, in the index it has '1'");
        row("sum", "pool/main/Packages", index("0", QByteArray(64, 'a')),
            "left out: STORE/pool/main/p_1_all.deb: its SHA256 is not the one in the index");
        row("registrations", "registrations/x", "",
            "left out: STORE/registrations: this is not a regular file, so no call is recorded");
    }
    void faultsAreNamed()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, says);
        QVERIFY(writeStore());
        QVERIFY(write(file.constData(), text));
        const ServerProcess::Result result = check();
        QCOMPARE(result.err,
                 "pakmart-storeserver: " + says.replace("STORE", store().toLocal8Bit()) + '\n');
        QCOMPARE(result.status, 1);
    }

    void everyFileIsNamedAtOnce()
    {
        QVERIFY(writeStore());
        for (const char* file : { "products", "sources", "updates", "aisles", "icons", "profile",
                                  "categories", "pool/main/Packages", "pool/more/Packages" })
            QVERIFY(write(file, "nonsense\n"));
        const ServerProcess::Result result = check();
        QCOMPARE(result.err.count("\n"), 9);
        QCOMPARE(result.err.count("pakmart-storeserver: refused: "), 9);
        QCOMPARE(result.status, 1);
    }

    void aSignedStoreNeedsSums()
    {
        QVERIFY(writeStore());
        QVERIFY(write("pool/main/Packages", index().replace("SHA256", "SHA1")));
        QCOMPARE(check().status, 0);
        const ServerProcess::Result result = check({ QStringLiteral("--signed") });
        QVERIFY2(result.err.contains("the package 'p' has no SHA256"), result.err);
        QCOMPARE(result.status, 1);
    }

    void archivesElsewhereAreNotLookedFor()
    {
        QVERIFY(writeStore());
        QVERIFY(write("pool/main/Location", "Archives: http://far.example/debian\n"));
        QVERIFY(QFile::remove(store() + QStringLiteral("/pool/main/p_1_all.deb")));
        QCOMPARE(check().status, 0);
    }

    void aStoreThatIsNotThere()
    {
        const ServerProcess::Result result = check();
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("/products: No such file or directory"), result.err);
    }

    // -- init

    void anEmptyStoreCanBeServed()
    {
        QCOMPARE(makeStore().status, 0);
        QCOMPARE(check().err, QByteArray());
        QCOMPARE(check({ QStringLiteral("--signed") }).status, 0);
        const ServerProcess server(store());
        QVERIFY(server.isRunning());
        QVERIFY(server.get("/agent/CAPIGetSourcesList").body.contains("/pool/main+./</entry>"));
        QVERIFY(server.get("/agent/CAPIUpdateCatalog").body.contains("resultcode=\"OK\""));
        QCOMPARE(server.get("/pool/main/Packages").status, 200);
    }

    void aFolderThatIsNotEmptyIsLeftAlone()
    {
        QVERIFY(write("notes", "mine"));
        const ServerProcess::Result result = makeStore();
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(": this folder is not empty"), result.err);
        QCOMPARE(QDir(store()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList{ QStringLiteral("notes") });
    }

    // -- add

    void anArchiveBecomesAProduct()
    {
        QCOMPARE(makeStore().status, 0);
        const QString archive = build(control("1:2.0~rc1-1", "Section: games\nDepends: libc6\n"));
        const ServerProcess::Result result = add(archive);
        QCOMPARE(result.err, QByteArray());
        const QByteArray name = "lib++_1%3a2.0~rc1-1_all.deb"; // as apt names it
        QCOMPARE(result.out,
                 "lib++ 1:2.0~rc1-1 is in the store as main/" + name
                     + ", and is the new product 1\n");
        QCOMPARE(check({ QStringLiteral("--signed") }).err, QByteArray());
        QVERIFY(stored("products")
                    .endsWith("\nSerial: 1\nName: lib++\nCategory: games\nPackage: lib++\n"
                              "Description: one line\n and more\n .\n after an empty line\n"));
        const ServerProcess server(store());
        QVERIFY(server.isRunning());
        QCOMPARE(server.get("/pool/main/lib++_1%253a2.0~rc1-1_all.deb").body, Contents(archive));
        const QByteArray catalog = server.get("/agent/CAPIUpdateCatalog").body;
        QVERIFY2(catalog.contains("<version>1:2.0~rc1-1</version>")
                     && catalog.contains("<dependency name=\"libc6\">"),
                 catalog);
        QVERIFY(server.get("/agent/CAPIGetPackageInfo?filename[]=lib++_1%253a2.0~rc1-1_all.deb")
                    .body.contains("resultcode=\"OK\""));
    }

    void aNewVersionTakesThePlaceOfTheOldOne()
    {
        QCOMPARE(makeStore().status, 0);
        QCOMPARE(add(build(control("1.0"))).status, 0);
        const QByteArray sources = stored("sources"), products = stored("products");
        QVERIFY(write("pool/main/Packages.gz", "old"));
        const ServerProcess::Result result = add(build(control("1.10")));
        QVERIFY2(result.out.endsWith("and is product 1\n"), result.out);
        QCOMPARE(check().err, QByteArray());
        QCOMPARE(stored("products"), products);
        QVERIFY(stored("sources") != sources);
        QVERIFY(!stored("pool/main/Packages").contains("Version: 1.0\n"));
        const QByteArray before = stored("pool/main/Packages");
        const ServerProcess::Result older = add(build(control("1.9")));
        QCOMPARE(older.status, 1);
        QVERIFY2(
            older.err.contains("the store has version 1.10 of 'lib++', which is newer than 1.9"),
            older.err);
        QCOMPARE(stored("pool/main/Packages"), before);
        QVERIFY(!QFile::exists(store() + QStringLiteral("/pool/main/lib++_1.9_all.deb")));
    }

    void theSameArchiveChangesNothing()
    {
        QCOMPARE(makeStore().status, 0);
        const QString archive = build(control("1.0"));
        QCOMPARE(add(archive).status, 0);
        const QByteArray before
            = stored("pool/main/Packages") + stored("sources") + stored("products");
        QCOMPARE(add(archive).status, 0);
        QCOMPARE(stored("pool/main/Packages") + stored("sources") + stored("products"), before);
    }

    void namesAreTheKeepers()
    {
        QCOMPARE(makeStore().status, 0);
        const QString archive = build(control("1.0"));
        const QStringList names{ QStringLiteral("--name"), QStringLiteral("Luck & more"),
                                 QStringLiteral("--category"), QStringLiteral("Games") };
        QCOMPARE(add(archive, names).status, 0);
        QVERIFY(stored("products").contains("\nName: Luck & more\nCategory: Games\n"));
        const ServerProcess::Result result
            = add(archive, { QStringLiteral("--name"), QStringLiteral("A\nHidden: yes") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("a name is one line of text"), result.err);
    }

    void badArchivesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("control");
        QTest::addColumn<QByteArray>("says");
        QTest::newRow("name") << control("1").replace("lib++", "Lib/x") << QByteArray("Package");
        QTest::newRow("version") << control("1").replace("Version: 1", "Version: 1 2")
                                 << QByteArray("Version");
        QTest::newRow("dependency") << control("1", "Depends: a (>> \n") << QByteArray("Depends");
        QTest::newRow("bytes") << control("1").replace("one", "\xff") << QByteArray("not UTF-8");
    }
    void badArchivesAreRefused()
    {
        QFETCH(QByteArray, control);
        QFETCH(QByteArray, says);
        QCOMPARE(makeStore().status, 0);
        const QByteArray before
            = stored("pool/main/Packages") + stored("sources") + stored("products");
        const ServerProcess::Result result = add(build(control));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(says), result.err);
        QCOMPARE(stored("pool/main/Packages") + stored("sources") + stored("products"), before);
        QCOMPARE(QDir(store() + QStringLiteral("/pool/main")).entryList(QDir::Files),
                 QStringList{ QStringLiteral("Packages") });
    }

    // Its own word about its sum and place does not count.
    void anArchiveCannotSpeakForItself()
    {
        QCOMPARE(makeStore().status, 0);
        QCOMPARE(add(build(control("1", "SHA256: " + QByteArray(64, 'a') + "\nFilename: ../x\n")))
                     .status,
                 0);
        QCOMPARE(check({ QStringLiteral("--signed") }).err, QByteArray());
    }

    void brokenFilesAreRefused()
    {
        QCOMPARE(makeStore().status, 0);
        const QString archive = build(control("1"));
        const QByteArray whole = Contents(archive);
        const QString cut = path(QStringLiteral("cut.deb"));
        for (const QByteArray& bytes :
             { QByteArray(), QByteArray("text\n"), whole.left(whole.size() - 40) }) {
            QVERIFY(WriteTextFile(cut, bytes));
            const ServerProcess::Result result = add(cut);
            QCOMPARE(result.status, 1);
            QVERIFY2(result.err.contains("this is not a whole package"), result.err);
        }
        QCOMPARE(add(path(QStringLiteral("none.deb"))).status, 1);
        QCOMPARE(stored("pool/main/Packages"), QByteArray());
    }

    void anotherArchiveOfTheSameVersionIsRefused()
    {
        QCOMPARE(makeStore().status, 0);
        QCOMPARE(add(build(control("1"))).status, 0);
        const ServerProcess::Result result = add(build(control("1", "Section: games\n")));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("give the new one a higher version"), result.err);
        QCOMPARE(check().err, QByteArray());
    }

    void aStoreInUseIsLeftAlone()
    {
        QCOMPARE(makeStore().status, 0);
        const int folder = ::open(qPrintable(store()), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(::flock(folder, LOCK_EX), 0);
        const ServerProcess::Result result = add(build(control("1")));
        ::close(folder);
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("another command is changing this store"), result.err);
    }

    void anImportedStoreIsLeftAlone()
    {
        QVERIFY(writeStore() && write("imported", "Repository: main\nNext-Serial: 9\n"));
        const ServerProcess::Result result = add(build(control("1")));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("this store is made by an import"), result.err);
    }

    void wrongLines_data()
    {
        QTest::addColumn<QStringList>("words");
        for (const char* line :
             { "check", "check a b", "check --nonsense a", "init", "init a b", "init --name x a",
               "add", "add a", "add a b c", "add -n", "add --repository ../x a b" })
            QTest::newRow(line) << QString::fromLatin1(line).split(QLatin1Char(' '));
    }
    void wrongLines()
    {
        QFETCH(QStringList, words);
        const ServerProcess::Result result = ServerProcess::run(words);
        QCOMPARE(result.status, 2);
        QVERIFY(result.err.contains("Try `pakmart-storeserver --help`."));
        QCOMPARE(result.out, QByteArray());
    }
};

QTEST_GUILESS_MAIN(StoreKeeperTest)
#include "tst_storekeeper.moc"
