// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store whose server fails while a package is fetched: what the person reads, word for word,
// what is installed (nothing), and that the same command works as soon as the server does.

#include "stalledpool.h"
#include "story.h"

#include <csignal>

namespace
{

// Passes everything on but archives, to which it gives an answer of its own.
class FaultyPool : public StalledPool
{
public:
    using StalledPool::StalledPool;

    // The bytes that are sent instead of an archive, and whether the connection ends then.
    // Without bytes the archives are passed on.
    void answer(const QByteArray& bytes, bool ends)
    {
        m_bytes = bytes;
        m_ends = ends;
    }

protected:
    bool take(QTcpSocket* client, const QByteArray& request) override
    {
        if (m_bytes.isEmpty() || !StalledPool::take(client, request))
            return false;
        client->write(m_bytes);
        if (m_ends)
            client->disconnectFromHost();
        return true;
    }

private:
    QByteArray m_bytes;
    bool m_ends = true;
};

QByteArray Reply(const char* status, const QByteArray& body, int length)
{
    return QByteArray("HTTP/1.1 ") + status + "\r\nContent-Length: " + QByteArray::number(length)
        + "\r\n\r\n" + body;
}

} // namespace

class FaultyStoreTest : public QObject, Story
{
    Q_OBJECT

private:
    std::unique_ptr<FaultyPool> m_pool;
    QByteArray m_archive;

    // The pool's server needs this process's event loop.
    static Result run(const char* words)
    {
        QProcess process;
        QEventLoop loop;
        connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop,
                &QEventLoop::quit);
        start(process, words);
        loop.exec();
        return { process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError()) };
    }

private slots:
    void initTestCase()
    {
        begin({ { "app", "1.0", "", 200000 } });
        const QDir pool(m_store + QStringLiteral("/pool/main"));
        QFile file(pool.filePath(pool.entryList({ QStringLiteral("*.deb") }).value(0)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        m_archive = file.readAll();
        m_pool = std::make_unique<FaultyPool>(m_store);
        serverIs(m_pool->url());
        QCOMPARE(run("update").status, 0);
        QCOMPARE(run("update-sources").status, 0);
    }
    void cleanupTestCase()
    {
        QCOMPARE(m_pool->end(SIGTERM), 0);
        end();
    }

    void aFailureIsSaidAndNothingIsInstalled_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("ends");
        QTest::addColumn<QString>("sentence");
        const int size = int(m_archive.size());
        const QByteArray half = m_archive.left(size / 2);
        const QByteArray other = QByteArray(m_archive).replace(size / 2, 4, "????");
        const QString notDownloaded = QStringLiteral("A package could not be downloaded. ");
        const QString notFetched
            = QStringLiteral("Failed to fetch http://STORE/pool/main/./app_1.0_all.deb  ");
        QTest::newRow("busy") << Reply("503 Service Unavailable", "busy", 4) << true
                              << notDownloaded + notFetched
                + "503  Service Unavailable [IP: STORE].";
        QTest::newRow("cut off") << Reply("200 OK", half, size) << true
                                 << notDownloaded + notFetched
                + "Error reading from server. Remote end closed connection [IP: STORE].";
        // Two watch it, and either may be the first.
        QTest::newRow("stalled") << Reply("200 OK", half, size) << false
                                 << notDownloaded
                + "The download has stalled: the store sends almost nothing.|" + notDownloaded
                + notFetched + "Connection timed out [IP: STORE].";
        QTest::newRow("other bytes")
            << Reply("200 OK", other, size) << true
            << "A downloaded package is damaged, or is not the one that was expected. " + notFetched
                + "Hash Sum mismatch.";
    }
    void aFailureIsSaidAndNothingIsInstalled()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, ends);
        QFETCH(QString, sentence);
        forgetArchives();
        m_pool->answer(reply, ends);
        const QByteArray before = StatusText();
        const Result result = run("install --yes app");
        QStringList said;
        for (const QString& one : sentence.split(QLatin1Char('|')))
            said << QStringLiteral("pakmart: %1 app is not installed.\npakmart: the log is in %2\n")
                        .arg(one,
                             qEnvironmentVariable("XDG_CACHE_HOME")
                                 + QStringLiteral("/pakmart/last.log"));
        QVERIFY2(said.contains(seen(result.err)), qPrintable(result.err));
        static const QRegularExpression shown(QStringLiteral(
            "^To be installed:\n  app  1\\.0\nTo download: [0-9.]+ KiB\nDownloading packages\n"
            "(Downloading app\n)?$"));
        QVERIFY2(shown.match(seen(result.out)).hasMatch(), qPrintable(result.out));
        QCOMPARE(result.status, 1);
        QCOMPARE(StatusText(), before);
        m_pool->answer(QByteArray(), true);
        QCOMPARE(run("install --yes app").status, 0);
        QCOMPARE(run("remove --yes app").status, 0);
    }
};

QTEST_GUILESS_MAIN(FaultyStoreTest)
#include "tst_faultystore.moc"
