// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The jobs of the store and of the machine as elements of QML, with the demo store and the real
// package tools.

#include "tests/common/datafolder.h"
#include "tests/host/storemachine.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QtTest>
#include <memory>

class QmlJobsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_store;
    QQmlEngine m_engine;

    static void write(const QString& path, const QByteArray& text)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), qint64(text.size()));
    }
    std::unique_ptr<QObject> make(const QByteArray& source)
    {
        QQmlComponent component(&m_engine);
        component.setData("import QtQml 2.15\nimport org.vantrelos.pakmart 1.0\n" + source, QUrl());
        std::unique_ptr<QObject> object(component.create());
        if (!object)
            qWarning("%s", qPrintable(component.errorString()));
        return object;
    }
    // What an element has made of `value` at the end of its job.
    QString outcome(const QByteArray& element, const QByteArray& value,
                    const QByteArray& properties = QByteArray())
    {
        const auto object
            = make(element + " { " + properties
                   + " property var value; Component.onCompleted: start(); onFinished: value = "
                   + "(error ? errorText + details : " + value + ") }");
        if (!object)
            return QString();
        const auto ended = [&object] { return object->property("value").isValid(); };
        return QTest::qWaitFor(ended, 120000) ? object->property("value").toString()
                                              : QStringLiteral("no end");
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        m_engine.addImportPath(QStringLiteral(QML_MODULES));
    }
    void init()
    {
        m_store = std::make_unique<StoreMachine>();
        QVERIFY(m_store->setUp());
        write(m_store->root + QStringLiteral("/etc/vantrel-welcome/builder.txt"), "id=0042\n");
    }

    void jobsBringWhatTheStoreHas_data()
    {
        QTest::addColumn<QByteArray>("element");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char* element, const char* value, const char* outcome) {
            QTest::newRow(element)
                << QByteArray(element) << QByteArray(value) << QString::fromLatin1(outcome);
        };
        row("RefreshCatalogJob",
            "[products > 5, products === addedCount, categories > 1, first, unchanged, "
            "changedCount, "
            "goneCount, addedProducts[0].serial, addedProducts[0].name, changedProducts.length, "
            "goneProducts.length].join(' ')",
            "true true true true false 0 0 1001 Star Lander 0 0");
        row("RefreshSourcesJob", "[sources > 0, sourcesChanged].join(' ')", "true true");
        row("AislesJob",
            "[aisles.length, aisles[0].name, aisles[0].description, "
            "aisles[0].categories.length, aisles[0].categories[0].name, "
            "aisles[0].categories[0].serial > 0].join(' ')",
            "3 Play For long evenings. 2 Games true");
        row("PicturesJob", "error", "0");
        row("SyncJob",
            "[applications.length, applications[0].serial, applications[0].name, "
            "applications[0].package].join(' ')",
            "1 1001 Star Lander starlander");
        row("RegisterJob", "builder", "0042");
    }
    void jobsBringWhatTheStoreHas()
    {
        QFETCH(QByteArray, element);
        QFETCH(QByteArray, value);
        QVERIFY(m_store->serve());
        write(m_store->root + QStringLiteral("/var/lib/dpkg/status"),
              "Package: starlander\nStatus: install ok installed\nVersion: 1.0\n"
              "Architecture: all\n\n");
        QTEST(outcome(element, value), "outcome");
    }

    void thePageOfTheExamplesFetchesTheCatalog()
    {
        for (const QString& name : DataFiles())
            if (name.startsWith(QLatin1String(".VA")))
                QFile::remove(m_store->data(qPrintable(name)));
        QQmlComponent component(&m_engine, QUrl::fromLocalFile(QStringLiteral(EXAMPLE)));
        const std::unique_ptr<QObject> page(component.create());
        QVERIFY2(page, qPrintable(component.errorString()));
        const auto part
            = [&page](const char* name) { return page->property(name).value<QObject*>(); };
        QVERIFY(part("refresh"));
        QTRY_COMPARE(part("products")->property("stateText").toString(),
                     QStringLiteral("There is no catalog on this computer yet."));
        QVERIFY(m_store->serve());
        QVERIFY(QMetaObject::invokeMethod(part("refresh"), "start"));
        QTRY_VERIFY_WITH_TIMEOUT(part("products")->property("count").toInt() > 5, 120000);
        QTRY_VERIFY_WITH_TIMEOUT(!part("refresh")->property("running").toBool(), 120000);
        QCOMPARE(part("refresh")->property("errorText").toString(), QString());
    }

    void theSourcesAreRefreshedOnlyIfTheyHaveChanged()
    {
        QVERIFY(m_store->serve());
        const auto job
            = make("RefreshSourcesJob { property string seen; property int ends: 0; "
                   "ifChanged: true; onFinished: { seen += error + ' ' + sourcesChanged + ' '; "
                   "if (++ends < 2) start() } Component.onCompleted: start() }");
        QVERIFY(job);
        QTRY_COMPARE_WITH_TIMEOUT(job->property("ends").toInt(), 2, 120000);
        QCOMPARE(job->property("seen").toString(), QStringLiteral("0 true 0 false "));
    }

    void aCheckShowsItsFindings()
    {
        write(m_store->root + QStringLiteral("/var/lib/dpkg/status"),
              "Package: zebra\nStatus: install reinstreq half-installed\nVersion: 1\n"
              "Architecture: all\nMaintainer: m\nDescription: d\n\n");
        QCOMPARE(outcome("CheckJob",
                         "[findings.length, findings[0].kind === RepairFinding.BrokenPackage, "
                         "findings[0].state === RepairFinding.Found, findings[0].name, "
                         "findings[0].sentence !== '', findings[0].reason].join(' ')"),
                 QStringLiteral("1 true true zebra true "));
    }

    void aRepairShowsWhatBecameOfItsFindings()
    {
        QVERIFY(m_store->serve());
        QCOMPARE(outcome("RefreshCatalogJob", "products > 5"), QStringLiteral("true"));
        QVERIFY(QFile::resize(m_store->data(".VACatalog.fil"), 3000));
        QCOMPARE(outcome("RepairJob",
                         "findings.map(one => (one.kind === RepairFinding.DamagedCatalog) + ' ' + "
                         "(one.state === RepairFinding.Mended)).join(' ')"),
                 QStringLiteral("true true"));
        QCOMPARE(outcome("CheckJob", "findings.length"), QStringLiteral("0"));
    }

    void othersAreRemovedOnlyWithConsent_data()
    {
        QTest::addColumn<QByteArray>("element");
        QTest::addColumn<QByteArray>("broken");
        QTest::newRow("update") << QByteArray("SystemUpdateJob") << QByteArray();
        QTest::newRow("repair") << QByteArray("RepairJob")
                                << QByteArray(
                                       "Package: needy\nStatus: install ok installed\nVersion: 1\n"
                                       "Architecture: all\nMaintainer: m\nDepends: vantrelagent\n"
                                       "Description: d\n\n");
    }
    // The store's own package is in conflict with one that is installed.
    void othersAreRemovedOnlyWithConsent()
    {
        QFETCH(QByteArray, element);
        QFETCH(QByteArray, broken);
        QVERIFY(m_store->serve());
        write(m_store->root + QStringLiteral("/var/lib/dpkg/status"),
              "Package: rival\nStatus: install ok installed\nVersion: 1\nArchitecture: all\n"
              "Maintainer: m\nConflicts: vantrelagent\nDescription: d\n\n"
                  + broken);
        const auto refused = make(element
                                  + " { property var code; Component.onCompleted: start(); "
                                    "onFinished: code = error === Error.RemovalsNotAllowed }");
        QVERIFY(refused);
        QTRY_VERIFY_WITH_TIMEOUT(refused->property("code").isValid(), 120000);
        QVERIFY2(refused->property("code").toBool(),
                 qPrintable(refused->property("errorText").toString()));
        QCOMPARE(outcome(element, "'done'", "allowRemovals: true;"), QStringLiteral("done"));
    }

    void theSystemIsUpdated()
    {
        QVERIFY(m_store->serve());
        QCOMPARE(outcome("SystemUpdateJob", "agentUpdated"), QStringLiteral("true"));
    }

    void aJobMayBeStartedAgainInItsHandler()
    {
        QVERIFY(m_store->serve());
        const auto job = make("RefreshCatalogJob { property int ends: 0; property string firsts; "
                              "title: 'Refresh'; onFinished: { firsts += first + ' '; ++ends; "
                              "if (ends < 3) start() } }");
        QVERIFY(job);
        QVERIFY(QMetaObject::invokeMethod(job.get(), "start"));
        QVERIFY(QMetaObject::invokeMethod(job.get(), "start")); // does nothing
        QVERIFY(job->property("running").toBool());
        QTRY_COMPARE_WITH_TIMEOUT(job->property("ends").toInt(), 3, 120000);
        QVERIFY(!job->property("running").toBool());
        QCOMPARE(job->property("firsts").toString(), QStringLiteral("true false false "));
        QTest::qWait(50); // the jobs that were not the last one go
        QVERIFY(job->property("products").toInt() > 5);
    }

    void aFailureHasItsCodeAndLeavesNoValues()
    {
        const auto job
            = make("RefreshCatalogJob { property var value; Component.onCompleted: start(); "
                   "onFinished: value = [error !== Error.NoError, errorText !== '', "
                   "products, addedProducts.length, running].join(' ') }");
        QVERIFY(job);
        QTRY_VERIFY_WITH_TIMEOUT(job->property("value").isValid(), 120000);
        QCOMPARE(job->property("value").toString(), QStringLiteral("true true 0 0 false"));
    }

    void jobsArePendingByThemselves_data()
    {
        QTest::addColumn<QByteArray>("title");
        QTest::addColumn<QString>("shown");
        QTest::newRow("its own") << QByteArray("title: 'Aisles'; ") << QStringLiteral("Aisles");
        QTest::newRow("of its kind")
            << QByteArray() << QStringLiteral("Fetch the aisles of the store");
    }
    void jobsArePendingByThemselves()
    {
        QFETCH(QByteArray, title);
        QVERIFY(m_store->useScripted({ "CAPIGetAisles" }));
        m_store->stall("/CAPIGetAisles");
        const auto job = make("AislesJob { " + title
                              + "property var pending: PendingModel {}\n"
                                "property int ends: 0; onFinished: ++ends }");
        QVERIFY(job);
        QVERIFY(QMetaObject::invokeMethod(job.get(), "start"));
        QObject* const pending = job->property("pending").value<QObject*>();
        QTRY_COMPARE(pending->property("count").toInt(), 1);
        QTEST(qobject_cast<QAbstractItemModel*>(pending)->index(0, 0).data().toString(), "shown");
        QVERIFY(QMetaObject::invokeMethod(job.get(), "cancel"));
        QTRY_COMPARE_WITH_TIMEOUT(job->property("ends").toInt(), 1, 60000);
        QTRY_COMPARE(pending->property("count").toInt(), 0);
    }

    void anElementMayBeDeletedWhileItsJobRuns()
    {
        QVERIFY(m_store->useScripted({ "CAPIGetAisles" }));
        m_store->stall("/CAPIGetAisles");
        for (int wait = 0; wait < 200; wait += 50) {
            const auto job = make("AislesJob { Component.onCompleted: start() }");
            QVERIFY(job);
            QTest::qWait(wait);
        }
    }
};

QTEST_MAIN(QmlJobsTest)
#include "tst_qmljobs.moc"
