// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How the window is started: once for each user, whoever starts it.

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QProcess>
#include <QtTest>

namespace
{

const QString name = QStringLiteral("org.vantrelos.pakmart-store");

struct Result {
    int status = -1;
    QByteArray out, err;
};

Result Run(const QStringList& words)
{
    QProcess process;
    process.start(QStringLiteral(PAKMART_STORE), words);
    const bool hasEnded = process.waitForFinished(60000);
    return { hasEnded && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
             process.readAllStandardOutput(), process.readAllStandardError() };
}

bool IsThere()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(name);
}

// The error of a call as a desktop makes it; empty for none.
QString Call(const char* method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        name, QStringLiteral("/org/vantrelos/pakmart_store"),
        QStringLiteral("org.freedesktop.Application"), QLatin1String(method));
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, 60000).errorMessage();
}

} // namespace

class WindowStartTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QML2_IMPORT_PATH", QML_MODULES);
        qputenv("QML_IMPORT_PATH", QML_MODULES);
    }

    void helpNeedsNoDisplay_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QByteArray>("begin");
        QTest::newRow("help") << QStringLiteral("--help") << QByteArray("Usage: ");
        QTest::newRow("version") << QStringLiteral("--version") << QByteArray("pakmart-store ");
    }
    void helpNeedsNoDisplay()
    {
        QFETCH(QString, option);
        QFETCH(QByteArray, begin);
        qputenv("QT_QPA_PLATFORM", "xcb");
        const QByteArray display = qgetenv("DISPLAY");
        qunsetenv("DISPLAY");
        const Result result = Run({ option });
        qputenv("QT_QPA_PLATFORM", "offscreen");
        if (!display.isEmpty())
            qputenv("DISPLAY", display);
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.startsWith(begin), result.out);
        QCOMPARE(result.err, QByteArray());
    }
    void aPageThatIsNotThereIsRefused_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::newRow("page") << QStringList{ "--page", "nowhere" };
        QTest::newRow("link") << QStringList{ "pakmart:product/0" };
        QTest::newRow("another scheme") << QStringList{ "file:///etc/passwd" };
    }
    void aPageThatIsNotThereIsRefused()
    {
        QFETCH(QStringList, words);
        const Result result = Run(words);
        QCOMPARE(result.status, 2);
        QVERIFY2(result.err.contains("There is no page \"" + words.last().toUtf8() + "\"."),
                 result.err);
        QVERIFY(!IsThere());
    }

    void aUserHasOneWindow()
    {
        QProcess first;
        first.start(QStringLiteral(PAKMART_STORE),
                    { QStringLiteral("--page"), QStringLiteral("about") });
        QTRY_VERIFY_WITH_TIMEOUT(IsThere(), 60000);
        for (const QStringList& words : { QStringList(),
                                          { QStringLiteral("pakmart:installed") },
                                          { QStringLiteral("--page"), QStringLiteral("updates") } })
            QCOMPARE(Run(words).status, 0);
        QCOMPARE(Call("Activate", { QVariantMap() }), QString());
        QCOMPARE(Call("Open", { QStringList{ "pakmart:history" }, QVariantMap() }), QString());
        QCOMPARE(Call("Open", { QStringList{ "pakmart:no/where" }, QVariantMap() }), QString());
        QCOMPARE(
            Call("ActivateAction", { QStringLiteral("updates"), QVariantList(), QVariantMap() }),
            QString());
        QCOMPARE(first.state(), QProcess::Running);
        first.terminate();
        QVERIFY(first.waitForFinished(60000));
        const QByteArray told = first.readAllStandardError();
        QVERIFY2(!told.contains("qrc:"), told);
        QTRY_VERIFY(!IsThere());
    }
};

QTEST_GUILESS_MAIN(WindowStartTest)
#include "tst_window_start.moc"
