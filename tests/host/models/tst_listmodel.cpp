// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The rows of a list model become others by row changes, whatever the lists are, and persistent
// indexes stay with their rows.

#include "host/models/listmodel.h"
#include "tests/host/models/modelwatch.h"

#include <QSignalSpy>
#include <algorithm>
#include <numeric>
#include <random>

using Pakmart::ListModel;

// Shows keys; the extra number of a row is its value.
class KeysModel : public ListModel
{
public:
    using List = std::vector<int>;

    KeysModel() : ListModel(nullptr) { }

    void show(const List& keys, const std::function<quint32(int)>& value = nullptr)
    {
        Rows after;
        for (int key : keys)
            after.push_back({ key, 0, value ? value(key) : 0 });
        changeRows(
            std::move(after), [this] { ++takenOver; },
            [](const Row& a, const Row& b) { return a.extra != b.extra; });
    }
    QVariant data(const QModelIndex& index, int role) const override
    {
        if (role != Qt::DisplayRole)
            return QVariant();
        return index.isValid() ? qlonglong(rows()[std::size_t(index.row())].key) : QVariant();
    }
    List keys() const
    {
        List all;
        for (const Row& row : rows())
            all.push_back(int(row.key));
        return all;
    }

    int takenOver = 0;
};

class ListModelTest : public QObject
{
    Q_OBJECT

private:
    static KeysModel::List from(int first, int count)
    {
        KeysModel::List keys(std::size_t(count), 0);
        std::iota(keys.begin(), keys.end(), first);
        return keys;
    }
    // Shows `after` instead of `before`, with a persistent index for each row.
    static void change(const KeysModel::List& before, const KeysModel::List& after,
                       QByteArray* changes = nullptr)
    {
        KeysModel model;
        ModelWatch watch(&model);
        model.show(before);
        QVector<QPersistentModelIndex> indexes;
        for (int row = 0; row < model.count(); ++row)
            indexes << model.index(row, 0);
        watch.changes();
        model.show(after);
        QVERIFY(model.keys() == after);
        QCOMPARE(model.takenOver, 2);
        for (std::size_t row = 0; row < before.size(); ++row) {
            const QPersistentModelIndex& index = indexes[int(row)];
            const bool stays = std::find(after.begin(), after.end(), before[row]) != after.end();
            QCOMPARE(index.isValid(), stays);
            if (stays)
                QCOMPARE(index.data().toInt(), before[row]);
        }
        const QByteArray signalled = watch.changes();
        QVERIFY(signalled != "reset");
        if (changes)
            *changes = signalled;
    }

private slots:
    void fewChangesAreReportedOneByOne_data()
    {
        QTest::addColumn<QList<int>>("before");
        QTest::addColumn<QList<int>>("after");
        QTest::addColumn<QByteArray>("changes");
        using L = QList<int>;
        QTest::newRow("nothing") << L() << L() << QByteArray("i0 r0 m0 l0 d0");
        QTest::newRow("same") << L{ 1, 2 } << L{ 1, 2 } << QByteArray("i0 r0 m0 l0 d0");
        QTest::newRow("first rows") << L() << L{ 1, 2 } << QByteArray("i1 r0 m0 l0 d0");
        QTest::newRow("all go") << L{ 1, 2 } << L() << QByteArray("i0 r1 m0 l0 d0");
        QTest::newRow("joined") << L{ 1, 4 } << L{ 1, 2, 3, 4 } << QByteArray("i1 r0 m0 l0 d0");
        QTest::newRow("two gaps") << L{ 1, 3 } << L{ 1, 2, 3, 4 } << QByteArray("i2 r0 m0 l0 d0");
        QTest::newRow("removed") << L{ 1, 2, 3, 4 } << L{ 1, 4 } << QByteArray("i0 r1 m0 l0 d0");
        QTest::newRow("to the end") << L{ 1, 2, 3 } << L{ 2, 3, 1 } << QByteArray("i0 r0 m1 l0 d0");
        QTest::newRow("to the front")
            << L{ 1, 2, 3 } << L{ 3, 1, 2 } << QByteArray("i0 r0 m1 l0 d0");
        QTest::newRow("everything")
            << L{ 1, 2, 3, 4, 5 } << L{ 5, 1, 9, 3, 4, 8 } << QByteArray("i2 r1 m1 l0 d0");
    }
    void fewChangesAreReportedOneByOne()
    {
        QFETCH(QList<int>, before);
        QFETCH(QList<int>, after);
        QByteArray changes;
        change({ before.begin(), before.end() }, { after.begin(), after.end() }, &changes);
        QTEST(changes, "changes");
    }

    void manyChangesAreReportedTogether()
    {
        KeysModel::List all = from(0, 400), even;
        for (int key = 0; key < 400; key += 2)
            even.push_back(key);
        QByteArray changes;
        change(all, even, &changes);
        QCOMPARE(changes, QByteArray("i0 r1 m0 l1 d0"));
        change(even, all, &changes);
        QCOMPARE(changes, QByteArray("i1 r0 m0 l1 d0"));
        std::reverse(all.begin(), all.end());
        change(from(0, 400), all, &changes);
        QCOMPARE(changes, QByteArray("i0 r0 m0 l1 d0"));
    }

    void anyListBecomesAnyOther_data()
    {
        QTest::addColumn<int>("factor");
        QTest::newRow("keys that are close") << 1;
        QTest::newRow("keys far from each other") << 1000;
        QTest::newRow("negative keys") << -1;
    }
    void anyListBecomesAnyOther()
    {
        QFETCH(int, factor);
        std::mt19937 random(4711);
        for (int round = 0; round < 300; ++round) {
            const int size = round % 3 == 0 ? 200 : 12;
            const auto some = [&random, size, factor] {
                KeysModel::List keys = from(0, size);
                for (int& key : keys)
                    key *= factor;
                if (random() % 2)
                    std::shuffle(keys.begin(), keys.end(), random);
                keys.resize(random() % keys.size());
                return keys;
            };
            change(some(), some());
        }
    }

    void changedRowsAreReported()
    {
        KeysModel model;
        ModelWatch watch(&model);
        model.show(from(0, 10));
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
        model.show(from(2, 10), [](int key) { return key == 4 || key == 5 ? 1 : 0; });
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes[0][0].toModelIndex().row(), 2);
        QCOMPARE(changes[0][1].toModelIndex().row(), 3);
    }

    void countAndStateAreSignalled()
    {
        KeysModel model;
        QCOMPARE(model.state(), ListModel::Loading);
        QSignalSpy counts(&model, &ListModel::countChanged);
        model.show({ 1, 2 });
        QCOMPARE(model.count(), 2);
        model.show({ 1, 3 });
        QCOMPARE(counts.count(), 1);
        QVERIFY(!model.value(0, QStringLiteral("no such role")).isValid());
        QCOMPARE(model.value(1, QStringLiteral("display")).toInt(), 3);
        QVERIFY(!model.value(2, QStringLiteral("display")).isValid());
    }
};

QTEST_GUILESS_MAIN(ListModelTest)
#include "tst_listmodel.moc"
