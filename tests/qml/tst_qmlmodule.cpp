// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The QML module as pages use it, on a drawn page, with the real package tools: the page of the
// examples shows products, searches, previews an install and carries it out.

#include "tests/common/statusfile.h"
#include "tests/host/repository.h"

#include <QBuffer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QQuickView>
#include <QtTest>
#include <vantrelagent/db/ccatalogfile.h>
#include <vantrelagent/host/error.h>
#include <vantrelagent/store/indexfile.h>

class QmlModuleTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Repository> m_repository;

    static void addProduct(CCatalogFile& file, int serial, const char* name)
    {
        file.AddNew();
        file.setServerSerialNumber(serial);
        file.setName(name);
        file.setPackageName(QByteArray(name).toLower().constData());
        file.setCategory("Games/Arcade");
        file.setVersion("1.0");
        file.setDescription(QStringLiteral("a thing"));
        QVERIFY(file.SaveRecord());
    }
    static void makeCatalog()
    {
        QCOMPARE(InitIndex(), 0);
        {
            CCatalogFile file;
            QVERIFY(file.Create());
            addProduct(file, 1, "App");
            addProduct(file, 2, "Other");
            addProduct(file, 3, "Third");
        }
        UnInitIndex();
    }
    // The texts of what a page shows, from top to bottom.
    static QStringList shown(QQuickItem* page, const QString& name)
    {
        QList<QQuickItem*> items;
        collect(page, name, items);
        std::sort(items.begin(), items.end(), [page](QQuickItem* a, QQuickItem* b) {
            return a->mapToItem(page, QPointF()).y() < b->mapToItem(page, QPointF()).y();
        });
        QStringList texts;
        for (QQuickItem* item : items)
            texts << item->property("text").toString();
        return texts;
    }
    // Items of views belong to these only as items, not as objects.
    static void collect(QQuickItem* item, const QString& name, QList<QQuickItem*>& found)
    {
        if (item->objectName() == name && item->isVisible())
            found << item;
        for (QQuickItem* child : item->childItems())
            collect(child, name, found);
    }
    static QObject* part(QObject* page, const char* name)
    {
        return page->property(name).value<QObject*>();
    }
    static QStringList list(std::initializer_list<const char*> all)
    {
        QStringList texts;
        for (const char* text : all)
            texts << QString::fromLatin1(text);
        return texts;
    }
    // The value of an expression in an object's file of its own.
    static QVariant evaluate(const QByteArray& source)
    {
        QQmlEngine engine;
        engine.addImportPath(QStringLiteral(QML_MODULES));
        QQmlComponent component(&engine);
        component.setData("import QtQml 2.15\nimport org.vantrelos.pakmart 1.0\n" + source, QUrl());
        const std::unique_ptr<QObject> object(component.create());
        if (!object)
            return component.errorString();
        QVariant value = object->property("value");
        for (int wait = 0; !value.isValid() && wait < 1200; ++wait) {
            QTest::qWait(50);
            value = object->property("value");
        }
        return value;
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        m_repository = std::make_unique<Repository>();
        QVERIFY(m_repository->setUp());
        QDir().mkpath(m_repository->root + QStringLiteral("/usr/share/apps/vantrelagent"));
        m_repository->add({ "lib" });
        m_repository->add({ "app", "1.0", "lib" });
        makeCatalog();
    }

    void pageShowsSearchesAndInstalls()
    {
        QQuickView view;
        view.engine()->addImportPath(QStringLiteral(QML_MODULES));
        QStringList warnings;
        connect(view.engine(), &QQmlEngine::warnings, this,
                [&warnings](const QList<QQmlError>& errors) {
                    for (const QQmlError& error : errors)
                        warnings << error.toString();
                });
        view.setSource(QUrl::fromLocalFile(QStringLiteral(EXAMPLE)));
        QVERIFY2(view.status() == QQuickView::Ready,
                 view.errors().isEmpty() ? "" : qPrintable(view.errors().first().toString()));
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QQuickItem* const page = view.rootObject();
        const auto products = [page] { return shown(page, QStringLiteral("product")); };
        QTRY_COMPARE(products(),
                     list({ "App 1.0: a thing", "Other 1.0: a thing", "Third 1.0: a thing" }));

        page->setProperty("searchText", QStringLiteral("oth"));
        QTRY_COMPARE(products(), list({ "Other 1.0: a thing" }));
        page->setProperty("searchText", QStringLiteral("nothing like it"));
        QTRY_COMPARE(part(page, "products")->property("stateText").toString(),
                     QStringLiteral("Nothing was found for \"nothing like it\"."));
        page->setProperty("searchText", QString());
        QTRY_COMPARE(products().size(), 3);
        const auto grab = page->grabToImage();
        QVERIFY(grab);
        QTRY_VERIFY(!grab->image().isNull());
        QCOMPARE(grab->image().size(), QSize(480, 640));

        QVERIFY(QMetaObject::invokeMethod(page, "preview",
                                          Q_ARG(QVariant, QVariant(QStringLiteral("app")))));
        QTRY_COMPARE_WITH_TIMEOUT(shown(page, QStringLiteral("planRow")),
                                  list({ "app 1.0 (requested)", "lib 1.0 (needed by app)" }),
                                  60000);

        QObject* const transaction = part(page, "transaction");
        QSignalSpy ends(transaction, SIGNAL(finished()));
        QVERIFY(QMetaObject::invokeMethod(transaction, "commit"));
        QVERIFY(transaction->property("running").toBool());
        QTRY_COMPARE_WITH_TIMEOUT(ends.count(), 1, 60000);
        QCOMPARE(transaction->property("errorText").toString(), QString());
        QVERIFY(!transaction->property("running").toBool());
        QTRY_COMPARE(products().first(), QStringLiteral("App 1.0 (installed): a thing"));
        QCOMPARE(warnings, QStringList());
    }

    void failureHasItsCodeAndSentence()
    {
        QCOMPARE(evaluate(R"(Transaction {
            property var value
            packages: ["no-such-package"]
            Component.onCompleted: prepare()
            onPrepared: value = (error === Error.UnknownPackage) + " " + (errorText !== "")
        })"),
                 QVariant(QStringLiteral("true true")));
    }

    // An address, a file, the name of an icon that is not there.
    void imagesComeFromThePictureStore()
    {
        QImage drawn(40, 20, QImage::Format_ARGB32);
        drawn.fill(Qt::red);
        QByteArray png;
        QBuffer buffer(&png);
        QVERIFY(buffer.open(QIODevice::WriteOnly) && drawn.save(&buffer, "png"));
        ScriptedServer server;
        server.answer("/a.png", ScriptedServer::http(png));
        const QByteArray page
            = "import QtQuick 2.15\nimport org.vantrelos.pakmart 1.0\nItem { "
              "property var sizes: [good, small, none].map(one => one.status + ' ' + "
              "one.implicitWidth).join(', ')\n"
              "Image { id: good; source: 'image://pakmart/%1?b=c%20d' }\n"
              "Image { id: small; source: 'image://pakmart/%1'; sourceSize.width: 20; "
              "sourceSize.height: 20 }\n"
              "Image { id: none; source: 'image://pakmart/no-such-icon' }\n"
              "Loader { id: gone; active: true; sourceComponent: Image { "
              "source: 'image://pakmart/%1?slow' } "
              "Component.onCompleted: active = false } }";
        QQmlEngine engine;
        engine.addImportPath(QStringLiteral(QML_MODULES));
        QQmlComponent component(&engine);
        component.setData(QByteArray(page).replace("%1", server.url("/a.png")), QUrl());
        const std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        // Ready is 1, Error 3.
        QTRY_COMPARE_WITH_TIMEOUT(object->property("sizes").toString(),
                                  QStringLiteral("1 40, 1 20, 3 0"), 60000);
        QVERIFY(server.asked.contains("/a.png?b=c%20d"));
    }

    void aTransactionIsPendingWithItsTitle_data()
    {
        QTest::addColumn<QByteArray>("title");
        QTest::addColumn<QString>("shown");
        QTest::newRow("its own") << QByteArray("title: 'mine';") << QStringLiteral("mine");
        QTest::newRow("of its request")
            << QByteArray() << QStringLiteral("Preview: Upgrade one, two");
    }
    void aTransactionIsPendingWithItsTitle()
    {
        QFETCH(QByteArray, title);
        QTEST(evaluate("Transaction { id: it; property var value; kind: Request.Upgrade; "
                       "packages: ['one', 'two']; "
                       + title
                       + " Component.onCompleted: prepare(); property var all: PendingModel { "
                         "onCountChanged: if (count) it.value = data(index(0, 0)) } }")
                  .toString(),
              "shown");
    }

    void modelsAndValuesAreThere_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QString>("value");
        QTest::newRow("categories")
            << QByteArray("CategoryModel { property var value; onStateChanged: value = "
                          "state === ProductModel.Filled ? data(index(0, 0)) : stateText }")
            << QStringLiteral("Games");
        QTest::newRow("installed") << QByteArray("InstalledModel { property var value; "
                                                 "onStateChanged: value = get0(); "
                                                 "function get0() { return product(0).name } }")
                                   << QStringLiteral("App");
        QTest::newRow("recent") << QByteArray("RecentModel { property var value; "
                                              "onStateChanged: value = stateText }")
                                << QStringLiteral("No application has been used yet.");
        QTest::newRow("history") << QByteArray(
            "HistoryModel { property var value; "
            "onStateChanged: value = String(value_0()); "
            "function value_0() { return count + ' ' + (state === "
            "HistoryModel.Filled) } }")
                                 << QStringLiteral("1 true");
        QTest::newRow("pending") << QByteArray("PendingModel { property var value: stateText }")
                                 << QStringLiteral("Nothing is being done.");
        QTest::newRow("plan") << QByteArray("PlanModel { property var value: stateText }")
                              << QStringLiteral("Nothing would change.");
        QTest::newRow("values")
            << QByteArray("QtObject { property var value: [Job.Applying, Request.Remove, "
                          "PlanRow.Removed, Error.LockHeld, Product.Upgradable, "
                          "ProductModel.BySize].join(' ') }")
            << QStringLiteral("4 1 4 %1 3 3").arg(int(Pakmart::Error::LockHeld));
    }
    void modelsAndValuesAreThere()
    {
        QFETCH(QByteArray, source);
        QTEST(evaluate(source).toString(), "value");
    }

    void aTransactionRemovesOthersOnlyWithConsent()
    {
        m_repository->add({ "ground" });
        m_repository->add({ "house", "1.0", "ground" });
        const auto outcome = [](const char* kind, const char* package, const char* allow) {
            const QByteArray source
                = "Transaction { property var value; kind: Request.%1; packages: ['%2']; "
                  "allowRemovals: %3; title: 'mine'; Component.onCompleted: prepare(); "
                  "onPrepared: { if (error) value = 'plan: ' + errorText; else commit() } "
                  "onFinished: value = error === Error.RemovalsNotAllowed ? 'refused' : error }";
            return evaluate(QByteArray(source)
                                .replace("%1", kind)
                                .replace("%2", package)
                                .replace("%3", allow))
                .toString();
        };
        QCOMPARE(outcome("Install", "house", "false"), QStringLiteral("0"));
        QCOMPARE(outcome("Remove", "ground", "false"), QStringLiteral("refused"));
        QCOMPARE(outcome("Remove", "ground", "true"), QStringLiteral("0"));
    }
};

QTEST_MAIN(QmlModuleTest)
#include "tst_qmlmodule.moc"
