// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A signed store on loopback whose every answer a test can exchange, and a machine that
// trusts its key: the front end with the real apt-get and dpkg in a private root.
//
//     SignedShop shop;
//     shop.setUp();
//     shop.add({ "app" });
//     shop.offer();
//     QVERIFY(shop.update().status == 0);

#pragma once

#include "tests/common/scriptedserver.h"
#include "tests/common/signingkey.h"
#include "tests/common/testarchive.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QProcess>
#include <QtTest>
#include <memory>

class SignedShop
{
public:
    using Package = TestArchive::Package;

    struct Result {
        int status = -1;
        QByteArray output;
        bool says(const char* text) const { return output.contains(text); }
    };

    // The text of a signed file, and how it differs from an honest one.
    struct Release {
        qint64 age = 0; // seconds since its date
        qint64 valid = 7 * 24 * 3600; // seconds from its date
        bool hasDate = true;
        bool hasValidUntil = true;
        QByteArray suite = "r";
        QByteArray sums = "SHA256";
    };

    const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
    const QString dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
    SigningKey key{ dir + QStringLiteral("/key") };
    std::unique_ptr<ScriptedServer> server;
    std::unique_ptr<TestArchive> archive;
    long long sent = 0; // bytes of an endless answer

    // A new machine that trusts the store, and an empty store.
    void setUp()
    {
        for (const char* folder : { "/var", "/usr", "/etc" })
            QDir(root + QLatin1String(folder)).removeRecursively();
        QDir(tree()).removeRecursively();
        if (QProcess::execute(QStringLiteral(MKROOT),
                              { QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), root })
            != 0)
            qFatal("cannot make the machine");
        server = std::make_unique<ScriptedServer>();
        archive = std::make_unique<TestArchive>();
        sent = 0;
        trust();
        select("deb " + server->url("/r") + " ./\n");
    }
    // Writes the store down as trusted.
    void trust(const QByteArray& more = "Release-Suite: r\n")
    {
        QFile::remove(keyFile());
        write(keyFile(), contents(key.publicFile()));
        write(storeFile(),
              "Types: deb\nURIs: " + server->url("/r")
                  + "\nSuites: ./\nSigned-By: /etc/pakmart/keys/shop.gpg\nRelease-Origin: Shop\n"
                  + more);
    }
    QString keyFile() const { return root + QStringLiteral("/etc/pakmart/keys/shop.gpg"); }
    QString storeFile() const
    {
        return root + QStringLiteral("/etc/pakmart/stores.d/shop.sources");
    }
    void settings(const QByteArray& lines) const
    {
        write(root + QStringLiteral("/etc/pakmart/settings"), "[Stores]\n" + lines);
    }
    // The sources list that the agent would write.
    void select(const QByteArray& lines) const
    {
        write(tree() + QStringLiteral("/sources.list"), lines);
        QDir().mkpath(tree() + QStringLiteral("/lists/partial"));
    }
    static QString tree()
    {
        return QString::fromLocal8Bit(qgetenv("TEST_DIR")) + QStringLiteral("/tree");
    }

    void add(const Package& package)
    {
        archive->add(package);
        server->answer(pathOf(package),
                       ScriptedServer::http(archive->contents(archive->fileOf(package))));
    }
    QByteArray pathOf(const Package& package) const
    {
        return "/r/./" + QFileInfo(archive->fileOf(package)).fileName().toLatin1();
    }

    QByteArray release(const Release& what) const
    {
        const QByteArray index = archive->index();
        const QDateTime made = QDateTime::currentDateTimeUtc().addSecs(-what.age);
        const bool md5 = what.sums == "MD5Sum";
        return "Origin: Shop\nLabel: Shop\nSuite: " + what.suite + '\n'
            + (what.hasDate ? "Date: " + date(made) + '\n' : QByteArray())
            + (what.hasValidUntil ? "Valid-Until: " + date(made.addSecs(what.valid)) + '\n'
                                  : QByteArray())
            + what.sums + ":\n "
            + QCryptographicHash::hash(index,
                                       md5 ? QCryptographicHash::Md5 : QCryptographicHash::Sha256)
                  .toHex()
            + ' ' + QByteArray::number(index.size()) + " Packages\n";
    }
    // Serves the store as it is now, with an honest signature.
    void offer() { offer(Release()); }
    void offer(const Release& what)
    {
        serveSigned(key.clearSigned(release(what)));
        serveIndex(archive->index());
    }
    void serveSigned(const QByteArray& inRelease)
    {
        server->answer("/r/./InRelease", ScriptedServer::http(inRelease));
    }
    void serveIndex(const QByteArray& index)
    {
        server->answer("/r/./Packages", ScriptedServer::http(index));
    }
    // Answers with bytes without end, or until the client has had enough.
    void serveEndless(const QByteArray& path)
    {
        server->answer(path, [this](QTcpSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
            const auto pour = [this, socket] {
                const QByteArray block(64 * 1024, 'x');
                while (sent < 64 * 1024 * 1024 && socket->bytesToWrite() < 256 * 1024)
                    sent += socket->write(block);
            };
            QObject::connect(socket, &QTcpSocket::bytesWritten, socket, pour);
            pour();
        });
    }
    // Answers with a byte now and then.
    void serveDripping(const QByteArray& path, int length)
    {
        server->answer(path, [length](QTcpSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: "
                          + QByteArray::number(length) + "\r\n\r\n");
            auto* clock = new QTimer(socket);
            QObject::connect(clock, &QTimer::timeout, socket, [socket] { socket->write("x"); });
            clock->start(500);
        });
    }
    void remove(const QByteArray& path)
    {
        server->answer(path, ScriptedServer::http("gone", "404 Not Found"));
    }

    Result update(const QStringList& more = {}) const
    {
        return run(QStringList{ QStringLiteral("update") } + options() + more);
    }
    Result install(const QString& name, const QStringList& more = {}) const
    {
        return run(QStringList{ QStringLiteral("-yp"), QStringLiteral("install") } + options()
                   + more + QStringList{ name });
    }
    Result list(const QString& name) const
    {
        return run(QStringList{ QStringLiteral("-yp"), QStringLiteral("--print-uris"),
                                QStringLiteral("install") }
                   + options() + QStringList{ name });
    }
    static Result run(const QStringList& words)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(VOS_APT_GET), words);
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 120000))
            qFatal("the front end does not end");
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                 process.readAll() };
    }
    static QStringList options()
    {
        return { QStringLiteral("-o"),
                 QStringLiteral("Dir::Etc::Sourcelist=") + tree() + QStringLiteral("/sources.list"),
                 QStringLiteral("-o"),
                 QStringLiteral("Dir::State::lists=") + tree() + QStringLiteral("/lists/") };
    }

    // The signed file that the machine believes; empty if it believes none.
    QByteArray trusted() const
    {
        const QDir lists(stores() + QStringLiteral("/lists"));
        const QStringList files = lists.entryList({ QStringLiteral("*InRelease") }, QDir::Files);
        return files.size() == 1 ? contents(lists.filePath(files.first()))
                                 : QByteArray::number(files.size()).replace('0', "");
    }
    QString stores() const { return root + QStringLiteral("/var/lib/pakmart/stores"); }
    // The last refresh was long ago.
    void muchLater() const
    {
        QDir(stores() + QStringLiteral("/lists.checked")).removeRecursively();
    }
    // The bytes that the front end has left on the disk.
    qint64 used() const
    {
        qint64 size = 0;
        QDirIterator files(stores(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            files.next();
            size += files.fileInfo().size();
        }
        return size;
    }
    bool isInstalled(const QByteArray& name, const QByteArray& version = "1.0") const
    {
        const QByteArray status = contents(root + QStringLiteral("/var/lib/dpkg/status"));
        const int at = status.indexOf("Package: " + name + "\nStatus: install ok installed\n");
        return at >= 0 && status.mid(at).split('\n').contains("Version: " + version);
    }
    // Whether dpkg has never heard of it.
    bool isUnknown(const QByteArray& name) const
    {
        return !contents(root + QStringLiteral("/var/lib/dpkg/status"))
                    .contains("Package: " + name + '\n');
    }

    static QByteArray contents(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void write(const QString& name, const QByteArray& text)
    {
        QDir().mkpath(QFileInfo(name).path());
        QFile file(name);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(name));
        file.setPermissions(QFile::Permissions(0x6044));
    }

private:
    static QByteArray date(const QDateTime& when)
    {
        return QLocale::c().toString(when, QStringLiteral("ddd, dd MMM yyyy HH:mm:ss")).toLatin1()
            + " UTC";
    }
};
