// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shared by the tests of pakmart-dbtool: running it, and damaging files.

#pragma once

#include "store/bytes.h"
#include "store/indexfile.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using Agent::PutInt32;

class DbtoolTest : public QObject
{
protected:
    struct Result {
        int status; // -1: it did not end by itself
        QString out, err;
    };

    // The words are separated by blanks. In a word that begins with @, the rest is a file
    // name in the test's folder.
    Result run(const QString& words, const QStringList& more = {}) const
    {
        QStringList arguments = words.split(' ', Qt::SkipEmptyParts) + more;
        for (QString& word : arguments)
            if (word.startsWith('@'))
                word = path(word.mid(1));
        return start(QStringLiteral(DBTOOL), arguments);
    }

    static Result start(const QString& program, const QStringList& arguments,
                        const QString& output = QString())
    {
        QProcess process;
        if (!output.isEmpty())
            process.setStandardOutputFile(output);
        process.start(program, arguments);
        if (!process.waitForFinished(60000))
            qFatal("pakmart-dbtool does not end");
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                 QString::fromLatin1(process.readAllStandardOutput()),
                 QString::fromLatin1(process.readAllStandardError()) };
    }

    QString path(const QString& name) const { return m_folder->filePath(name); }
    std::string native(const QString& name) const { return path(name).toStdString(); }

    QByteArray bytes(const QString& name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void setBytes(const QString& name, const QByteArray& bytes) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }
    void patch(const QString& name, qint64 offset, const QByteArray& bytes) const
    {
        QByteArray all = this->bytes(name);
        QVERIFY(offset + bytes.size() <= all.size());
        all.replace(int(offset), bytes.size(), bytes);
        setBytes(name, all);
    }
    static QByteArray word(std::int32_t value)
    {
        QByteArray bytes(4, 0);
        PutInt32(reinterpret_cast<std::uint8_t*>(bytes.data()), value);
        return bytes;
    }

    // Overwrites up to `most` bytes of a file with random ones. Returns the place.
    struct Hit {
        int begin, end;
        bool touches(int from, int to) const { return begin < to && end > from; }
    };
    Hit patchAtRandom(const QString& name, Random* random, int most) const
    {
        QByteArray junk(int(random->below(most)) + 1, 0);
        for (char& c : junk)
            c = char(random->below(256));
        const int offset = int(random->below(bytes(name).size() - junk.size()));
        patch(name, offset, junk);
        return { offset, offset + int(junk.size()) };
    }

    QStringList files() const { return QDir(m_folder->path()).entryList(QDir::Files); }

    // A folder of its own for each test.
    void newFolder() { m_folder.reset(new QTemporaryDir); }

private:
    QScopedPointer<QTemporaryDir> m_folder;
};
