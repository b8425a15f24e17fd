// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The aisles that were fetched last, with the categories that the catalog has.

#include "host/models/aislemodel.h"
#include "tests/common/datafolder.h"
#include "tests/host/models/catalogmaker.h"
#include "tests/host/models/modelwatch.h"

using Pakmart::AisleModel;

class AisleModelTest : public QObject
{
    Q_OBJECT

private:
    // "Play[For evenings]: Games 2, Office 1"
    static QStringList shown(const AisleModel& model)
    {
        QStringList all;
        for (int row = 0; row < model.count(); ++row) {
            QStringList categories;
            for (const QVariant& one : model.value(row, QStringLiteral("categories")).toList())
                categories << one.toMap()[QStringLiteral("category")].toString() + QLatin1Char(' ')
                        + one.toMap()[QStringLiteral("products")].toString();
            all << QStringLiteral("%1[%2]: %3")
                       .arg(model.value(row, QStringLiteral("name")).toString(),
                            model.value(row, QStringLiteral("description")).toString(),
                            categories.join(QStringLiteral(", ")));
        }
        return all;
    }
    static void save(const QByteArray& aisles)
    {
        WriteDataFile(QStringLiteral(".aisles"), "<aisles>" + aisles + "</aisles>");
    }
    static QByteArray aisle(const QByteArray& name, const QList<QByteArray>& categories)
    {
        QByteArray text = "<aisle name=\"" + name + "\"><description>For%20evenings</description>";
        for (const QByteArray& one : categories)
            text += "<category serialnumber=\"1\">" + one + "</category>";
        return text + "</aisle>";
    }

private slots:
    void init()
    {
        RemoveCatalog();
        QFile::remove(DataPath(QStringLiteral(".aisles")));
        const auto product = [](int serial, const QByteArray& category) -> TestProduct {
            const QByteArray name = "p" + QByteArray::number(serial);
            return { serial, name, category, name, "1", QString(), false };
        };
        MakeCatalog({ product(1, "Games/Arcade"), product(2, "Games/Arcade"),
                      product(3, "R%26D+%2B"), product(4, "Office") });
    }

    void aislesHaveTheCategoriesOfTheCatalog_data()
    {
        QTest::addColumn<QByteArray>("saved");
        QTest::addColumn<QStringList>("aisles");
        const QString play = QStringLiteral("Play[For evenings]: ");
        QTest::newRow("one") << aisle("Play", { "Games/Arcade" })
                             << QStringList{ play + "Games/Arcade 2" };
        QTest::newRow("in the order of the store")
            << aisle("Work", { "Office" }) + aisle("Play", { "Office", "Games/Arcade" })
            << QStringList{ "Work[For evenings]: Office 1", play + "Office 1, Games/Arcade 2" };
        QTest::newRow("in other letters")
            << aisle("Play", { "OFFICE" }) << QStringList{ play + "Office 1" };
        QTest::newRow("a category without products")
            << aisle("Play", { "Office", "Nothing" }) << QStringList{ play + "Office 1" };
        QTest::newRow("only such ones") << aisle("Play", { "Nothing" }) << QStringList();
        QTest::newRow("none") << QByteArray() << QStringList();
        QTest::newRow("a name that hides")
            << aisle("Pl%E2%80%AEay%0A", { "Office" }) << QStringList{ play + "Office 1" };
        QTest::newRow("not XML") << QByteArray("<aisle") << QStringList();
        QTest::newRow("very many")
            << aisle("Play", { "Office" }).repeated(5000)
            << QStringList(QVector<QString>(100, play + "Office 1").toList());
    }
    void aislesHaveTheCategoriesOfTheCatalog()
    {
        QFETCH(QByteArray, saved);
        QFETCH(QStringList, aisles);
        save(saved);
        AisleModel model;
        const ModelWatch watch(&model);
        QCOMPARE(model.state(), AisleModel::Loading);
        QTRY_VERIFY(model.state() != AisleModel::Loading);
        QTRY_COMPARE(shown(model), aisles);
        QCOMPARE(model.state(), aisles.isEmpty() ? AisleModel::Empty : AisleModel::Filled);
        QCOMPARE(model.stateText().isEmpty(), !aisles.isEmpty());
    }

    void aCategoryHasWhatATileShows()
    {
        save(aisle("Play", { "Games/Arcade" }));
        AisleModel model;
        QTRY_COMPARE(model.count(), 1);
        const QVariantMap tile
            = model.value(0, QStringLiteral("categories")).toList().value(0).toMap();
        QCOMPARE(tile[QStringLiteral("name")].toString(), QStringLiteral("Arcade"));
        QCOMPARE(tile[QStringLiteral("iconName")].toString(), QStringLiteral("applications-games"));
    }

    void newAislesAreFollowed()
    {
        AisleModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(model.state(), AisleModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("The store has no aisles."));
        save(aisle("Play", { "Office" }));
        QTRY_COMPARE(model.state(), AisleModel::Filled);
        QCOMPARE(watch.changes(), QByteArray("i1 r0 m0 l0 d0"));
        save(aisle("Work", { "Office" }));
        QTRY_COMPARE(shown(model), QStringList{ "Work[For evenings]: Office 1" });
        QCOMPARE(watch.changes(), QByteArray("i0 r0 m0 l0 d1"));
        RemoveCatalog();
        QTRY_COMPARE(model.count(), 0);
    }
};

QTEST_GUILESS_MAIN(AisleModelTest)
#include "tst_aislemodel.moc"
