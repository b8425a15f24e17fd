// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Stores made from package indexes: one of our own, and the machine's.

#include "server/serverprocess.h"

#include <QDir>
#include <QDirIterator>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>
#include <apt-pkg/fileutl.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

const QString archive = QStringLiteral("http://archive.example/debian");

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

QByteArray Bundled(const char* name)
{
    return Contents(QLatin1String(IMPORT_DATA) + QLatin1Char('/') + QLatin1String(name));
}

// Without the comment at the beginning.
QByteArray BundledText(const char* name)
{
    const QByteArray text = Bundled(name);
    return text.mid(text.indexOf("\n\n") + 2);
}

// A package as an index has it.
QByteArray Stanza(const QByteArray& name, const QByteArray& version = "1")
{
    return "Package: " + name + "\nVersion: " + version + "\nDescription: " + name
        + " for tests\nSection: misc\nFilename: pool/" + name + '_' + version
        + "_all.deb\nSize: 100\nSHA256: " + QByteArray(64, 'a') + "\n\n";
}

} // namespace

class StoreImportTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    QByteArray stored(const char* name) const
    {
        return Contents(path("store") + QLatin1Char('/') + QLatin1String(name));
    }
    // Every file of the store, with its text, inode and time.
    QStringList snapshot() const
    {
        QStringList files;
        QDirIterator it(path("store"), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString name = it.next();
            struct stat info = {};
            ::lstat(qPrintable(name), &info);
            files << QStringLiteral("%1 %2 %3.%4 %5")
                         .arg(name)
                         .arg(info.st_ino)
                         .arg(info.st_mtim.tv_sec)
                         .arg(info.st_mtim.tv_nsec)
                         .arg(qHash(Contents(name)));
        }
        files.sort();
        return files;
    }
    ServerProcess::Result import(const QString& index, const QStringList& options = {}) const
    {
        return ServerProcess::run(
            QStringList{ QStringLiteral("import"), QStringLiteral("--archive"), archive } + options
            + QStringList{ index, path("store") });
    }
    ServerProcess::Result importText(const QByteArray& text) const
    {
        if (!WriteTextFile(path("index"), text))
            qFatal("cannot write the index");
        return import(path("index"));
    }
    // The texts of the elements of that name in a reply.
    static QStringList texts(const QByteArray& reply, const char* name)
    {
        QDomDocument document;
        QStringList result;
        if (!document.setContent(reply))
            return { QStringLiteral("<no reply>") };
        const QDomNodeList nodes = document.elementsByTagName(QLatin1String(name));
        for (int i = 0; i < nodes.count(); ++i)
            result << nodes.at(i).toElement().text();
        return result;
    }
    // The numbers of the products by their packages.
    QMap<QByteArray, int> numbers() const
    {
        QMap<QByteArray, int> result;
        int serial = 0;
        for (const QByteArray& line : stored("products").split('\n')) {
            if (line.startsWith("Serial: "))
                serial = line.mid(8).toInt();
            if (line.startsWith("Package: "))
                result[line.mid(9)] = serial;
        }
        return result;
    }

    using Fields = QMap<QByteArray, QByteArray>; // of a stanza, by their keys
    // An invalid homepage is dropped.
    static QList<Fields> withoutBadPages(QList<Fields> stanzas)
    {
        for (Fields& stanza : stanzas) {
            if (!stanza.value("Homepage").contains("://"))
                stanza.remove("Homepage");
        }
        return stanzas;
    }
    // The stanzas of a text, with the fields to compare, by the value of one field.
    static QHash<QByteArray, QList<Fields>> stanzas(const QByteArray& text, const QByteArray& key)
    {
        static const QSet<QByteArray> keys{ "Package",     "Version",  "Section", "Size",
                                            "Description", "Filename", "SHA256",  "Depends",
                                            "Homepage",    "Name",     "Category" };
        QHash<QByteArray, QList<Fields>> result;
        Fields fields;
        QByteArray last;
        for (const QByteArray& line : text.split('\n')) {
            const int colon = line.indexOf(": ");
            if (line.isEmpty() && !fields.isEmpty()) {
                result[fields.value(key)] << fields;
                fields.clear();
            } else if (line.startsWith(' ')) {
                if (keys.contains(last))
                    fields[last] += '\n' + line;
            } else if (colon > 0) {
                last = line.left(colon);
                if (keys.contains(last))
                    fields[last] = line.mid(colon + 2);
            }
        }
        return result;
    }

private slots:
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }
    void cleanup() { m_dir.reset(); }

    void everyPackageBecomesAProduct()
    {
        const auto result = import(
            QLatin1String(IMPORT_DATA "/Packages"),
            { QStringLiteral("--translation"), QLatin1String(IMPORT_DATA "/Translation-en") });
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out,
                 QByteArray("packages: 10, older versions passed over: 1, long descriptions: 2\n"
                            "products: 10, categories: 8; new: 10, of another version: 0, gone: "
                            "0\nthe store is in "
                            + path("store").toUtf8() + "; its archives are fetched from "
                            + archive.toUtf8() + '\n'));
        QCOMPARE(stored("products"), BundledText("products"));
        QCOMPARE(stored("pool/debian/Location"),
                 QByteArray("Archives: " + archive.toUtf8() + '\n'));
        QVERIFY(stored("sources").startsWith("Type: dep\nEntry: deb @SERVER@/pool/debian ./\n"));
        // The original index without the older version, by name.
        const QByteArray packages = stored("pool/debian/Packages");
        QCOMPARE(packages.count("Package: "), 10);
        QVERIFY(packages.startsWith("Package: abacus\nVersion: 1:2.0-1\n"));
        QVERIFY(!packages.contains("2.0~rc1"));
        QVERIFY(packages.contains("Description: its long description is in the index\n First "
                                  "paragraph.\n .\n Second paragraph.\n"));
    }

    void everyWayOfPackingIsRead_data()
    {
        QTest::addColumn<QString>("suffix");
        for (const char* suffix : { "", ".gz", ".xz", ".lz4", ".zst", ".bz2" })
            QTest::newRow(*suffix ? suffix : "plain") << QString::fromLatin1(suffix);
    }
    void everyWayOfPackingIsRead()
    {
        QFETCH(QString, suffix);
        const QString index = path("Packages") + suffix;
        const QByteArray text = Bundled("Packages");
        FileFd packed;
        QVERIFY(packed.Open(index.toStdString(), FileFd::WriteOnly | FileFd::Create,
                            FileFd::Extension));
        QVERIFY(packed.Write(text.constData(), quint64(text.size())));
        QVERIFY(packed.Close());
        QVERIFY(suffix.isEmpty() || Contents(index) != text);
        const auto result = import(index);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        QCOMPARE(numbers().size(), 10);
    }

    // AppStream's names, texts and categories; a package without them keeps its own.
    void applicationsSpeakForTheirPackages_data()
    {
        QTest::addColumn<QByteArray>("package");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char* package, const QByteArray& text) {
            QTest::newRow(package) << QByteArray(package) << text;
        };
        row("abacus",
            "Name: Abacus\nCategory: Science\nPackage: abacus\nDescription: Count with beads, and "
            "print what was counted\n A frame with beads on wires.\n");
        row("libbeads2",
            "Name: libbeads2\nCategory: libs\nPackage: libbeads2\nDescription: beads for "
            "programs\n");
        row("libgtk++",
            "Name: Plus & Minus\nCategory: libs\nPackage: libgtk++\nDescription: Has no "
            "description and no main category\n");
    }
    void applicationsSpeakForTheirPackages()
    {
        QFETCH(QByteArray, package);
        QFETCH(QByteArray, text);
        const auto result = import(
            QLatin1String(IMPORT_DATA "/Packages"),
            { QStringLiteral("--appstream"), QLatin1String(IMPORT_DATA "/components.yml") });
        QCOMPARE(result.err, QByteArray());
        QVERIFY2(result.out.contains(", applications: 2\n"), result.out);
        QVERIFY2(stored("products").contains(text), stored("products"));
        QVERIFY(!stored("products").contains("zählen"));
        const QMap<QByteArray, int> with = numbers();
        import(QLatin1String(IMPORT_DATA "/Packages"));
        QCOMPARE(with, numbers());
        QVERIFY(stored("products").contains("Name: " + package + '\n'));
    }
    void applicationsMayComeAsXml()
    {
        const QString file = path("catalog.xml");
        QVERIFY(WriteTextFile(
            file,
            "<?xml version=\"1.0\"?><components version=\"0.14\" origin=\"x\">"
            "<component type=\"desktop-application\"><id>ab</id><pkgname>ab</pkgname>"
            "<name>A &amp; B</name><summary>Letters</summary><description><p>The first.</p>"
            "</description><categories><category>Game</category></categories></component>"
            "</components>"));
        QVERIFY(WriteTextFile(path("index"), Stanza("ab") + Stanza("cd").replace("misc", "games")));
        const auto result = import(path("index"), { QStringLiteral("-s"), file });
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(stored("products"),
                 QByteArray("Serial: 1\nName: A & B\nCategory: Games\nPackage: ab\n"
                            "Description: Letters\n The first.\n\n"
                            // Two spellings would be one category for agents.
                            "Serial: 2\nName: cd\nCategory: Games\nPackage: cd\n"
                            "Description: cd for tests\n\n"));
    }
    void textsThatAStoreCannotHaveAreNotTaken_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QByteArray>("product"); // what it is then
        const QByteArray own = "Name: ab\nCategory: misc\nPackage: ab\nDescription: ab for tests\n";
        const auto row
            = [](const char* name, const QByteArray& from, const QByteArray& to,
                 const QByteArray& product) { QTest::newRow(name) << from << to << product; };
        row("longest name", "C: Name", "C: " + QByteArray(100, 'n'),
            "Name: " + QByteArray(100, 'n') + "\nCategory: Games\n");
        row("longer name", "C: Name", "C: " + QByteArray(101, 'n'), own);
        row("no name", "C: Name", "de: Name", own);
        row("control character in a name", "C: Name", "C: \"N\\x1bame\"", own);
        row("longest summary", "C: Summary", "C: " + QByteArray(256, 's'),
            "Description: " + QByteArray(256, 's') + "\n");
        row("longer summary", "C: Summary", "C: " + QByteArray(257, 's'), own);
        row("long description", "Words", QByteArray(16 * 1024 + 1, 'w'),
            "Package: ab\nDescription: Summary\n\n");
        row("description of control characters", "C: <p>Words", "C: \"<p>\\x1bWords",
            "Package: ab\nDescription: Summary\n\n");
        row("line feed in a name", "C: Name", "C: \"N\\n\\nSerial: 9\"", "Name: N Serial: 9\n");
        row("a part of another one", "Package: ab", "Merge: append\nPackage: ab", own);
        row("another package", "Package: ab", "Package: cd", own);
    }
    void textsThatAStoreCannotHaveAreNotTaken()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QByteArray, product);
        const QByteArray head = "---\nFile: DEP-11\nVersion: '0.14'\nOrigin: x\n";
        QByteArray text = "---\nType: desktop-application\nID: ab\nPackage: ab\nName:\n  C: Name\n"
                          "Summary:\n  C: Summary\nDescription:\n  C: <p>Words</p>\n"
                          "Categories:\n- Game\n";
        QVERIFY(text.contains(from));
        text.replace(from, to);
        if (to.contains("C: \"<p>"))
            text.replace("Words</p>", "Words</p>\"");
        const QByteArray other = "---\nType: desktop-application\nID: xy\nPackage: xy\nName:\n"
                                 "  C: Xy\nSummary:\n  C: Other\n";
        QVERIFY(WriteTextFile(path("catalog.yml"), head + text + other));
        QVERIFY(WriteTextFile(path("index"), Stanza("ab")));
        const auto result = import(path("index"), { QStringLiteral("-s"), path("catalog.yml") });
        QVERIFY2(result.status == 0, result.err);
        QVERIFY2(stored("products").contains(product), stored("products"));
    }
    void aCatalogThatCannotBeReadStopsTheImport_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("why");
        QTest::newRow("missing") << QStringLiteral("missing.yml") << QByteArray("-")
                                 << QByteArray("No such file or directory");
        QTest::newRow("empty") << QStringLiteral("a.yml") << QByteArray("")
                               << QByteArray("no application found in this catalog");
        QTest::newRow("cut") << QStringLiteral("a.yml")
                             << Bundled("components.yml").left(1000) + "\n  ["
                             << QByteArray("a.yml: ");
        QTest::newRow("cut XML") << QStringLiteral("a.xml") << QByteArray("<components><component")
                                 << QByteArray("a.xml: Could not parse XML data: ");
        QTest::newRow("not packed")
            << QStringLiteral("a.yml.gz") << Bundled("components.yml") << QByteArray("a.yml.gz: ");
    }
    void aCatalogThatCannotBeReadStopsTheImport()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, why);
        QCOMPARE(importText(Stanza("ab")).status, 0);
        const QStringList before = snapshot();
        if (text != "-")
            QVERIFY(WriteTextFile(m_dir->filePath(name), text));
        QVERIFY(WriteTextFile(path("index"), Stanza("cd")));
        const auto result = import(path("index"), { QStringLiteral("-s"), m_dir->filePath(name) });
        QCOMPARE(result.status, 1);
        QCOMPARE(result.out, QByteArray());
        QVERIFY2(result.err.contains(why) && result.err.count('\n') == 1, result.err);
        QCOMPARE(snapshot(), before);
    }

    void archiveMayEndInASlash()
    {
        const auto result = import(QLatin1String(IMPORT_DATA "/Packages"),
                                   { QStringLiteral("--archive"), archive + QLatin1String("//") });
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        QCOMPARE(stored("pool/debian/Location"),
                 QByteArray("Archives: " + archive.toUtf8() + '\n'));
    }

    void archiveIsInTheNameThatAptHasGivenTheIndex_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("address");
        const auto row = [](const char* name, const QByteArray& address) {
            QTest::newRow(name) << QString::fromLatin1(name) << address;
        };
        row("deb.debian.org_debian_dists_bookworm_main_binary-amd64_Packages",
            "http://deb.debian.org/debian");
        row("host_dists_stable_main_binary-all_Packages", "http://host");
        row("host:8080_a%5fb_c-d_dists_x_Packages", "http://host:8080/a_b/c-d");
        row("a.example_dists_b_dists_c_Packages", "http://a.example");
        row("Packages", "");
        row("_dists_x_Packages", "");
        row("host_%zz_dists_x_Packages", "");
        row("host_a b_dists_x_Packages", "");
    }
    void archiveIsInTheNameThatAptHasGivenTheIndex()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, address);
        const QString index = m_dir->filePath(name);
        QVERIFY(WriteTextFile(index, Stanza("ab")));
        const auto result = ServerProcess::run({ QStringLiteral("import"), index, path("store") });
        QCOMPARE(result.status, address.isEmpty() ? 2 : 0);
        if (address.isEmpty())
            QVERIFY(result.err.contains("say where the archives of this index are"));
        else
            QCOMPARE(stored("pool/debian/Location"), QByteArray("Archives: " + address + '\n'));
    }

    void importingAgainTouchesNothing()
    {
        QCOMPARE(import(QLatin1String(IMPORT_DATA "/Packages")).status, 0);
        const QStringList before = snapshot();
        QCOMPARE(before.size(), 5);
        const auto result = import(QLatin1String(IMPORT_DATA "/Packages"));
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.contains("new: 0, of another version: 0, gone: 0\n"));
        QCOMPARE(snapshot(), before);
    }

    void newIndexKeepsTheNumbersAndGivesNoneTwice()
    {
        importText(Stanza("ab") + Stanza("cd") + Stanza("ef"));
        QCOMPARE(numbers(), (QMap<QByteArray, int>{ { "ab", 1 }, { "cd", 2 }, { "ef", 3 } }));
        const QByteArray sources = stored("sources");
        const auto result = importText(Stanza("aa") + Stanza("ab", "2") + Stanza("cd"));
        QVERIFY(result.out.contains("new: 1, of another version: 1, gone: 1\n"));
        QCOMPARE(numbers(), (QMap<QByteArray, int>{ { "aa", 4 }, { "ab", 1 }, { "cd", 2 } }));
        QVERIFY(stored("sources") != sources); // so that agents fetch the lists again
        importText(Stanza("cd"));
        importText(Stanza("cd") + Stanza("ef") + Stanza("gh"));
        QCOMPARE(numbers(), (QMap<QByteArray, int>{ { "cd", 2 }, { "ef", 5 }, { "gh", 6 } }));
    }

    void newestOfSeveralVersionsCounts_data()
    {
        QTest::addColumn<QByteArray>("older");
        QTest::addColumn<QByteArray>("newer");
        const auto row = [](const QByteArray& a, const QByteArray& b) {
            QTest::newRow((a + " < " + b).constData()) << a << b;
        };
        row("9", "10");
        row("1.0~rc1", "1.0");
        row("99", "1:1");
        row("1.0-1", "1.0-1+deb12u1");
    }
    void newestOfSeveralVersionsCounts()
    {
        QFETCH(QByteArray, older);
        QFETCH(QByteArray, newer);
        for (const QByteArray& text : { Stanza("ab", older) + Stanza("ab", newer),
                                        Stanza("ab", newer) + Stanza("ab", older) }) {
            QCOMPARE(importText(text).status, 0);
            QVERIFY(stored("pool/debian/Packages").contains("\nVersion: " + newer + '\n'));
            QCOMPARE(stored("pool/debian/Packages").count("Package: "), 1);
        }
    }

    void dangerousPackageIsLeftOut_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QByteArray>("why");
        const auto row = [](const char* name, const QByteArray& from, const QByteArray& to,
                            const QByteArray& why) { QTest::newRow(name) << from << to << why; };
        row("no name", "Package: bad\n", "", ":9: Package is missing here");
        row("capitals in the name", "Package: bad", "Package: Bad", "invalid Package: 'Bad'");
        row("option as a name", "Package: bad", "Package: -bad", "invalid Package: '-bad'");
        row("command as a name", "Package: bad", "Package: b$(x)d", "invalid Package");
        row("path as a name", "Package: bad", "Package: ../bad", "invalid Package");
        row("name of 129 letters", "Package: bad", "Package: " + QByteArray(129, 'b'),
            "invalid Package");
        row("name of two lines", "Package: bad", "Package: bad\n good", "invalid Package");
        row("no version", "Version: 1\n", "", "Version is missing here");
        row("version with blanks", "Version: 1", "Version: 1 2", "invalid Version");
        row("no file name", "Filename: pool/bad_1_all.deb\n", "", "Filename is missing here");
        row("file name that leaves", "pool/bad", "pool/../../bad", "invalid Filename");
        row("file name from the root", "pool/bad", "/pool/bad", "invalid Filename");
        row("file name with a blank", "pool/bad", "pool/b ad", "invalid Filename");
        row("file name with an empty part", "pool/bad", "pool//bad", "invalid Filename");
        row("file name of another kind", "_all.deb", "_all.sh", "invalid Filename");
        row("file name without a name", "pool/bad_1_all.deb", "pool/.deb", "invalid Filename");
        row("no size", "Size: 100\n", "", "Size is missing here");
        row("negative size", "Size: 100", "Size: -100", "invalid Size: '-100'");
        row("size with text around it", "Size: 100", "Size: 100 bytes", "invalid Size");
        row("size of 16 digits", "Size: 100", "Size: 1000000000000000", "invalid Size");
        row("no sum", "SHA256: " + QByteArray(64, 'a') + '\n', "", "SHA256 is missing here");
        row("short sum", QByteArray(64, 'a'), QByteArray(63, 'a'), "invalid SHA256");
        row("a field twice", "Size: 100\n", "Size: 100\nFilename: pool/good_9_all.deb\n",
            "a second Filename for one package");
        row("a field twice in other letters", "Size: 100\n",
            "Size: 100\nfilename: ../../../etc/passwd\n", "a second filename for one package");
        row("too many fields", "Size: 100\n", "Size: 100\n" + QByteArray("X: 1\n").repeated(300),
            "too many fields for a package");
        row("no field", "Size: 100\n", "Size: 100\n<html>\n",
            ":15: this is not a `Key: value` line");
        row("escape sequence", "bad for tests", "\x1b[2J", ":11: there is a control character");
        row("zero byte", "bad for tests", QByteArray("b\0d", 3), "there is a control character");
        row("invalid UTF-8", "bad for tests", "caf\xE9", "there is a byte that is not UTF-8");
        row("relation that is none", "Size: 100\n", "Size: 100\nDepends: $(x)\n",
            "invalid Depends");
        row("relation that ends early", "Size: 100\n", "Size: 100\nRecommends: ab (>= 1\n",
            "invalid Recommends");
        row("relation in other letters", "Size: 100\n", "Size: 100\nbreaks: -y\n",
            "invalid breaks");
        row("archive of another package", "pool/bad_1_all.deb", "other/ab_1_all.deb",
            ": another package has the archive of bad");
    }
    void dangerousPackageIsLeftOut()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QByteArray, why);
        QByteArray bad = Stanza("bad");
        QVERIFY(bad.contains(from));
        const auto result = importText(
            Stanza("ab") + bad.replace(bad.indexOf(from), from.size(), to) + Stanza("zz"));
        QCOMPARE(result.status, 0);
        QVERIFY2(result.err.startsWith("pakmart-storeserver: left out: " + path("index").toUtf8()),
                 result.err.constData());
        QVERIFY2(result.err.contains(why), result.err.constData());
        QCOMPARE(numbers(), (QMap<QByteArray, int>{ { "ab", 1 }, { "zz", 2 } }));
        QCOMPARE(stored("pool/debian/Packages"), QByteArray(Stanza("ab") + Stanza("zz")));
        // And the server accepts the new store.
        QVERIFY(ServerProcess(path("store")).isRunning());
    }

    void doubtfulFieldIsDropped_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QByteArray>("product");
        const auto row
            = [](const char* name, const QByteArray& from, const QByteArray& to,
                 const QByteArray& product) { QTest::newRow(name) << from << to << product; };
        const QByteArray section = "Section: misc\n", description = "Description: ab for tests\n";
        row("no section", section, "", "\nCategory: unknown\n");
        row("section of two lines", section, "Section: misc\n more\n", "\nCategory: unknown\n");
        row("section of markup", section, "Section: <b>\n", "\nCategory: unknown\n");
        row("section of 60 letters", section, "Section: " + QByteArray(60, 's') + '\n',
            "\nCategory: " + QByteArray(60, 's') + '\n');
        row("section of 61 letters", section, "Section: " + QByteArray(61, 's') + '\n',
            "\nCategory: unknown\n");
        row("no description", description, "", "\nDescription: ab\n");
        row("endless description", description,
            "Description: short\n" + QByteArray(" x\n").repeated(10000),
            "\nDescription: short\n\n");
        row("endless line", description, "Description: " + QByteArray(20000, 'x') + '\n',
            "\nDescription: ab\n\n");
        row("description that begins below", description, "Description:\n below\n",
            "\nDescription: below\n\n");
    }
    void doubtfulFieldIsDropped()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QByteArray, product);
        const auto result = importText(Stanza("ab").replace(from, to));
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        QVERIFY2(stored("products").contains(product), stored("products").left(2000).constData());
        QVERIFY(ServerProcess(path("store")).isRunning());
    }

    void homepageThatIsNoneIsDropped_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<bool>("stays");
        QTest::newRow("page") << QByteArray("https://x.example/") << true;
        QTest::newRow("older scheme") << QByteArray("ftp://x.example/a") << true;
        QTest::newRow("256 letters") << QByteArray("http://" + QByteArray(249, 'x')) << true;
        QTest::newRow("257 letters") << QByteArray("http://" + QByteArray(250, 'x')) << false;
        QTest::newRow("other scheme") << QByteArray("javascript:x") << false;
        QTest::newRow("blank") << QByteArray("http://x.example/ a") << false;
        QTest::newRow("two lines") << QByteArray("http://x.example/\n a") << false;
        QTest::newRow("beyond ASCII") << QByteArray("http://ü.example/") << false;
    }
    void homepageThatIsNoneIsDropped()
    {
        QFETCH(QByteArray, page);
        QFETCH(bool, stays);
        const QByteArray with = "Section: misc\nTag: a,\n b,\n  c\nHomepage: " + page + '\n';
        QCOMPARE(importText(Stanza("ab").replace("Section: misc\n", with)).status, 0);
        const QByteArray kept = "Section: misc\nTag: a,\n b,\n  c\n"
            + (stays ? "Homepage: " + page + '\n' : QByteArray());
        QCOMPARE(stored("pool/debian/Packages"), Stanza("ab").replace("Section: misc\n", kept));
    }

    void onlyTheFirstReasonsAreTold()
    {
        QByteArray text = Stanza("ab");
        for (int i = 0; i < 1000; ++i)
            text += Stanza("B" + QByteArray::number(i));
        const auto result = importText(text);
        QCOMPARE(result.status, 0);
        QCOMPARE(result.err.count('\n'), 11);
        QVERIFY(result.err.endsWith("pakmart-storeserver: and 990 more were left out\n"));
    }

    void whatIsNoIndexMakesNoStore_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("says");
        QTest::newRow("empty") << QByteArray() << QByteArray("no package found in this index");
        QTest::newRow("blank lines")
            << QByteArray("\n\n\n") << QByteArray("no package found in this index");
        QTest::newRow("page") << QByteArray("<html><body>Not found</body></html>\n")
                              << QByteArray(":1: this is not a `Key: value` line");
        QTest::newRow("bytes") << QByteArray(100000, '\xFF')
                               << QByteArray(":1: there is a byte that is not UTF-8");
        QTest::newRow("zero bytes")
            << QByteArray(100000, '\0') << QByteArray(":1: there is a control character");
        QTest::newRow("other stanzas")
            << QByteArray("Serial: 7\nName: A\n") << QByteArray(":1: Package is missing here");
    }
    void whatIsNoIndexMakesNoStore()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, says);
        const auto result = importText(text);
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(says), result.err.constData());
        QCOMPARE(stored("products"), QByteArray("<none>"));
    }

    void indexThatCannotBeReadIsAFailure_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("says");
        const QByteArray none;
        QTest::newRow("missing") << "nowhere" << none << QByteArray("No such file");
        QTest::newRow("folder") << "folder" << none << QByteArray("this is not a regular file");
        QTest::newRow("pipe") << "pipe" << none << QByteArray("this is not a regular file");
        QTest::newRow("no gzip") << "x.gz" << QByteArray("\x1f\x8b nonsense")
                                 << QByteArray("x.gz: ");
        QTest::newRow("no xz") << "x.xz" << QByteArray("nonsense") << QByteArray("x.xz: ");
        QTest::newRow("no lz4") << "x.lz4" << QByteArray("nonsense") << QByteArray("x.lz4: ");
    }
    void indexThatCannotBeReadIsAFailure()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, says);
        QVERIFY(QDir().mkpath(path("folder")));
        QCOMPARE(::mkfifo(qPrintable(path("pipe")), 0600), 0);
        if (!text.isEmpty())
            QVERIFY(WriteTextFile(m_dir->filePath(name), text));
        importText(Stanza("ab"));
        const QStringList before = snapshot();
        const auto result = import(m_dir->filePath(name));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(says), result.err.constData());
        QCOMPARE(snapshot(), before);
    }

    void packedIndexThatIsCutIsAFailure_data()
    {
        QTest::addColumn<QString>("suffix");
        for (const char* suffix : { ".gz", ".xz", ".lz4", ".zst", ".bz2" })
            QTest::newRow(suffix) << QString::fromLatin1(suffix);
    }
    void packedIndexThatIsCutIsAFailure()
    {
        QFETCH(QString, suffix);
        const QString index = path("Packages") + suffix;
        FileFd packed;
        QVERIFY(packed.Open(index.toStdString(), FileFd::WriteOnly | FileFd::Create,
                            FileFd::Extension));
        for (int i = 0; i < 5000; ++i) {
            const QByteArray stanza = Stanza("package" + QByteArray::number(i));
            QVERIFY(packed.Write(stanza.constData(), quint64(stanza.size())));
        }
        QVERIFY(packed.Close());
        QCOMPARE(::truncate(qPrintable(index), QFileInfo(index).size() / 2), 0);
        QCOMPARE(import(index).status, 1);
        QCOMPARE(stored("products"), QByteArray("<none>"));
    }

    void packedIndexThatUnpacksWithoutEndIsRefused()
    {
        const QString index = path("Packages.gz");
        const QByteArray block(1 << 20, '\n');
        FileFd packed;
        QVERIFY(packed.Open(index.toStdString(), FileFd::WriteOnly | FileFd::Create,
                            FileFd::Extension));
        for (int i = 0; i < 300; ++i)
            QVERIFY(packed.Write(block.constData(), quint64(block.size())));
        QVERIFY(packed.Close());
        QVERIFY(QFileInfo(index).size() < 1 << 20);
        const auto result = import(index);
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains("there is more in this file than 256 MB"));
    }

    void storeThatNoImportHasMadeIsLeftAlone_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("says");
        const QByteArray alone = "this store was not made by an import, and is left alone";
        QTest::newRow("store") << "store" << alone;
        QTest::newRow("any file") << "file" << alone;
        QTest::newRow("hidden file") << "hidden" << alone;
        QTest::newRow("no folder") << "not a folder" << QByteArray("Not a directory");
        QTest::newRow("link as mark") << "link" << QByteArray("links are not followed");
        QTest::newRow("other mark") << "other" << QByteArray(":1: Repository is missing here");
        QTest::newRow("mark without number")
            << "number" << QByteArray(":1: Next-Serial is invalid");
        QTest::newRow("other repository")
            << "repository" << QByteArray("the repository of this store is 'ubuntu'");
        QTest::newRow("products that somebody broke")
            << "products" << QByteArray("/products:1: Serial is missing here");
        QTest::newRow("pool that is a link") << "pool" << QByteArray("Not a directory");
    }
    void storeThatNoImportHasMadeIsLeftAlone()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, says);
        const auto write = [this](const char* name, const QByteArray& text) {
            QVERIFY(WriteTextFile(path("store") + QLatin1Char('/') + QLatin1String(name), text));
        };
        const QByteArray mark = "Repository: debian\nNext-Serial: 5\n";
        if (kind == QLatin1String("store"))
            QVERIFY(!ServerProcess::makeDemoStore(m_dir->path()).isEmpty());
        else if (kind == QLatin1String("file"))
            write("thesis.txt", "years of work");
        else if (kind == QLatin1String("hidden"))
            write(".config", "mine");
        else if (kind == QLatin1String("not a folder"))
            QVERIFY(WriteTextFile(path("store"), "years of work"));
        else if (kind == QLatin1String("other"))
            write("imported", "Name: x\n");
        else if (kind == QLatin1String("number"))
            write("imported", "Repository: debian\nNext-Serial: -1\n");
        else if (kind == QLatin1String("repository"))
            write("imported", "Repository: ubuntu\nNext-Serial: 5\n");
        else {
            write("imported", mark);
            if (kind == QLatin1String("products"))
                write("products", "Name: x\n");
            else if (kind == QLatin1String("pool")) {
                QVERIFY(QDir().mkpath(path("elsewhere")));
                QVERIFY(QFile::link(path("elsewhere"), path("store/pool")));
            } else {
                QVERIFY(QFile::rename(path("store/imported"), path("mark")));
                QVERIFY(QFile::link(path("mark"), path("store/imported")));
            }
        }
        const QStringList before = snapshot();
        const auto result = importText(Stanza("ab"));
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(says), result.err.constData());
        QCOMPARE(snapshot(), before);
        QVERIFY(!QFile::exists(path("elsewhere/debian")));
    }

    void emptyFolderIsTaken()
    {
        QVERIFY(QDir().mkpath(path("store")));
        QCOMPARE(importText(Stanza("ab")).status, 0);
        QCOMPARE(numbers().size(), 1);
    }

    void filesThatAnImportDoesNotMakeStay()
    {
        importText(Stanza("ab"));
        for (const char* name :
             { "store/registrations", "store/updates", "store/pool/own/Packages" })
            QVERIFY(WriteTextFile(path(name), "mine"));
        QCOMPARE(importText(Stanza("cd")).status, 0);
        for (const char* name :
             { "store/registrations", "store/updates", "store/pool/own/Packages" })
            QCOMPARE(Contents(path(name)), QByteArray("mine"));
    }

    void secondImportAtOnceIsRefused()
    {
        importText(Stanza("ab"));
        const QStringList before = snapshot();
        const int fd = ::open(qPrintable(path("store")), O_RDONLY | O_DIRECTORY);
        QCOMPARE(::flock(fd, LOCK_EX), 0);
        const auto result = importText(Stanza("cd"));
        ::close(fd);
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains("another command is changing this store"));
        QCOMPARE(snapshot(), before);
    }

    void fullDiskLeavesTheOldStore()
    {
        importText(Stanza("ab"));
        const QStringList before = snapshot();
        QByteArray text;
        for (int i = 0; i < 200; ++i)
            text += Stanza("package" + QByteArray::number(i));
        QVERIFY(WriteTextFile(path("index"), text));
        QProcess process; // limited to files of 8 KB
        process.start(
            QStringLiteral("bash"),
            { QStringLiteral("-c"), QStringLiteral("trap '' XFSZ; ulimit -f 8; exec \"$@\""),
              QStringLiteral("bash"), QStringLiteral(STORESERVER_PROGRAM), QStringLiteral("import"),
              QStringLiteral("-a"), archive, path("index"), path("store") });
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 1);
        const QByteArray err = process.readAllStandardError();
        QVERIFY2(err.contains("/Packages.new: File too large"), err.constData());
        QCOMPARE(snapshot(), before);
    }

    void killedAtAnyMomentLeavesTheOldStoreOrTheNewOne()
    {
        QByteArray one, two;
        for (int i = 0; i < 4000; ++i) {
            one += Stanza("package" + QByteArray::number(i), "1");
            two += Stanza("package" + QByteArray::number(i), "2").replace(" for", " for more");
        }
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(importText(two).status, 0);
        const qint64 whole = timer.nsecsElapsed() / 1000;
        const QByteArray newProducts = stored("products"),
                         newIndex = stored("pool/debian/Packages");
        QVERIFY(QDir(path("store")).removeRecursively());
        QCOMPARE(importText(one).status, 0);
        const QByteArray oldProducts = stored("products"),
                         oldIndex = stored("pool/debian/Packages");
        QVERIFY(WriteTextFile(path("index"), two));
        int ended = 0;
        for (int i = 0; i <= 12; ++i) {
            QProcess process;
            process.start(QStringLiteral(STORESERVER_PROGRAM),
                          { QStringLiteral("import"), QStringLiteral("-a"), archive, path("index"),
                            path("store") });
            QVERIFY(process.waitForStarted());
            ::usleep(useconds_t(whole * i * i / 144));
            process.kill();
            QVERIFY(process.waitForFinished());
            const QByteArray products = stored("products"), index = stored("pool/debian/Packages");
            QVERIFY(products == oldProducts || products == newProducts);
            QVERIFY(index == oldIndex || index == newIndex);
            QVERIFY(ServerProcess(path("store")).isRunning());
            if (products == newProducts) {
                ++ended;
                QCOMPARE(importText(one).status, 0);
                QVERIFY(WriteTextFile(path("index"), two));
            }
        }
        QCOMPARE(importText(two).status, 0);
        QCOMPARE(stored("products"), newProducts);
        QCOMPARE(stored("pool/debian/Packages"), newIndex);
        QCOMPARE(QDir(path("store")).entryList({ QStringLiteral("*.new") }), QStringList());
        qDebug("%d of 13 had ended before they were killed", ended);
    }

    void firstImportThatIsKilledIsNoStoreAndCanBeRepeated()
    {
        // The state in which all files are written, but none has been renamed yet.
        QVERIFY(WriteTextFile(path("store/imported"), "Repository: debian\nNext-Serial: 1\n"));
        for (const char* name : { "products.new", "sources.new", "pool/debian/Packages.new" })
            QVERIFY(WriteTextFile(path("store") + QLatin1Char('/') + QLatin1String(name), "half"));
        QCOMPARE(
            ServerProcess::run({ QStringLiteral("--port"), QStringLiteral("0"), path("store") })
                .status,
            1);
        QCOMPARE(importText(Stanza("ab")).status, 0);
        QVERIFY(ServerProcess(path("store")).isRunning());
        QVERIFY(!QFile::exists(path("store/products.new")));
        // And in which not even the mark has been renamed.
        QVERIFY(QDir(path("store")).removeRecursively());
        QVERIFY(WriteTextFile(path("store/imported.new"), "Repo"));
        QCOMPARE(importText(Stanza("ab")).status, 0);
        QVERIFY(!QFile::exists(path("store/imported.new")));
    }

    void translationThatIsBrokenLosesNothingElse()
    {
        QVERIFY(WriteTextFile(path("translation"),
                              "<html>\nDescription-md5: x\n\n" + Bundled("Translation-en")));
        const auto result = import(QLatin1String(IMPORT_DATA "/Packages"),
                                   { QStringLiteral("-t"), path("translation") });
        QCOMPARE(result.status, 0);
        QVERIFY(result.err.contains("/translation:1: this is not a `Key: value` line"));
        QCOMPARE(stored("products"), BundledText("products"));
        const QStringList before = snapshot();
        const auto missing = import(QLatin1String(IMPORT_DATA "/Packages"),
                                    { QStringLiteral("-t"), path("nowhere") });
        QCOMPARE(missing.status, 1);
        QCOMPARE(snapshot(), before);
    }

    void usageErrors_data()
    {
        QTest::addColumn<QString>("words");
        QTest::newRow("nothing") << "";
        QTest::newRow("no store") << "-a http://x index";
        QTest::newRow("three words") << "-a http://x index store more";
        QTest::newRow("unknown option") << "--frobnicate index store";
        QTest::newRow("option without value") << "index store -a";
        QTest::newRow("archive of another scheme") << "-a file:///srv index store";
        QTest::newRow("archive with a blank") << "-a http://x/%20 index store";
        QTest::newRow("repository with a slash") << "-a http://x -n ../x index store";
        QTest::newRow("hidden repository") << "-a http://x -n .x index store";
        QTest::newRow("no archive") << "index store";
    }
    void usageErrors()
    {
        QFETCH(QString, words);
        const auto result = ServerProcess::run(QStringList{ QStringLiteral("import") }
                                               + words.split(QLatin1Char(' '), Qt::SkipEmptyParts));
        QCOMPARE(result.status, 2);
        QVERIFY(result.err.endsWith("Try `pakmart-storeserver import --help`.\n"));
        QVERIFY(!QFile::exists(QStringLiteral("store")));
    }

    void helpTellsOfEveryOption()
    {
        const auto help
            = ServerProcess::run({ QStringLiteral("import"), QStringLiteral("--help") });
        QCOMPARE(help.status, 0);
        for (const char* word : { "INDEX", "STORE", "--archive", "--translation", "--name" })
            QVERIFY2(help.out.contains(word), word);
        QVERIFY(ServerProcess::run({ QStringLiteral("--help") }).out.contains("import"));
    }

    void madeStoreIsServedWhileItChanges()
    {
        QCOMPARE(import(QLatin1String(IMPORT_DATA "/Packages")).status, 0);
        const ServerProcess server(path("store"));
        const QByteArray product = server.get("/agent/CAPIDownloadAppInfo?app_id[]=2").body;
        QCOMPARE(texts(product, "packagename"), QStringList{ QStringLiteral("fonts-noto") });
        const QByteArray info = server
                                    .get("/agent/CAPIGetPackageInfo?filename[]=abacus_1%253a2.0-1_"
                                         "all.deb")
                                    .body;
        QCOMPARE(texts(info, "package_url"), QStringList{ archive });
        QVERIFY(texts(info, "package_data").value(0).contains(QLatin1String("Size:+41300")));
        QVERIFY(server.get("/agent/CAPIGetSourcesList").body.contains("/pool/debian+./"));
        QCOMPARE(server.get("/pool/debian/Packages").body, stored("pool/debian/Packages"));
        QCOMPARE(importText(Stanza("fresh")).status, 0);
        const int number = numbers().value("fresh");
        QCOMPARE(number, 11);
        QVERIFY(server.get("/agent/CAPIDownloadAppInfo?app_id[]=11").body.contains(">fresh<"));
        QVERIFY(server.get("/agent/CAPIDownloadAppInfo?app_id[]=2").body.contains("FAILED"));
    }

    // The machine's own index, product by product.
    void machinesOwnIndex()
    {
        const QDir lists(QStringLiteral("/var/lib/apt/lists"));
        QString index;
        for (const QFileInfo& file : lists.entryInfoList({ QStringLiteral("*_dists_*_Packages*") },
                                                         QDir::Files, QDir::Size)) {
            if (index.isEmpty() && file.isReadable() && file.size() > 0)
                index = file.filePath();
        }
        if (index.isEmpty()) {
            // Not with the macro: clang warns about its empty arguments.
            QTest::qSkip("apt has fetched no index on this machine", __FILE__, __LINE__);
            return;
        }
        QProcess import;
        import.start(QStringLiteral(STORESERVER_PROGRAM),
                     { QStringLiteral("import"), index, path("store") });
        QVERIFY(import.waitForFinished(300000));
        QCOMPARE(import.exitCode(), 0);
        const QByteArray err = import.readAllStandardError();
        QVERIFY2(err.isEmpty(), err.constData());
        QProcess unpack;
        unpack.start(QStringLiteral("/usr/lib/apt/apt-helper"),
                     { QStringLiteral("cat-file"), index });
        QVERIFY(unpack.waitForFinished(300000));
        const auto wanted = stanzas(unpack.readAllStandardOutput(), "Package");
        const auto packages = stanzas(stored("pool/debian/Packages"), "Package");
        const auto products = stanzas(stored("products"), "Package");
        QVERIFY(wanted.size() > 0);
        QCOMPARE(products.size(), wanted.size());
        QCOMPARE(packages.size(), wanted.size());
        for (auto it = wanted.begin(); it != wanted.end(); ++it) {
            QCOMPARE(packages[it.key()].size(), 1);
            QCOMPARE(products[it.key()].size(), 1);
            const Fields package = packages[it.key()].first(), product = products[it.key()].first();
            QVERIFY2(withoutBadPages(it.value()).contains(package), it.key().constData());
            QCOMPARE(product["Name"], it.key());
            QCOMPARE(product["Category"], package["Section"]);
            QCOMPARE(product["Description"], package["Description"].trimmed());
        }
        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        QVERIFY(
            server.get("/agent/CAPIDownloadAppInfo?app_id[]=" + QByteArray::number(products.size()))
                .body.contains("resultcode=\"OK\""));
        qDebug() << products.size() << "products";
    }
};

QTEST_GUILESS_MAIN(StoreImportTest)
#include "tst_storeimport.moc"
