// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// apt's own log of changes, read and followed.

#include "base/dpkgstatus.h"
#include "host/models/historymodel.h"
#include "tests/host/models/modelwatch.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>

using Pakmart::HistoryModel;

class HistoryModelTest : public QObject
{
    Q_OBJECT

private:
    static QString folder()
    {
        return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QStringLiteral("/var/log/apt");
    }
    static void append(const QByteArray& text)
    {
        QDir().mkpath(folder());
        QFile file(folder() + QStringLiteral("/history.log"));
        if (!file.open(QIODevice::Append) || file.write(text) != text.size())
            qFatal("cannot write the log");
    }
    static QStringList list(std::initializer_list<const char*> all)
    {
        QStringList texts;
        for (const char* text : all)
            texts << QString::fromLatin1(text);
        return texts;
    }

private slots:
    void init() { QDir(folder()).removeRecursively(); }

    void emptyWithoutALog()
    {
        HistoryModel model;
        QTRY_COMPARE(model.state(), HistoryModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("Nothing has been changed yet."));
    }

    void commandLinesHaveNothingThatChangesHowTheyAreRead()
    {
        append(
            "\nStart-Date: 2026-01-02  03:04:05\nCommandline: apt install \xE2\x80\xAE\x1B[2Japp\n"
            "Install: app:amd64 (1.0)\nEnd-Date: 2026-01-02  03:04:06\n");
        HistoryModel model;
        QTRY_COMPARE(model.count(), 1);
        QCOMPARE(model.value(0, QStringLiteral("commandLine")).toString(),
                 QStringLiteral("apt install  [2Japp"));
    }

    void entriesHaveTheirFields()
    {
        append("\nStart-Date: 2026-01-02  03:04:05\nCommandline: apt install app\n"
               "Requested-By: me (1000)\n"
               "Install: app:amd64 (1.0), lib:amd64 (2:1.0-1, automatic)\n"
               "Upgrade: old:amd64 (1, 2)\nDowngrade: d:amd64 (2, 1)\nReinstall: r:amd64 (1)\n"
               "Remove: gone:i386 (3)\nPurge: p:amd64 (4)\nError: it failed\n"
               "End-Date: 2026-01-02  03:04:06\n");
        HistoryModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(model.count(), 1);
        const auto value
            = [&model](const char* role) { return model.value(0, QString::fromLatin1(role)); };
        QCOMPARE(value("title").toString(), QStringLiteral("apt install app"));
        QCOMPARE(value("date").toDateTime(), QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5)));
        QCOMPARE(value("commandLine").toString(), QStringLiteral("apt install app"));
        QCOMPARE(value("requestedBy").toString(), QStringLiteral("me (1000)"));
        QCOMPARE(value("installed").toStringList(), list({ "app:amd64 1.0", "lib:amd64 2:1.0-1" }));
        QCOMPARE(value("upgraded").toStringList(), list({ "old:amd64 1 -> 2" }));
        QCOMPARE(value("downgraded").toStringList(), list({ "d:amd64 2 -> 1" }));
        QCOMPARE(value("reinstalled").toStringList(), list({ "r:amd64 1" }));
        QCOMPARE(value("removed").toStringList(), list({ "gone:i386 3" }));
        QCOMPARE(value("purged").toStringList(), list({ "p:amd64 4" }));
        QCOMPARE(value("error").toString(), QStringLiteral("it failed"));
        QVERIFY(value("finished").toBool());
    }

    void lastChangeGoesFirstAndIsFollowed()
    {
        append("\nStart-Date: 2026-01-02  03:04:05\nInstall: a:amd64 (1)\n"
               "End-Date: 2026-01-02  03:04:06\n");
        HistoryModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(watch.texts(), list({ "Install: a:amd64 1" }));
        const QPersistentModelIndex first(model.index(0, 0));
        watch.changes();
        append("\nStart-Date: 2026-01-02  03:04:05\nRemove: a:amd64 (1)\n");
        QTRY_COMPARE(watch.texts(), list({ "Remove: a:amd64 1", "Install: a:amd64 1" }));
        QCOMPARE(watch.changes(), QByteArray("i1 r0 m0 l0 d0"));
        QCOMPARE(first.row(), 1);
        QVERIFY(!model.value(0, QStringLiteral("finished")).toBool());
        append("End-Date: 2026-01-02  03:04:07\n");
        QTRY_VERIFY(model.value(0, QStringLiteral("finished")).toBool());
        QCOMPARE(watch.changes(), QByteArray("i0 r0 m0 l0 d1"));
    }

    void rotatedLogGoesOnInTheNewOne()
    {
        append("Start-Date: 2026-01-02  03:04:05\nInstall: a:amd64 (1)\n\n");
        HistoryModel model;
        QTRY_COMPARE(model.count(), 1);
        const QString log = folder() + QStringLiteral("/history.log");
        QVERIFY(QFile::rename(log, log + QStringLiteral(".1")));
        append("Start-Date: 2026-02-02  03:04:05\nInstall: b:amd64 (1)\n\n");
        QTRY_COMPARE(model.count(), 2);
        append("Start-Date: 2026-02-03  03:04:05\nInstall: c:amd64 (1)\n\n");
        QTRY_COMPARE(model.count(), 3);
    }

    // By their numbers, not by their names: 10 is older than 9.
    void compressedLogsAreReadToo()
    {
        const QString log = folder() + QStringLiteral("/history.log");
        for (const char* number : { "10", "9", "1" }) {
            append("Start-Date: 2026-01-02  03:04:05\nInstall: p" + QByteArray(number)
                   + ":amd64 (1)\n\n");
            const QString older = log + QLatin1Char('.') + QLatin1String(number);
            QVERIFY(QFile::rename(log, older));
            if (qstrcmp(number, "1") != 0)
                QCOMPARE(QProcess::execute(QStringLiteral("gzip"), { older }), 0);
        }
        append("Start-Date: 2026-01-02  03:04:05\nInstall: now:amd64 (1)\n\n");
        QFile broken(log + QStringLiteral(".2.gz"));
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("\x1f\x8b\x08nonsense") > 0);
        broken.close();
        HistoryModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(watch.texts(),
                     list({ "Install: now:amd64 1", "Install: p1:amd64 1", "Install: p9:amd64 1",
                            "Install: p10:amd64 1" }));
    }

    void anEntryIsUndoneByARequest_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QStringList>("packages");
        QTest::addColumn<QStringList>("removals");
        const QByteArray own = QByteArray(":") + Agent::NativeArchitecture();
        QTest::newRow("install") << "Install: a" + own + " (1), b" + own + " (2, automatic)"
                                 << QStringList() << list({ "a", "b" });
        QTest::newRow("remove") << "Remove: a" + own + " (1)" << list({ "a" }) << QStringList();
        QTest::newRow("purge") << "Purge: a" + own + " (1)" << list({ "a" }) << QStringList();
        QTest::newRow("upgrade") << "Upgrade: a" + own + " (1:1-1, 2)" << list({ "a=1:1-1" })
                                 << QStringList();
        QTest::newRow("downgrade")
            << "Downgrade: a" + own + " (2, 1)" << list({ "a=2" }) << QStringList();
        QTest::newRow("reinstall")
            << "Reinstall: a" + own + " (2)" << QStringList() << QStringList();
        QTest::newRow("foreign") << QByteArray("Install: a:m68k (1)") << QStringList()
                                 << list({ "a:m68k" });
        QTest::newRow("all") << "Install: a" + own + " (1)\nUpgrade: u" + own + " (1, 2)\nRemove: r"
                + own + " (3)"
                             << list({ "u=1", "r" }) << list({ "a" });
    }
    void anEntryIsUndoneByARequest()
    {
        QFETCH(QByteArray, line);
        QFETCH(QStringList, packages);
        QFETCH(QStringList, removals);
        append("Start-Date: 2026-01-02  03:04:05\n" + line + "\n\n");
        HistoryModel model;
        QTRY_COMPARE(model.count(), 1);
        const Pakmart::Request request = model.undoRequest(0);
        QCOMPARE(request.kind, Pakmart::Request::Install);
        QCOMPARE(request.packages, packages);
        QCOMPARE(request.removals, removals);
        for (const int row : { -1, 1 })
            QVERIFY(model.undoRequest(row).packages.isEmpty()
                    && model.undoRequest(row).removals.isEmpty());
    }

    void nonsenseIsSkipped()
    {
        append("no field\n: \nStart-Date: nonsense\nInstall: x (\n\nInstall: a (1)\n\n"
               "Start-Date: 2026-01-02  03:04:05\nInstall: a (1), ), ((, b (2\n\n"
               + QByteArray(3000000, 'x') + "\n\n");
        HistoryModel model;
        QTRY_COMPARE(model.count(), 1);
        QCOMPARE(model.value(0, QStringLiteral("installed")).toStringList().first(),
                 QStringLiteral("a 1"));
    }

    void unreadableLogIsAFailure()
    {
        QVERIFY(QDir().mkpath(folder() + QStringLiteral("/history.log")));
        HistoryModel model;
        QTRY_COMPARE(model.state(), HistoryModel::Failed);
        QCOMPARE(model.stateText(), QStringLiteral("The history cannot be read."));
    }
};

QTEST_GUILESS_MAIN(HistoryModelTest)
#include "tst_historymodel.moc"
