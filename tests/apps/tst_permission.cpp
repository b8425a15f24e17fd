// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a user who is not root is told of a change that only root can make.

#include "apps/pakmart/permission.h"
#include "apps/pakmart/transaction.h"

#include <QtTest>

using Pakmart::Plan;
using Pakmart::PlanRow;
using Pakmart::Request;

class PermissionTest : public QObject
{
    Q_OBJECT

private:
    static Plan planOf(PlanRow::Action action)
    {
        PlanRow row;
        row.package = QStringLiteral("app");
        row.action = action;
        Plan plan;
        plan.rows << row;
        return plan;
    }

private slots:
    void changesOfRoot_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("packages");
        QTest::addColumn<int>("action");
        QTest::addColumn<bool>("downloads");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char* name, Request::Kind kind, const char* packages,
                            PlanRow::Action action, bool downloads, const char* reason) {
            QTest::newRow(name) << int(kind) << QString::fromLatin1(packages) << int(action)
                                << downloads << QString::fromLatin1(reason);
        };
        const char* const older = "put an older version in place of a newer one";
        const char* const fetch = "download this without installing it";
        row("install", Request::Install, "app", PlanRow::Installed, false, "");
        row("download", Request::Install, "app", PlanRow::Installed, true, "");
        row("removal", Request::Remove, "app", PlanRow::Removed, false, "");
        row("downgrade", Request::Install, "app", PlanRow::Downgraded, false, older);
        row("download of a downgrade", Request::Install, "app", PlanRow::Downgraded, true, older);
        row("reinstall", Request::Reinstall, "app", PlanRow::Reinstalled, false, "");
        row("download of a reinstall", Request::Reinstall, "app", PlanRow::Reinstalled, true,
            fetch);
        row("upgrade", Request::Upgrade, "", PlanRow::Upgraded, false, "");
        row("download of all upgrades", Request::Upgrade, "", PlanRow::Upgraded, true, fetch);
        row("download of an upgrade", Request::Upgrade, "app", PlanRow::Upgraded, true, "");
    }
    void changesOfRoot()
    {
        QFETCH(int, kind);
        QFETCH(QString, packages);
        QFETCH(int, action);
        QFETCH(bool, downloads);
        QFETCH(QString, reason);
        Change change;
        change.request.kind = Request::Kind(kind);
        change.request.packages = packages.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        change.consent.downloadOnly = downloads;
        const QString text = RefusalWithoutRoot(change, planOf(PlanRow::Action(action)),
                                                { QStringLiteral("words") });
        QCOMPARE(text,
                 reason.isEmpty() ? QString()
                                  : QStringLiteral("nothing was changed: only root may %1: "
                                                   "sudo pakmart words")
                                        .arg(reason));
    }

    // The command can be pasted into a shell.
    void theCommandIsQuoted_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::newRow("plain") << QStringList{ QStringLiteral("install"),
                                               QStringLiteral("--package"),
                                               QStringLiteral("app=1:2.0-1") };
        QTest::newRow("blank and quotes")
            << QStringList{ QStringLiteral("install"), QStringLiteral("it's \"Dice\" & Cards") };
        QTest::newRow("hostile") << QStringList{ QStringLiteral("$(id)"), QStringLiteral("`id`"),
                                                 QStringLiteral("a;b"), QStringLiteral("~") };
        QTest::newRow("nothing") << QStringList{ QString(), QStringLiteral("a\nb") };
    }
    void theCommandIsQuoted()
    {
        QFETCH(QStringList, words);
        const QString text = RefusalWithoutRoot(Change(), planOf(PlanRow::Downgraded), words);
        const QString command = text.mid(text.indexOf(QLatin1String("sudo ")));
        QVERIFY2(command.startsWith(QLatin1String("sudo pakmart ")), qPrintable(text));
        QProcess shell; // with a sudo that prints the words it gets
        shell.start(QStringLiteral("/bin/sh"),
                    { QStringLiteral("-c"),
                      QStringLiteral("sudo() { printf '%s\\0' \"$@\"; }; ") + command });
        QVERIFY(shell.waitForFinished(60000));
        QByteArray expected("pakmart");
        for (const QString& word : words)
            expected += '\0' + word.toUtf8();
        QCOMPARE(shell.readAllStandardOutput(), expected + '\0');
        QCOMPARE(shell.readAllStandardError(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(PermissionTest)
#include "tst_permission.moc"
