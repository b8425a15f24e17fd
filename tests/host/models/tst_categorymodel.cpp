// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The categories as a tree that changes in place.

#include "host/models/categorymodel.h"
#include "tests/host/models/catalogmaker.h"
#include "tests/host/models/modelwatch.h"

#include <random>

using Pakmart::CategoryModel;
using Pakmart::ListModel;

class CategoryModelTest : public QObject
{
    Q_OBJECT

private:
    // "Games 3 (Arcade 1)": names, numbers of products, and what is below.
    static QString shown(const CategoryModel& model, const QModelIndex& parent = QModelIndex())
    {
        QStringList all;
        for (int row = 0; row < model.rowCount(parent); ++row) {
            const QModelIndex index = model.index(row, 0, parent);
            const QString below = shown(model, index);
            all << index.data().toString() + QLatin1Char(' ')
                    + index.data(CategoryModel::ProductsRole).toString()
                    + (below.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(below));
        }
        return all.join(QStringLiteral(", "));
    }
    static TestProduct product(int serial, const QByteArray& category, bool isHidden = false)
    {
        const QByteArray name = "p" + QByteArray::number(serial);
        return { serial, name, category, name, "1", QString(), isHidden };
    }

private slots:
    void init() { RemoveCatalog(); }

    void slashesMakeATree()
    {
        MakeCatalog({ product(1, "Office"), product(2, "Games/Arcade"), product(3, "games"),
                      product(4, "Games"), product(5, "Secret", true) });
        CategoryModel model;
        ModelWatch watch(&model);
        QCOMPARE(model.state(), ListModel::Loading);
        QVERIFY(!model.stateText().isEmpty());
        QTRY_COMPARE(model.state(), ListModel::Filled);
        QCOMPARE(shown(model), QStringLiteral("Games 3 (Arcade 1), Office 1"));
        const QModelIndex arcade = model.index(0, 0, model.index(0, 0));
        QCOMPARE(arcade.data(CategoryModel::CategoryRole).toString(),
                 QStringLiteral("Games/Arcade"));
        QCOMPARE(arcade.data(CategoryModel::IconNameRole).toString(),
                 QStringLiteral("applications-games"));
        QCOMPARE(model.index(1, 0).data(CategoryModel::IconNameRole).toString(),
                 QStringLiteral("applications-office"));
        QCOMPARE(model.roleNames().size(), 4);
    }

    void secondModelHasTheSame()
    {
        MakeCatalog({ product(1, "Office") });
        CategoryModel first;
        QTRY_COMPARE(shown(first), QStringLiteral("Office 1"));
        CategoryModel second;
        QCOMPARE(second.rowCount(), 0);
        QTRY_COMPARE(shown(second), QStringLiteral("Office 1"));
    }

    void updateChangesRowsInPlace()
    {
        MakeCatalog({ product(1, "A"), product(2, "B/x"), product(3, "B/y"), product(4, "C") });
        CategoryModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(shown(model), QStringLiteral("A 1, B 2 (x 1, y 1), C 1"));
        const QPersistentModelIndex y(model.index(1, 0, model.index(1, 0)));
        watch.changes();
        MakeCatalog({ product(1, "AA"), product(3, "B/y"), product(5, "B/y"), product(4, "C") });
        QTRY_COMPARE(shown(model), QStringLiteral("AA 1, B 2 (y 2), C 1"));
        QVERIFY(y.isValid());
        QCOMPARE(y.row(), 0);
        QCOMPARE(y.data().toString(), QStringLiteral("y"));
        QVERIFY(watch.changes() != "reset");
    }

    void anyTreeBecomesAnyOther()
    {
        CategoryModel model;
        ModelWatch watch(&model);
        std::mt19937 random(5);
        for (int round = 0; round < 12; ++round) {
            QList<TestProduct> products;
            for (int serial = 1; serial <= 40; ++serial)
                products << product(serial,
                                    QByteArray(1, char('a' + int(random() % 5))) + '/'
                                        + char('a' + int(random() % 5)));
            MakeCatalog(products);
            CategoryModel fresh;
            QTRY_VERIFY(fresh.rowCount() > 0);
            QTRY_COMPARE(shown(model), shown(fresh));
        }
        QVERIFY(watch.changes() != "reset");
    }

    void withoutACatalogItSaysSo()
    {
        CategoryModel model;
        QTRY_COMPARE(model.state(), ListModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("There is no catalog on this computer yet."));
        WriteDataFile(QStringLiteral(".VACatalog.fil"), "short");
        QTRY_COMPARE(model.state(), ListModel::Failed);
        QCOMPARE(model.stateText(), QStringLiteral("The catalog on this computer cannot be read."));
        MakeCatalog(QList<TestProduct>());
        QTRY_COMPARE(model.state(), ListModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("There is no product here."));
        MakeCatalog({ product(1, "A") });
        QTRY_COMPARE(model.state(), ListModel::Filled);
        QCOMPARE(model.stateText(), QString());
    }
};

QTEST_GUILESS_MAIN(CategoryModelTest)
#include "tst_categorymodel.moc"
