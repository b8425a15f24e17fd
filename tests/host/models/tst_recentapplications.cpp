// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The recently used applications: the same as CRUFile has them, and followed.

#include "db/crufile.h"
#include "db/dbshared.h"
#include "host/models/recentmodel.h"
#include "tests/host/models/modelwatch.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <functional>

using Pakmart::RecentModel;

class RecentModelTest : public QObject
{
    Q_OBJECT

private:
    static void change(const std::function<void(CRUFile&)>& work)
    {
        const Agent::IndexLayer layer;
        CRUFile list;
        QVERIFY(list.Open());
        work(list);
        QVERIFY(list.Close());
    }
    static void use(CRUFile& list, int serial, const char* name, int time)
    {
        if (!list.FindServerSerialNumber(serial))
            list.AddNew();
        list.SetServerSerialNumber(serial);
        list.SetDescription(name);
        list.SetExecutablePath("/usr/bin/x");
        list.SetIconPath("/icon");
        list.SetSmallIconPath("/small");
        list.SetLastAccessed(time);
        QVERIFY(list.Update());
    }

private slots:
    void init() { QDir(QString::fromStdString(Agent::RecentFolder())).removeRecursively(); }

    void emptyWithoutAList()
    {
        RecentModel model;
        QCOMPARE(model.state(), RecentModel::Loading);
        QTRY_COMPARE(model.state(), RecentModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("No application has been used yet."));
        QVERIFY(!QFile::exists(QString::fromStdString(Agent::RecentFolder())));
    }

    void lastOneGoesFirstAndIsFollowed()
    {
        RecentModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(model.state(), RecentModel::Empty);
        QDir().mkpath(QString::fromStdString(Agent::RecentFolder()));
        change([](CRUFile& list) {
            use(list, 1, "One", 1000);
            use(list, 2, "Two", 3000);
            use(list, 3, "Three", 2000);
        });
        QTRY_COMPARE(
            watch.texts(),
            (QStringList{ QStringLiteral("Two"), QStringLiteral("Three"), QStringLiteral("One") }));
        QCOMPARE(model.value(0, QStringLiteral("serial")).toInt(), 2);
        QCOMPARE(model.value(0, QStringLiteral("program")).toString(),
                 QStringLiteral("/usr/bin/x"));
        QCOMPARE(model.value(0, QStringLiteral("iconPath")).toString(), QStringLiteral("/icon"));
        QCOMPARE(model.value(0, QStringLiteral("smallIconPath")).toString(),
                 QStringLiteral("/small"));
        QCOMPARE(model.value(0, QStringLiteral("lastUsed")).toDateTime().toSecsSinceEpoch(), 3000);
        const QPersistentModelIndex one(model.index(2, 0));
        watch.changes();
        change([](CRUFile& list) { use(list, 1, "One", 4000); });
        QTRY_COMPARE(one.row(), 0);
        QVERIFY(watch.changes() != "reset");
        change([](CRUFile& list) { QVERIFY(list.DeleteRecord(2)); });
        QTRY_COMPARE(watch.texts(),
                     (QStringList{ QStringLiteral("One"), QStringLiteral("Three") }));
        change([](CRUFile& list) { use(list, 3, "Other name", 2000); });
        QTRY_COMPARE(watch.texts().last(), QStringLiteral("Other name"));
    }

    void namesHaveNothingThatChangesHowTheyAreRead()
    {
        QDir().mkpath(QString::fromStdString(Agent::RecentFolder()));
        change([](CRUFile& list) {
            use(list, 1,
                "a\xE2\x80\xAE"
                "b\nc\x1B",
                1000);
        });
        RecentModel model;
        QTRY_COMPARE(model.count(), 1);
        QCOMPARE(model.value(0, QStringLiteral("name")).toString(), QStringLiteral("ab c"));
    }

    void unreadableListIsAFailure()
    {
        const QString folder = QString::fromStdString(Agent::RecentFolder());
        QVERIFY(QDir().mkpath(folder));
        QFile file(folder + QStringLiteral(".rulist.fil"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("short") == 5);
        file.close();
        RecentModel model;
        QTRY_COMPARE(model.state(), RecentModel::Failed);
        QCOMPARE(model.stateText(), QStringLiteral("The list cannot be read."));
    }
};

QTEST_GUILESS_MAIN(RecentModelTest)
#include "tst_recentapplications.moc"
