// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The demo store with the real apt-get and dpkg in a private root: by its package list,
// and by the index that an agent places itself.

#include "server/serverprocess.h"
#include "util/urlcodec.h"

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class StoreAptTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ServerProcess> m_server;
    QString m_root;
    QByteArray m_output; // of the last run

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }

    bool aptGet(const QByteArray& arguments)
    {
        const QString file = path("apt.conf");
        const QByteArray dir = m_dir->path().toUtf8();
        const bool written = WriteTextFile(
            file,
            "APT::Architectures { \"" + architecture()
                + "\"; \"i386\"; };\n"
                  "APT::Get::AllowUnauthenticated \"true\";\nAPT::Sandbox::User \"\";\nDir \""
                + dir
                + "/apt\";\n"
                  "Dir::Bin::dpkg \"/usr/bin/dpkg\";\nDir::Bin::methods \"/usr/lib/apt/methods\";\n"
                  "Dir::State::status \""
                + dir
                + "/root/var/lib/dpkg/status\";\n"
                  "DPkg::Options { \"--root="
                + dir + "/root\"; \"--force-not-root\"; \"--log=" + dir + "/dpkg.log\"; };\n");
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("APT_CONFIG"), file);
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setStandardInputFile(QProcess::nullDevice());
        process.start(QStringLiteral("apt-get"),
                      QString::fromLatin1(arguments).split(QLatin1Char(' ')));
        const bool ended = process.waitForFinished(120000);
        m_output = process.readAll();
        return written && ended && process.exitStatus() == QProcess::NormalExit
            && process.exitCode() == 0;
    }
    static QByteArray architecture()
    {
        QProcess process;
        process.start(QStringLiteral("dpkg"), { QStringLiteral("--print-architecture") });
        process.waitForFinished();
        return process.readAll().trimmed();
    }
    QByteArray runInstalled(const char* program) const
    {
        QProcess process;
        process.start(m_root + QLatin1String(program), QStringList());
        process.waitForFinished();
        return process.readAllStandardOutput();
    }
    bool useSource(const QByteArray& line) const
    {
        return WriteTextFile(path("apt/etc/apt/sources.list"), line + '\n');
    }

    // Does what an agent does with a reply: requests the names as apt printed them, and
    // places a source and an index for each address.
    bool placeIndexes(const QByteArray& query)
    {
        QDomDocument document;
        if (!document.setContent(m_server->get("/agent/CAPIGetPackageInfo" + query).body))
            return false;
        const QDomElement info = document.documentElement().firstChildElement();
        QByteArray sources;
        bool written = !info.isNull();
        for (QDomElement e = info.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            const QString url
                = url_decode(e.firstChildElement(QStringLiteral("package_url")).text());
            const QString data
                = url_decode(e.firstChildElement(QStringLiteral("package_data")).text());
            const QString name = url.mid(7).replace(QLatin1Char('/'), QLatin1Char('_'));
            sources += "deb " + url.toUtf8() + " . .\n";
            written = written
                && WriteTextFile(path("apt/var/lib/apt/lists/") + name
                                     + QLatin1String("_dists_._._binary-i386_Packages"),
                                 data.toUtf8() + QByteArray("\0\n", 2));
        }
        return written && useSource(sources);
    }

    // The query that an agent builds from apt's list of addresses.
    QByteArray queryOfLastRun() const
    {
        QByteArray query;
        for (const QByteArray& line : m_output.split('\n')) {
            const QByteArray address
                = line.startsWith('\'') ? line.mid(1, line.indexOf('\'', 1) - 1) : QByteArray();
            if (!address.isEmpty())
                query += (query.isEmpty() ? "?filename[]=" : "&filename[]=")
                    + address.mid(address.lastIndexOf('/') + 1);
        }
        return query;
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_root = path("root");
        for (const char* folder :
             { "apt/etc/apt/preferences.d", "apt/var/lib/apt/lists/partial",
               "apt/var/cache/apt/archives/partial", "apt/var/log/apt", "root/var/lib/dpkg/updates",
               "root/var/lib/dpkg/info", "root/var/lib/dpkg/triggers" })
            QVERIFY(QDir().mkpath(path(folder)));
        QVERIFY(WriteTextFile(path("root/var/lib/dpkg/status"), {}));
        m_server = std::make_unique<ServerProcess>(ServerProcess::makeDemoStore(m_dir->path()));
        QVERIFY(m_server->isRunning());
    }
    void cleanup()
    {
        m_server.reset();
        m_dir.reset();
    }

    void aProductInstallsFromThePackageList()
    {
        QVERIFY(useSource("deb [trusted=yes] " + m_server->url().toUtf8() + "/pool/main ./"));
        QVERIFY2(aptGet("update"), m_output);
        QVERIFY2(aptGet("-y install typingtutor"), m_output);
        QVERIFY(runInstalled("/usr/bin/typingtutor").contains("quick brown fox"));
    }

    void aProductInstallsFromTheAgentsIndex()
    {
        QVERIFY(useSource("deb [trusted=yes] " + m_server->url().toUtf8() + "/pool/main ./"));
        QVERIFY2(aptGet("update"), m_output);
        QVERIFY2(aptGet("-y --print-uris install invoicemaker starlander"), m_output);
        const QByteArray query = queryOfLastRun();
        QVERIFY2(query.contains("invoicemaker_0.5-1_all.deb") && query.count("filename[]=") == 4,
                 query);
        QVERIFY(QDir(path("apt/var/lib/apt/lists")).removeRecursively());
        QVERIFY(QDir().mkpath(path("apt/var/lib/apt/lists/partial")));
        QVERIFY2(placeIndexes(query), query);
        QVERIFY2(aptGet("-y install invoicemaker starlander"), m_output);
        QVERIFY(runInstalled("/usr/bin/invoicemaker").contains("198.38"));
        QVERIFY(runInstalled("/usr/games/starlander").contains("The ship has landed."));
    }

    void aDamagedArchiveIsNoticed()
    {
        QVERIFY(placeIndexes("?filename[]=crackedmirror_1.0-1_all.deb"));
        QVERIFY(!aptGet("-y install crackedmirror"));
        QVERIFY2(m_output.contains("Hash Sum mismatch"), m_output);
        QVERIFY(!QFile::exists(m_root + QLatin1String("/usr/bin/crackedmirror")));
    }

    void aMissingDependencyIsNoticed()
    {
        QVERIFY(useSource("deb [trusted=yes] " + m_server->url().toUtf8() + "/pool/main ./"));
        QVERIFY2(aptGet("update"), m_output);
        QVERIFY(!aptGet("-y --print-uris install warpdrive"));
        QVERIFY2(m_output.contains("libwarpcore"), m_output);
    }

    // apt continues an interrupted download where it stopped.
    void aDownloadIsResumed()
    {
        QVERIFY(placeIndexes("?filename[]=dicecards_2.1-1_all.deb"));
        QFile whole(path("store/pool/main/dicecards_2.1-1_all.deb"));
        QVERIFY(whole.open(QIODevice::ReadOnly));
        const QString partial = path("apt/var/cache/apt/archives/partial/dicecards_2.1-1_all.deb");
        QVERIFY(WriteTextFile(partial, whole.read(8000)));
        QFile part(partial);
        QVERIFY(part.open(QIODevice::ReadWrite));
        const QDateTime time = QFileInfo(whole).lastModified();
        QVERIFY(part.setFileTime(time, QFileDevice::FileModificationTime));
        part.close();
        QVERIFY2(aptGet("-y install dicecards"), m_output);
        QVERIFY2(m_output.contains("Need to get 12.7 kB/20.7 kB")
                     || m_output.contains("Fetched 12.7 kB"),
                 m_output);
        QVERIFY(runInstalled("/usr/games/dice").startsWith("Dice: "));
    }
};

QTEST_GUILESS_MAIN(StoreAptTest)
#include "tst_storeapt.moc"
