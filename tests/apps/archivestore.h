// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A base of tests with a store of packages made as they go, its server, and a private root
// with the real package tools.

#pragma once

#include "server/serverprocess.h"
#include "support/cconfigfile.h"
#include "tests/common/testarchive.h"

#include <QProcess>
#include <QtTest>
#include <memory>

class ArchiveStore
{
protected:
    const QString m_root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
    const QString m_dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
    const QString m_store = m_dir + QStringLiteral("/store");
    std::unique_ptr<ServerProcess> m_server;
    TestArchive m_archive;

    void makeRoot() const
    {
        QCOMPARE(QProcess::execute(
                     QStringLiteral(MKROOT),
                     { QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), m_root }),
                 0);
    }
    void serve()
    {
        m_server = std::make_unique<ServerProcess>(m_store);
        QVERIFY(m_server->isRunning());
        serverIs(m_server->url());
    }
    void settingIs(const char* file, const char* key, const QString& value) const
    {
        QVERIFY(CConfigFile((m_root + QLatin1String(file)).toStdString(), true)
                    .SetValue(key, value.toStdString(), true));
    }
    void serverIs(const QString& url) const
    {
        settingIs("/usr/share/apps/vantrelagent/.vauf", "agent api url",
                  url + QStringLiteral("/getagentapi.php"));
    }
    bool write(const char* name, const QByteArray& text) const
    {
        return WriteTextFile(m_store + QLatin1Char('/') + QLatin1String(name), text);
    }
    // Puts the packages made so far into the store's pool, for agents to notice.
    void publish(const QList<TestArchive::Package>& packages)
    {
        for (const TestArchive::Package& package : packages) {
            m_archive.add(package);
            const QString file = m_archive.fileOf(package);
            QVERIFY(
                WriteTextFile(m_store + QStringLiteral("/pool/main/") + QFileInfo(file).fileName(),
                              m_archive.contents(file)));
        }
        // apt checks with a resolution of one second whether a list has changed.
        QTest::qWait(1100);
        QVERIFY(write("pool/main/Packages", m_archive.index()));
        QVERIFY(write("sources",
                      "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: "
                          + QByteArray::number(++m_edition) + '\n'));
    }

private:
    int m_edition = 0;
};
