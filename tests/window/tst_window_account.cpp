// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The page of the account's products: fetched when the user wants that, with words for each state.

#include "tests/common/statusfile.h"
#include "tests/host/storemachine.h"
#include "tests/window/openwindow.h"

#include <Pakmart/RefreshCatalogJob>
#include <QSignalSpy>

class WindowAccountTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;

private slots:
    void initTestCase() { qputenv("QT_QUICK_BACKEND", "software"); }
    void init()
    {
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        auto* const job = new Pakmart::RefreshCatalogJob;
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        QVERIFY(ends.wait(120000));
    }

    void theProductsOfTheAccountLeadToTheirPages()
    {
        WriteStatusFile("Package: dicecards\nStatus: install ok installed\nVersion: 2.1-1\n"
                        "Architecture: all\nMaintainer: m\nDescription: d\n\n");
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("account")));
        QTRY_VERIFY(store.texts(QStringLiteral("accountText"))
                        .value(0)
                        .startsWith("The store keeps a list"));
        QVERIFY(store.click(QStringLiteral("sync")));
        QTRY_COMPARE_WITH_TIMEOUT(store.texts(QStringLiteral("accountText")),
                                  QStringList{ "1 product of the account is installed here." },
                                  60000);
        store.picture(QStringLiteral("account"));
        // Also when the page is shown again.
        QVERIFY(store.click(QStringLiteral("to-about")));
        QVERIFY(store.click(QStringLiteral("to-account")));
        QVERIFY(store.click(QStringLiteral("name"), QStringLiteral("account-dicecards")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("productPage"));
        QTRY_COMPARE(store.texts(QStringLiteral("heading"), store.currentPage()),
                     QStringList{ "Dice & Cards" });
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void eachStateHasItsWords_data()
    {
        QTest::addColumn<QByteArray>("reply"); // empty: the store is away
        QTest::addColumn<QString>("begin");
        QTest::addColumn<bool>("isFailure");
        QTest::newRow("no account") << StoreMachine::reply("<profile></profile>")
                                    << "The store knows of no product of an account" << false;
        QTest::newRow("offline") << QByteArray() << "The store cannot be reached." << false;
        QTest::newRow("refused") << StoreMachine::reply("", "resultcode=\"ERR\"") << "" << true;
    }
    void eachStateHasItsWords()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, begin);
        QFETCH(bool, isFailure);
        QVERIFY(m_machine->useScripted({ "CAPISyncMyMachine" }));
        m_machine->scripted.answer("/CAPISyncMyMachine", ScriptedServer::http(reply));
        if (reply.isEmpty())
            QVERIFY(m_machine->use("http://127.0.0.1:1/getagentapi.php"));
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("account")));
        QVERIFY(store.click(QStringLiteral("sync")));
        const QString word = QStringLiteral("accountText");
        QTRY_VERIFY_WITH_TIMEOUT(
            isFailure ? store.item(QStringLiteral("problem"), store.currentPage()) != nullptr
                      : store.texts(word).value(0).startsWith(begin),
            60000);
        QCOMPARE(store.texts(word).isEmpty(), isFailure);
        QCOMPARE(store.item(QStringLiteral("problem"), store.currentPage()) != nullptr, isFailure);
        QTRY_VERIFY(store.item(QStringLiteral("sync")));
        store.picture(QStringLiteral("account-") + QString::fromLatin1(QTest::currentDataTag()));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aQuestionThatTakesLongIsEnded()
    {
        QVERIFY(m_machine->useScripted({}));
        m_machine->stall("/getagentapi.php");
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("account")));
        QVERIFY(store.click(QStringLiteral("sync")));
        QTRY_COMPARE(store.texts(QStringLiteral("accountText")), QStringList{ "Asking the store" });
        QVERIFY(store.click(QStringLiteral("endSync")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("sync")), 60000);
        QVERIFY(!store.item(QStringLiteral("problem")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
};

QTEST_MAIN(WindowAccountTest)
#include "tst_window_account.moc"
