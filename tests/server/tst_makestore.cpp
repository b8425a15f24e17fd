// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The demo store: the script's result, and that its programs run.

#include "server/serverprocess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

class MakeStoreTest : public QObject
{
    Q_OBJECT

private:
    using Stanza = QMap<QByteArray, QByteArray>;

    QTemporaryDir m_dir;
    QString m_store;

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
    }
    QList<Stanza> stanzas(const QString& name) const
    {
        QList<Stanza> result{ Stanza() };
        for (const QByteArray& line : contents(m_store + QLatin1Char('/') + name).split('\n')) {
            if (line.isEmpty() && !result.last().isEmpty())
                result.append(Stanza());
            else if (!line.startsWith('#') && line.contains(": ") && !line.startsWith(' '))
                result.last()[line.left(line.indexOf(':'))] = line.mid(line.indexOf(": ") + 2);
        }
        if (result.last().isEmpty())
            result.removeLast();
        return result;
    }
    QString archive(const Stanza& package) const
    {
        return m_store + QLatin1String("/pool/main/") + QString::fromLatin1(package["Filename"]);
    }
    static bool run(const QString& program, const QStringList& arguments, QByteArray* out = nullptr)
    {
        QProcess process;
        process.start(program, arguments);
        const bool done = process.waitForFinished();
        if (out)
            *out = process.readAllStandardOutput();
        return done && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
            && process.readAllStandardError().isEmpty();
    }

private slots:
    void initTestCase()
    {
        m_store = ServerProcess::makeDemoStore(m_dir.path());
        QVERIFY(!m_store.isEmpty());
    }

    void thereAreProductsEnough()
    {
        QSet<QByteArray> serials;
        QSet<QByteArray> categories;
        for (const Stanza& product : stanzas(QStringLiteral("products"))) {
            serials.insert(product["Serial"]);
            categories.insert(product["Category"]);
        }
        QVERIFY(serials.size() >= 12);
        QCOMPARE(categories.size(), 4);
        const QByteArray two = contents(m_store + QLatin1String("/products"));
        QVERIFY(two.contains("Program: Dice\n") && two.contains("Program: Cards\n"));
    }

    void everyProductHasItsPackage()
    {
        QSet<QByteArray> packages;
        for (const Stanza& package : stanzas(QStringLiteral("pool/main/Packages")))
            packages.insert(package["Package"]);
        for (const Stanza& product : stanzas(QStringLiteral("products")))
            QVERIFY2(packages.contains(product["Package"]), product["Name"].constData());
    }

    void everyCategoryIsListedAndStandsInAnAisle()
    {
        QSet<QByteArray> categories, listed;
        for (const Stanza& product : stanzas(QStringLiteral("products")))
            categories.insert(product["Category"]);
        for (const Stanza& category : stanzas(QStringLiteral("categories")))
            listed.insert(category["Name"]);
        QCOMPARE(listed, categories);
        const QByteArray aisles = contents(m_store + QLatin1String("/aisles"));
        for (const QByteArray& category : categories)
            QVERIFY2(aisles.contains("\nCategory: " + category + '\n'), category.constData());
    }

    void theAccountHasProductsOfTheStore()
    {
        QMap<QByteArray, QByteArray> packages;
        for (const Stanza& product : stanzas(QStringLiteral("products")))
            packages[product["Serial"]] = product["Package"];
        const QList<Stanza> profile = stanzas(QStringLiteral("profile"));
        QCOMPARE(profile.size(), 3);
        for (const Stanza& application : profile)
            QCOMPARE(application["Package"], packages.value(application["Serial"]));
    }

    void exactlyOneDependencyIsMissing()
    {
        QSet<QByteArray> packages;
        QMultiMap<QByteArray, QByteArray> needed;
        for (const Stanza& package : stanzas(QStringLiteral("pool/main/Packages"))) {
            packages.insert(package["Package"]);
            const QByteArray depends = package["Depends"];
            if (!depends.isEmpty())
                needed.insert(depends.split(' ').first(), package["Package"]);
        }
        QCOMPARE(needed.values("libwarpcore"), QList<QByteArray>{ "warpdrive" });
        QVERIFY(needed.values("libpixel").size() >= 3); // shared by products
        for (auto need = needed.cbegin(); need != needed.cend(); ++need)
            QVERIFY2(packages.contains(need.key()) || need.key() == "libwarpcore",
                     need.key().constData());
    }

    void exactlyOneArchiveIsDamaged()
    {
        QList<QByteArray> damaged;
        for (const Stanza& package : stanzas(QStringLiteral("pool/main/Packages"))) {
            const QByteArray bytes = contents(archive(package));
            QCOMPARE(QByteArray::number(bytes.size()), package["Size"]);
            if (QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()
                != package["SHA256"])
                damaged += package["Package"];
        }
        QCOMPARE(damaged, QList<QByteArray>{ "crackedmirror" });
    }

    void theCompressedIndexIsTheSame()
    {
        QByteArray index;
        QVERIFY(run(QStringLiteral("gzip"),
                    { QStringLiteral("-dc"), m_store + QLatin1String("/pool/main/Packages.gz") },
                    &index));
        QCOMPARE(index, contents(m_store + QLatin1String("/pool/main/Packages")));
    }

    // All packages are installed in one private root, and each program is started by the
    // path in its product.
    void everyProgramRuns()
    {
        const QString root = m_dir.filePath(QStringLiteral("root"));
        for (const Stanza& package : stanzas(QStringLiteral("pool/main/Packages"))) {
            if (package["Package"] != "crackedmirror")
                QVERIFY(run(QStringLiteral("dpkg-deb"),
                            { QStringLiteral("-x"), archive(package), root }));
        }
        int programs = 0;
        for (const QByteArray& line : contents(m_store + QLatin1String("/products")).split('\n')) {
            const QString path = QString::fromLatin1(line.mid(6));
            if (!line.startsWith("Path: ") || path.endsWith(QLatin1String("crackedmirror")))
                continue;
            QByteArray out;
            QVERIFY2(run(root + path, {}, &out), line.constData());
            QVERIFY2(!out.isEmpty(), line.constData());
            QByteArray again;
            run(root + path, {}, &again);
            QCOMPARE(again, out);
            ++programs;
        }
        QCOMPARE(programs, 14); // one product has two, one cannot be unpacked
    }

    void theSameTablesGiveTheSameArchives()
    {
        const QString other = m_dir.filePath(QStringLiteral("other"));
        QCOMPARE(ServerProcess::runMakeStore({ other }).status, 0);
        const QDir pool(other + QLatin1String("/pool/main"));
        QVERIFY(pool.entryList(QDir::Files).size() >= 14);
        for (const QString& name : pool.entryList(QDir::Files))
            QCOMPARE(contents(pool.filePath(name)),
                     contents(m_store + QLatin1String("/pool/main/") + name));
    }

    void aFolderInUseIsLeftAlone()
    {
        const QByteArray before = contents(m_store + QLatin1String("/products"));
        const ServerProcess::Result result = ServerProcess::runMakeStore({ m_store });
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains("is not empty"));
        QCOMPARE(contents(m_store + QLatin1String("/products")), before);
    }

    void usage()
    {
        QCOMPARE(ServerProcess::runMakeStore({}).status, 2);
        QCOMPARE(ServerProcess::runMakeStore({ QStringLiteral("--no-such") }).status, 2);
        QCOMPARE(ServerProcess::runMakeStore({ QStringLiteral("a"), QStringLiteral("b") }).status,
                 2);
        const ServerProcess::Result help
            = ServerProcess::runMakeStore({ QStringLiteral("--help") });
        QCOMPARE(help.status, 0);
        QVERIFY(help.out.startsWith("Usage: demo/make-store"));
    }
};

QTEST_GUILESS_MAIN(MakeStoreTest)
#include "tst_makestore.moc"
