// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Descriptions and needs as roles: read beside the event loop when a view asks for them, and
// read again when an update replaces the catalog. Every stored field has a role.

#include "db/productfields.h"
#include "host/models/productmodel.h"
#include "tests/host/models/catalogmaker.h"
#include "tests/host/models/modelwatch.h"

using Pakmart::ProductModel;

class ProductDetailsTest : public QObject
{
    Q_OBJECT

private:
    static TestProduct product(int serial, const char* name, const char* description,
                               const QByteArrayList& needs)
    {
        TestProduct made{ serial, name };
        made.description = QString::fromLatin1(description);
        made.needs = needs;
        return made;
    }
    static QList<TestProduct> some()
    {
        return { product(1, "Apple", "Red\nand round", { "libb", "liba" }),
                 product(2, "Berry", "Blue", {}), product(3, "Cherry", "", { "libc" }) };
    }
    static bool isFilled(const ProductModel& model)
    {
        return QTest::qWaitFor([&model] { return model.state() == ProductModel::Filled; }, 20000);
    }
    static QString description(const ProductModel& model, int row)
    {
        return model.value(row, QStringLiteral("description")).toString();
    }
    static QString needs(const ProductModel& model, int row)
    {
        return model.value(row, QStringLiteral("needs")).toStringList().join(QLatin1Char(' '));
    }

private slots:
    void init()
    {
        RemoveCatalog();
        WriteStatusFile("");
    }

    void everyStoredFieldHasItsRole_data()
    {
        QTest::addColumn<QByteArray>("key");
        for (const Agent::ProductField& field : Agent::Catalog::fields)
            // Hidden products have no row.
            if (field.key && std::string_view(field.key) != "hidden")
                QTest::newRow(field.key) << QByteArray(field.key);
    }
    void everyStoredFieldHasItsRole()
    {
        QFETCH(QByteArray, key);
        MakeCatalog(some());
        const ProductModel model;
        QVERIFY(isFilled(model));
        QVERIFY2(model.roleNames().values().contains(key), key.constData());
        QVERIFY(model.value(0, QString::fromLatin1(key)).isValid());
        QVERIFY(Pakmart::Product::staticMetaObject.indexOfProperty(key.constData()) >= 0);
    }

    void detailsAreReadWhenTheyAreAskedFor()
    {
        MakeCatalog(some());
        ProductModel model;
        const ModelWatch watch(&model);
        QVERIFY(isFilled(model));
        QList<int> rows; // the packages may change others meanwhile
        connect(
            &model, &ProductModel::dataChanged, this,
            [&rows](const QModelIndex& first, const QModelIndex& last, const QVector<int>& roles) {
                if (roles.contains(ProductModel::DescriptionRole) && first == last)
                    rows << first.row();
            });
        QVERIFY(!model.value(0, QStringLiteral("description")).isValid());
        QVERIFY(!model.value(2, QStringLiteral("needs")).isValid());
        QCOMPARE(rows, QList<int>());
        QTRY_COMPARE_WITH_TIMEOUT(rows, (QList<int>{ 0, 2 }), 60000);
        QCOMPARE(description(model, 0), QStringLiteral("Red\nand round"));
        QCOMPARE(needs(model, 0), QStringLiteral("liba libb"));
        QCOMPARE(model.product(0).description, QStringLiteral("Red\nand round"));
        QCOMPARE(model.product(0).needs.size(), 2);
        QCOMPARE(needs(model, 2), QStringLiteral("libc"));
        QVERIFY(model.value(2, QStringLiteral("description")).isValid());
        QCOMPARE(description(model, 2), QString());
        // The second product was not asked for.
        QCOMPARE(model.product(1).description, QString());
        QCOMPARE(description(model, 1), QString());
        QTRY_COMPARE(description(model, 1), QStringLiteral("Blue"));
        QCOMPARE(needs(model, 1), QString());
        QCOMPARE(rows, (QList<int>{ 0, 2, 1 }));
    }

    void anUpdateReadsAgainWhatWasAskedFor()
    {
        MakeCatalog(some());
        ProductModel model;
        QVERIFY(isFilled(model));
        QTRY_COMPARE(description(model, 0), QStringLiteral("Red\nand round"));
        QTRY_COMPARE(description(model, 1), QStringLiteral("Blue"));
        QSignalSpy changes(&model, &ProductModel::dataChanged);
        // The first line stays, so that the row itself does not change; its place does.
        MakeCatalog({ product(7, "Aardvark", "An animal", { "liby" }),
                      product(2, "Berry", "Blue", {}),
                      product(1, "Apple", "Red\nand sour", { "libz" }) });
        QTRY_COMPARE(model.count(), 3);
        QTRY_COMPARE(model.rowOf(7), 0);
        QTRY_COMPARE(description(model, 1), QStringLiteral("Red\nand sour"));
        QCOMPARE(needs(model, 1), QStringLiteral("libz"));
        QVERIFY(changes.count() >= 1);
        for (const QList<QVariant>& change : changes)
            QCOMPARE(change.at(0).toModelIndex().row(), 1); // the other one is as before
        QTRY_COMPARE(description(model, 0), QStringLiteral("An animal"));
    }

    void aViewThatReadsWhileTheRowsChangeGetsNoOtherProductsTexts()
    {
        QList<TestProduct> products;
        for (int serial = 1; serial <= 300; ++serial) {
            const QByteArray name = "P" + QByteArray::number(1000 + serial);
            products << product(serial, name.constData(), name.constData(), { name.toLower() });
        }
        MakeCatalog(products);
        ProductModel model;
        QStringList wrong;
        const auto compare = [&model, &wrong](int row) {
            const QVariant seen = model.value(row, QStringLiteral("description"));
            if (seen.isValid() && seen.toString() != model.product(row).name)
                wrong << seen.toString();
        };
        const auto compareAll = [&] {
            for (int row = 0; row < model.count(); ++row)
                compare(row);
        };
        connect(&model, &ProductModel::rowsInserted, this, compareAll);
        connect(&model, &ProductModel::rowsRemoved, this, compareAll);
        connect(&model, &ProductModel::dataChanged, this, compareAll);
        connect(&model, &ProductModel::layoutChanged, this, compareAll);
        QTRY_COMPARE(description(model, 299), QStringLiteral("P1300"));
        for (int round = 0; round < 5; ++round) {
            products.removeFirst();
            std::reverse(products.begin(), products.end());
            MakeCatalog(products);
            QTRY_COMPARE(model.count(), int(products.size()));
            QTRY_VERIFY(model.value(0, QStringLiteral("description")).isValid());
        }
        QCOMPARE(wrong, QStringList());
    }

    void aModelMayBeDeletedWhileItReads()
    {
        MakeCatalog(some());
        for (int wait = 0; wait < 10; ++wait) {
            ProductModel model;
            QVERIFY(isFilled(model));
            description(model, 0);
            QTest::qWait(wait);
        }
    }

    void missingFilesLeaveEmptyDetails()
    {
        MakeCatalog(some());
        for (const char* file : { ".VACatalogNotes.fil", ".VADepends.fil" })
            QVERIFY(QFile::resize(DataPath(QLatin1String(file)), 0));
        ProductModel model;
        QVERIFY(isFilled(model));
        QTRY_VERIFY(model.value(0, QStringLiteral("description")).isValid());
        QCOMPARE(description(model, 0), QString());
        QCOMPARE(needs(model, 0), QString());
    }
};

QTEST_GUILESS_MAIN(ProductDetailsTest)
#include "tst_productdetails.moc"
