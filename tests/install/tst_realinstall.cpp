// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whole installs with the real store server, package front end, apt-get and dpkg, and
// failures on the way.

#include "install/capiinstallpackages.h"
#include "tests/apps/demomachine.h"
#include "tests/common/observe.h"
#include "tests/common/pulse.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>
#include <fcntl.h>
#include <unistd.h>

// Passes everything on to the server, except what the test holds back.
class Proxy : public QTcpServer
{
public:
    QByteArray hold; // requests with this text get no answer
    QByteArray refuse; // requests with this text are answered as by a busy server
    bool held = false;

    Proxy()
    {
        if (!listen(QHostAddress::LocalHost))
            qFatal("cannot listen on loopback");
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* client = nextPendingConnection())
                connect(client, &QTcpSocket::readyRead, this, [this, client] { pass(client); });
        });
    }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(serverPort()); }
    void use(const QString& store)
    {
        m_server = std::make_unique<ServerProcess>(
            store, QStringList{ QStringLiteral("--public-url"), url() });
        if (!m_server->isRunning())
            qFatal("the server does not run");
    }

private:
    void pass(QTcpSocket* client)
    {
        const QByteArray request = client->readAll();
        const QByteArray target = request.left(request.indexOf('\n'));
        if (!hold.isEmpty() && target.contains(hold)) {
            held = true;
            return;
        }
        if (!refuse.isEmpty() && target.contains(refuse)) {
            client->write("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n"
                          "Connection: close\r\n\r\n");
            client->disconnectFromHost();
            return;
        }
        auto* upstream = new QTcpSocket(client);
        upstream->connectToHost(QStringLiteral("127.0.0.1"), m_server->port());
        connect(upstream, &QTcpSocket::readyRead, client,
                [=] { client->write(upstream->readAll()); });
        connect(upstream, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
        upstream->write(request);
    }

    std::unique_ptr<ServerProcess> m_server;
};

class RealInstallTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    Proxy m_proxy;
    QPointer<CAPIInstallPackages> m_install;
    QStringList m_events;
    QString m_details;

    QStringList install()
    {
        std::vector<long> serials{ 1001 };
        m_install = new CAPIInstallPackages(nullptr, serials, true);
        m_events.clear();
        connect(m_install, &CAPI::signalFailure, this,
                [this](AgentError::Code code, const QString&, const QString& details) {
                    m_events << AgentError::Name(code);
                    m_details = details;
                });
        connect(m_install, &CAPI::APIComplete, this,
                [this](bool ok) { m_events << QString::number(ok); });
        connect(
            m_install, &CAPIInstallPackages::signalWaitingFor, this,
            [this](const std::string& text) { m_events << QString::fromStdString(text).left(28); });
        m_install->Execute();
        return m_events;
    }
    bool isInstalled() const
    {
        return m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed");
    }
    // Cancels the install as soon as `when` is true; `time` is measured from then on.
    void cancelWhen(const std::function<bool()>& when, QElapsedTimer& time)
    {
        m_events.clear(); // of the previous install
        auto* look = new QTimer(this);
        connect(look, &QTimer::timeout, this, [this, look, when, &time] {
            if (!when())
                return;
            look->deleteLater();
            look->stop();
            QTimer::singleShot(500, this, [this, &time] {
                time.start();
                QVERIFY(m_install && m_install->Cancel());
            });
        });
        look->start(10);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_machine.setUp());
        m_proxy.use(m_machine.store());
        QVERIFY(m_machine.useServer(m_proxy.url()));
    }
    void init()
    {
        m_proxy.hold.clear();
        m_proxy.refuse.clear();
        m_proxy.held = false;
    }

    void sourcesThatFailedToRefreshHeal()
    {
        m_proxy.refuse = "Packages";
        QCOMPARE(install(), (QStringList{ QStringLiteral("refresh-failed"), QStringLiteral("0") }));
        QVERIFY(!isInstalled());
        m_proxy.refuse.clear();
        QCOMPARE(install(), QStringList(QStringLiteral("1")));
        QVERIFY(isInstalled());
    }

    void installedAlreadyIsSaid()
    {
        QCOMPARE(install(), (QStringList{ QStringLiteral("nothing-to-do"), QStringLiteral("0") }));
        QVERIFY2(m_details.contains(QLatin1String("already the newest version")),
                 qPrintable(m_details));
        CRunAptGet().Run('R', "starlander libpixel", false, false);
        QVERIFY(!isInstalled());
    }

    void stalledDownloadKeepsTheWindowAliveAndIsCancelled()
    {
        m_proxy.hold = "GET /pool/main/lib";
        QElapsedTimer time;
        cancelWhen([this] { return m_proxy.held; }, time);
        const Pulse pulse;
        QCOMPARE(install(), (QStringList{ QStringLiteral("cancelled"), QStringLiteral("0") }));
        qInfo("cancelled in %lld ms, longest gap %lld ms", time.elapsed(), pulse.longestGap());
        QVERIFY(time.elapsed() < 3000);
        QVERIFY(pulse.longestGap() < 500);
        QVERIFY(!isInstalled());
    }

    void waitForThePackageLockIsToldAndCancelled()
    {
        const QByteArray name
            = (m_machine.root + QStringLiteral("/var/lib/dpkg/lock-frontend")).toLocal8Bit();
        const int fd = open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        QCOMPARE(fcntl(fd, F_SETLK, &lock), 0);
        const auto unlock = qScopeGuard([fd] { close(fd); });
        QElapsedTimer time;
        cancelWhen([this] { return !m_events.isEmpty(); }, time);
        const Pulse pulse;
        QCOMPARE(install(),
                 (QStringList{ QStringLiteral("Waiting for the package lock"),
                               QStringLiteral("cancelled"), QStringLiteral("0") }));
        qInfo("cancelled in %lld ms, longest gap %lld ms", time.elapsed(), pulse.longestGap());
        QVERIFY(time.elapsed() < 3000);
    }

    void stalledRefreshIsCancelledAndMadeUpFor()
    {
        QDir(QDir::homePath() + QStringLiteral("/.vos-apt-get")).removeRecursively();
        m_proxy.hold = "Packages";
        QElapsedTimer time;
        cancelWhen([this] { return m_proxy.held; }, time);
        QCOMPARE(install(), (QStringList{ QStringLiteral("cancelled"), QStringLiteral("0") }));
        qInfo("cancelled in %lld ms", time.elapsed());
        QVERIFY(time.elapsed() < 3000);
    }

    void hashMismatchIsSaid()
    {
        // The archive on the server is now a different one.
        const QDir pool(m_machine.store() + QStringLiteral("/pool/main"));
        const QString deb
            = pool.filePath(pool.entryList({ QStringLiteral("starlander_*.deb") }).value(0));
        QFile file(deb);
        QVERIFY2(file.open(QIODevice::ReadWrite), qPrintable(deb));
        const QByteArray sound = file.readAll();
        QByteArray other = sound;
        other[other.size() / 2] = char(other[other.size() / 2] ^ 1);
        file.seek(0);
        file.write(other);
        file.flush();
        QCOMPARE(install(), (QStringList{ QStringLiteral("hash-mismatch"), QStringLiteral("0") }));
        file.seek(0);
        file.write(sound);
        file.close();
    }

    void afterAllThatItInstalls()
    {
        QCOMPARE(install(), QStringList(QStringLiteral("1")));
        QVERIFY(isInstalled());
        QCOMPARE(m_machine.leftInTree(), QStringList());
    }
};

QTEST_MAIN(RealInstallTest)
#include "tst_realinstall.moc"
