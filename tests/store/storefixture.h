// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "store/indexfile.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>

#include <memory>
#include <string>

// What a test of the record store begins with: the page cache, random numbers, and for each
// function a folder of its own. No function may leave a descriptor open.
class StoreTest : public QObject
{
    Q_OBJECT

protected slots:
    void initTestCase()
    {
        QCOMPARE(InitIndex(), 0);
        m_random = Random::announced();
    }
    void cleanupTestCase() { UnInitIndex(); }
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_descriptors = OpenDescriptors();
    }
    void cleanup() { QCOMPARE(OpenDescriptors(), m_descriptors); }

protected:
    std::string path(const std::string& name = "file") const
    {
        return m_folder->filePath(QString::fromStdString(name)).toStdString();
    }
    QByteArray load(const std::string& name = "file") const
    {
        QFile file(QString::fromStdString(path(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void store(const QByteArray& bytes, const std::string& name = "file") const
    {
        QFile file(QString::fromStdString(path(name)));
        // Some file systems wait for the disk when a file is truncated and closed.
        file.remove();
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    Random m_random{ 0 };

    int m_descriptors = 0; // open before the function
};
