// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Changes through the window, with clicks and keys, by the real apt-get and dpkg.

#include "tests/common/statusfile.h"
#include "tests/host/storemachine.h"
#include "tests/window/openwindow.h"

#include <Pakmart/RefreshCatalogJob>
#include <QClipboard>
#include <QTcpServer>

class WindowChangesTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;

    static QString fetchCatalog()
    {
        auto* const job = new Pakmart::RefreshCatalogJob;
        QString error = QStringLiteral("no end");
        QEventLoop loop;
        QObject::connect(job, &KJob::result, &loop, [&](KJob* ended) {
            error = ended->errorString();
            loop.quit();
        });
        job->start();
        loop.exec();
        return error;
    }
    // The address of a server that does not run.
    static QByteArray nobody()
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        return "http://127.0.0.1:" + QByteArray::number(server.serverPort()) + "/getagentapi.php";
    }
    static void install(OpenWindow& store, const QString& row)
    {
        QVERIFY(store.click(QStringLiteral("install"), row));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("remove"), store.item(row)), 120000);
    }

private slots:
    void init()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        QCOMPARE(fetchCatalog(), QString());
    }

    void aProductIsFoundInstalledAndRemoved()
    {
        OpenWindow store;
        QVERIFY(store.open());
        store.key(Qt::Key_F, Qt::ControlModifier);
        store.type("lander");
        const QString row = QStringLiteral("product-starlander");
        QVERIFY(store.click(QStringLiteral("install"), row));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QTRY_COMPARE(store.texts(QStringLiteral("planText")),
                     (QStringList{ "libpixel 1.2-3 is installed (needed by starlander)",
                                   "starlander 1.0-1 is installed (requested)" }));
        QCOMPARE(StatusWords("starlander"), QByteArray("none"));
        store.picture(QStringLiteral("preview"));
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("productsPage"));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("remove"), store.item(row)), 120000);
        QCOMPARE(StatusWords("starlander"), QByteArray("install ok installed"));
        QVERIFY(!store.item(QStringLiteral("problem")));

        QVERIFY(store.click(QStringLiteral("remove"), row));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QTRY_COMPARE(store.texts(QStringLiteral("previewTitle")),
                     QStringList{ "Remove Star Lander?" });
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("install"), store.item(row)), 120000);
        QVERIFY(StatusWords("starlander") != "install ok installed");
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void whatIsDeclinedIsNotDone_data()
    {
        QTest::addColumn<bool>("byKey");
        QTest::newRow("by its button") << false;
        QTest::newRow("by the Escape key") << true;
    }
    void whatIsDeclinedIsNotDone()
    {
        QFETCH(bool, byKey);
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("product/1001")));
        const QByteArray before = StatusText();
        QVERIFY(store.click(QStringLiteral("install")));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        if (byKey)
            store.key(Qt::Key_Escape);
        else
            QVERIFY(store.click(QStringLiteral("decline")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("productPage"));
        QTRY_VERIFY(store.item(QStringLiteral("install"), store.currentPage()));
        QVERIFY(!store.item(QStringLiteral("problem")));
        QCOMPARE(StatusText(), before);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void whatIsNotAskedForGoesOnlyWithAYesOfItsOwn()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/lander")));
        install(store, QStringLiteral("product-starlander"));
        WriteStatusFile(StatusText()
                        + "\nPackage: friend\nStatus: install ok installed\nVersion: 1\n"
                          "Architecture: all\nMaintainer: m\nDepends: starlander\n"
                          "Description: d\n\n");
        const QByteArray before = StatusText();
        QVERIFY(store.click(QStringLiteral("remove"), QStringLiteral("product-starlander")));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QTRY_COMPARE(store.texts(QStringLiteral("consent")), QStringList{ "Also remove: friend" });
        store.picture(QStringLiteral("preview-removal"));
        QQuickItem* const agree = store.item(QStringLiteral("agree"));
        QVERIFY(agree && !agree->isEnabled());
        QCOMPARE(StatusText(), before);
        QVERIFY(store.click(QStringLiteral("consent")));
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(
            store.item(QStringLiteral("install"), store.item(QStringLiteral("product-starlander"))),
            120000);
        QVERIFY(StatusWords("friend") != "install ok installed");
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void whatConflictsGoesOnlyWithAYesOfItsOwn()
    {
        WriteStatusFile("Package: rival\nStatus: install ok installed\nVersion: 1\n"
                        "Architecture: all\nMaintainer: m\nConflicts: starlander\n"
                        "Description: d\n\n");
        QVERIFY(WriteTextFile(m_machine->root + QStringLiteral("/var/lib/dpkg/info/rival.list"),
                              "/.\n"));
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/lander")));
        const QString row = QStringLiteral("product-starlander");
        QVERIFY(store.click(QStringLiteral("install"), row));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QTRY_COMPARE(store.texts(QStringLiteral("consent")), QStringList{ "Also remove: rival" });
        QVERIFY(!store.item(QStringLiteral("agree"))->isEnabled());
        QVERIFY(store.click(QStringLiteral("consent")));
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("remove"), store.item(row)), 120000);
        QCOMPARE(StatusWords("starlander"), QByteArray("install ok installed"));
        QVERIFY(StatusWords("rival") != "install ok installed");
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aStoreThatGoesInTheMiddleIsTold()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/lander")));
        QVERIFY(store.click(QStringLiteral("install"), QStringLiteral("product-starlander")));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QTRY_VERIFY(!store.texts(QStringLiteral("planText")).isEmpty());
        QVERIFY(m_machine->endServer());
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("problem")), 120000);
        QVERIFY(!store.texts(QStringLiteral("problemText")).value(0).isEmpty());
        QCOMPARE(StatusWords("starlander"), QByteArray("none"));
        QVERIFY(store.item(QStringLiteral("retry")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // The damaged archive of the demo store.
    void aFailureIsShownWhereItHappened()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/mirror")));
        QVERIFY(store.click(QStringLiteral("install"), QStringLiteral("product-crackedmirror")));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("problem")), 120000);
        const QString sentence = store.texts(QStringLiteral("problemText")).value(0);
        QVERIFY(!sentence.isEmpty());
        store.picture(QStringLiteral("problem"));
        QVERIFY(store.click(QStringLiteral("details")));
        QTRY_VERIFY(store.item(QStringLiteral("problemDetails")));
        QVERIFY(store.click(QStringLiteral("copy")));
        QTRY_VERIFY(QGuiApplication::clipboard()->text().startsWith(sentence + '\n'));
        QVERIFY(store.click(QStringLiteral("retry")));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QVERIFY(store.click(QStringLiteral("decline")));
        QTRY_VERIFY(store.item(QStringLiteral("install"), store.currentPage()));
        QVERIFY(!store.item(QStringLiteral("problem")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // What an interrupted dpkg has left.
    void aBrokenPackageIsRepaired()
    {
        const QString row = QStringLiteral("product-starlander");
        {
            OpenWindow store;
            QVERIFY(store.open(QStringLiteral("search/lander")));
            install(store, row);
        }
        SetStatusWords("starlander", "install ok half-configured");
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/lander")));
        QTRY_VERIFY(store.item(QStringLiteral("repair"), store.item(row)));
        QVERIFY(!store.item(QStringLiteral("remove"), store.item(row)));
        store.picture(QStringLiteral("broken"));
        QVERIFY(store.click(QStringLiteral("repair"), row));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 20000);
        QCOMPARE(StatusWords("starlander"), QByteArray("install ok half-configured"));
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("remove"), store.item(row)), 60000);
        QCOMPARE(StatusWords("starlander"), QByteArray("install ok installed"));
        QVERIFY(!store.item(QStringLiteral("problem")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aPreviewThatIsWorkedOutCanBeCancelled()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("product/1001")));
        QVERIFY(m_machine->useScripted({ "CAPIGetPackageInfo", "CAPIGetSourcesList" }));
        m_machine->stall("/CAPIGetPackageInfo");
        m_machine->stall("/CAPIGetSourcesList");
        QVERIFY(store.click(QStringLiteral("install")));
        QTRY_VERIFY(store.item(QStringLiteral("progress")));
        QVERIFY(store.click(QStringLiteral("cancel")));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("install"), store.currentPage()), 60000);
        QVERIFY(!store.item(QStringLiteral("problem")));
        QCOMPARE(StatusWords("starlander"), QByteArray("none"));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void whatIsHereIsRemovedWithoutTheStore()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/lander")));
        const QString row = QStringLiteral("product-starlander");
        install(store, row);
        QVERIFY(m_machine->use(nobody()));
        store.key(Qt::Key_F5);
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("offlineText")), 60000);
        store.store().go(ReadAddress(QStringLiteral("installed")));
        QVERIFY(store.click(QStringLiteral("remove"), row));
        QTRY_COMPARE_WITH_TIMEOUT(store.pageName(), QStringLiteral("preview"), 60000);
        QVERIFY(store.click(QStringLiteral("agree")));
        QTRY_VERIFY_WITH_TIMEOUT(StatusWords("starlander") != "install ok installed", 60000);
        // The list keeps the row that it no longer draws for another product.
        QTRY_COMPARE_WITH_TIMEOUT(store.texts(QStringLiteral("stateText")),
                                  QStringList{ "No product of the store is installed." }, 60000);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    // Whatever their age, the offers are those of this computer until the user asks for others.
    void theStoreIsNotAskedAtTheStart()
    {
        QFile catalog(m_machine->data(".VACatalog.fil"));
        QVERIFY(catalog.open(QIODevice::ReadWrite));
        QVERIFY(catalog.setFileTime(QDateTime::currentDateTime().addDays(-100),
                                    QFileDevice::FileModificationTime));
        catalog.close();
        QVERIFY(m_machine->useScripted({}));
        m_machine->stall("/getagentapi.php");
        OpenWindow store;
        QVERIFY(store.open());
        QTRY_VERIFY(store.item(QStringLiteral("category-Games")));
        QTest::qWait(2000);
        QCOMPARE(m_machine->scripted.asked, QList<QByteArray>());
        store.key(Qt::Key_F5);
        QTRY_COMPARE_WITH_TIMEOUT(m_machine->scripted.asked.value(0),
                                  QByteArray("/getagentapi.php"), 60000);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void theSettingsNameTheStoreAndItsFile()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("settings")));
        QTRY_COMPARE(store.texts(QStringLiteral("storeAddress")),
                     QStringList{ "Address: " + m_machine->url() + "/getagentapi.php" });
        QCOMPARE(store.texts(QStringLiteral("storeAddressFile")),
                 QStringList{ "This address is read from /usr/share/apps/vantrelagent/.vauf." });
        const QStringList kept = store.texts(QStringLiteral("kept"));
        QCOMPARE(kept.size(), 5);
        QCOMPARE(kept.first(),
                 QStringLiteral("Catalog, for all users: /usr/share/apps/vantrelagent"));
        QCOMPARE(kept.value(1), QStringLiteral("Package lists: ") + StoreMachine::tree());
        QVERIFY(QFile::remove(m_machine->settingsFile()));
        QVERIFY(store.click(QStringLiteral("to-about")));
        QVERIFY(store.click(QStringLiteral("to-settings")));
        QTRY_COMPARE(
            store.texts(QStringLiteral("storeAddressFile")),
            QStringList{ "This address is built in: no settings file names another one." });
        QVERIFY(
            store.texts(QStringLiteral("storeAddress")).value(0).startsWith("Address: http://"));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aCheckSaysWhatCameOfIt_data()
    {
        QTest::addColumn<QByteArray>("reply"); // of the directory; the real one's if empty
        QTest::addColumn<bool>("isThere");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<bool>("isFailure");
        QTest::newRow("nothing is new")
            << QByteArray() << true << QStringLiteral("The offers have not changed.") << false;
        QTest::newRow("no store") << QByteArray() << false
                                  << QStringLiteral("The store could not be reached.") << false;
        QTest::newRow("nonsense") << QByteArray("no XML") << true << QString() << true;
    }
    void aCheckSaysWhatCameOfIt()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, isThere);
        QFETCH(QString, outcome);
        QFETCH(bool, isFailure);
        if (!isThere)
            QVERIFY(m_machine->use(nobody()));
        if (!reply.isEmpty()) {
            QVERIFY(m_machine->useScripted({}));
            m_machine->scripted.answer("/getagentapi.php", ScriptedServer::http(reply));
        }
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("settings")));
        QTRY_VERIFY(
            store.texts(QStringLiteral("outcome")).value(0).startsWith("The offers are of"));
        QVERIFY(store.click(QStringLiteral("checkNow")));
        QTRY_COMPARE_WITH_TIMEOUT(store.texts(QStringLiteral("outcome")).value(0), outcome, 60000);
        QTRY_VERIFY(store.item(QStringLiteral("checkNow")));
        QCOMPARE(store.item(QStringLiteral("problem"), store.currentPage()) != nullptr, isFailure);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
    void usersSwitchOnThatTheyAreToldOfUpdates()
    {
        QFile::remove(Preferences::file());
        {
            OpenWindow store;
            QVERIFY(store.open(QStringLiteral("settings")));
            QTRY_VERIFY(store.item(QStringLiteral("notify")));
            QVERIFY(!store.item(QStringLiteral("notify"))->property("checked").toBool());
            QVERIFY(store.click(QStringLiteral("notify")));
            QTRY_VERIFY(Preferences::notifies());
            QVERIFY(!store.item(QStringLiteral("notifyProblem")));
            QCOMPARE(OpenWindow::warnings(), QStringList());
        }
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("settings")));
        QTRY_VERIFY(store.item(QStringLiteral("notify")));
        QVERIFY(store.item(QStringLiteral("notify"))->property("checked").toBool());
        // A folder in the place of the file, which root cannot write either.
        QVERIFY(QFile::remove(Preferences::file()) && QDir().mkpath(Preferences::file() + "/x"));
        QVERIFY(store.click(QStringLiteral("notify")));
        QVERIFY(store.click(QStringLiteral("notify")));
        QTRY_VERIFY(store.item(QStringLiteral("notifyProblem")));
        QVERIFY(!store.item(QStringLiteral("notify"))->property("checked").toBool());
        QVERIFY(QDir(Preferences::file()).removeRecursively());
        QCOMPARE(OpenWindow::warnings().filter(QStringLiteral("qrc:")), QStringList());
    }
    // Dice & Cards of the store is newer than what is installed here.
    void aCheckLeadsToTheUpdates()
    {
        WriteStatusFile("Package: dicecards\nStatus: install ok installed\nVersion: 0.1\n"
                        "Architecture: all\nMaintainer: m\nDescription: d\n\n");
        QVERIFY(QFile::remove(m_machine->data(".VACatalog.fil")));
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("settings")));
        QTRY_COMPARE(store.texts(QStringLiteral("outcome")),
                     QStringList{ "The offers have not been fetched yet." });
        QVERIFY(!store.item(QStringLiteral("updatable")));
        QVERIFY(store.click(QStringLiteral("checkNow")));
        QTRY_COMPARE_WITH_TIMEOUT(
            store.texts(QStringLiteral("outcome")),
            QStringList{ "The offers have changed: 14 new, 0 changed, 0 gone." }, 60000);
        QTRY_COMPARE(store.texts(QStringLiteral("updatable")),
                     QStringList{ "1 product can be updated." });
        store.picture(QStringLiteral("settings"));
        QVERIFY(store.click(QStringLiteral("showUpdates")));
        QTRY_COMPARE(store.pageName(), QStringLiteral("updatesPage"));
        QTRY_VERIFY(store.item(QStringLiteral("product-dicecards")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
    void aCheckThatTakesLongIsEnded()
    {
        QVERIFY(m_machine->useScripted({}));
        m_machine->stall("/getagentapi.php");
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("settings")));
        QVERIFY(store.click(QStringLiteral("checkNow")));
        QTRY_COMPARE(store.texts(QStringLiteral("outcome")), QStringList{ "Looking for updates" });
        QVERIFY(store.click(QStringLiteral("endCheck")));
        QTRY_VERIFY_WITH_TIMEOUT(
            store.texts(QStringLiteral("outcome")).value(0).startsWith("The offers are of"), 60000);
        QVERIFY(!store.item(QStringLiteral("problem")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void withoutTheStoreTheDateOfTheOffersIsShownUntilItIsBack()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("search/lander")));
        QVERIFY(m_machine->use(nobody()));
        QObject* const offers = store.window()->property("offers").value<QObject*>();
        QVERIFY(offers);
        store.key(Qt::Key_F5);
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("offlineText")), 60000);
        QVERIFY(store.texts(QStringLiteral("offlineText"))
                    .value(0)
                    .startsWith("The store cannot be reached. The offers are of "));
        store.picture(QStringLiteral("offline"));
        QVERIFY(!store.item(QStringLiteral("problem")));
        QVERIFY(offers->setProperty("retryInterval", 500));
        QVERIFY(m_machine->use(m_machine->url().toLatin1() + "/getagentapi.php"));
        QTRY_VERIFY_WITH_TIMEOUT(!store.item(QStringLiteral("offlineText")), 60000);
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
};

QTEST_MAIN(WindowChangesTest)
#include "tst_window_changes.moc"
