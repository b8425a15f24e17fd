// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the files of Debian say about a restart, and when they change.

#include "host/restarthint.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QtTest>

using Pakmart::RestartHint;

class RestartHintTest : public QObject
{
    Q_OBJECT

private:
    const QString m_folder
        = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QStringLiteral("/run");
    const QString m_file = m_folder + QStringLiteral("/reboot-required");

    static bool write(const QString& path, const QByteArray& text)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    }

private slots:
    void init()
    {
        QDir(m_folder).removeRecursively();
        QVERIFY(QDir().mkpath(m_folder));
    }

    void theFilesSayWhatNeedsARestart_data()
    {
        QTest::addColumn<bool>("isRequired");
        QTest::addColumn<QByteArray>("list"); // null: there is no such file
        QTest::addColumn<bool>("isNeeded");
        QTest::addColumn<QStringList>("packages");
        QTest::newRow("nothing") << false << QByteArray() << false << QStringList();
        QTest::newRow("no list") << true << QByteArray() << true << QStringList();
        QTest::newRow("only a list") << false << QByteArray("libc6\n") << false << QStringList();
        QTest::newRow("packages, one of them twice")
            << true << QByteArray("linux-image-amd64\nlibc6\nlibc6\n") << true
            << QStringList{ "libc6", "linux-image-amd64" };
        QTest::newRow("without a line end")
            << true << QByteArray("dbus") << true << QStringList{ "dbus" };
        QTest::newRow("what is no name")
            << true << QByteArray("<b>x</b>\nlibc6\n../etc\n\x1b[8m\n\n") << true
            << QStringList{ "libc6" };
        QTest::newRow("very long")
            << true << QByteArray("libc6\n").repeated(100000) << true << QStringList{ "libc6" };
    }
    void theFilesSayWhatNeedsARestart()
    {
        QFETCH(bool, isRequired);
        QFETCH(QByteArray, list);
        QFETCH(bool, isNeeded);
        QFETCH(QStringList, packages);
        if (isRequired)
            QVERIFY(write(m_file, "*** System restart required ***\n"));
        if (!list.isNull())
            QVERIFY(write(m_file + QStringLiteral(".pkgs"), list));
        const RestartHint hint;
        QCOMPARE(hint.isNeeded(), isNeeded);
        QCOMPARE(hint.packages(), packages);
    }
    void aListThatIsAFolderIsNoList()
    {
        QVERIFY(write(m_file, "x"));
        QVERIFY(QDir().mkpath(m_file + QStringLiteral(".pkgs")));
        const RestartHint hint;
        QVERIFY(hint.isNeeded());
        QCOMPARE(hint.packages(), QStringList());
    }

    void theFilesAreFollowed()
    {
        const RestartHint hint;
        QSignalSpy changes(&hint, &RestartHint::changed);
        QVERIFY(write(m_file, "x"));
        QTRY_VERIFY(hint.isNeeded());
        QVERIFY(write(m_file + QStringLiteral(".pkgs"), "libc6\n"));
        QTRY_COMPARE(hint.packages(), QStringList{ "libc6" });
        QVERIFY(write(m_file + QStringLiteral(".pkgs"), "libc6\ndbus\n"));
        QTRY_COMPARE(hint.packages(), (QStringList{ "dbus", "libc6" }));
        QVERIFY(QFile::remove(m_file));
        QTRY_VERIFY(!hint.isNeeded());
        QCOMPARE(hint.packages(), QStringList());
        QCOMPARE(changes.size(), 4);
    }
};

QTEST_GUILESS_MAIN(RestartHintTest)
#include "tst_restarthint.moc"
