// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shared by the tests of the databases: records written in hex, reading and damaging
// files.

#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QtTest>

#include "store/datafile.h"
#include "store/indexfile.h"
#include "tests/common/plainuser.h"
#include "tests/db/mixedunits.h"
#include "tests/store/storetest.h"

#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

using Agent::CheckIndex;
using Agent::IndexEntry;

// A record of zeros with bytes written into it.
class Golden
{
public:
    explicit Golden(int length) : m_bytes(length, '\0') { }
    Golden& at(int offset, const char* hex)
    {
        const QByteArray bytes = QByteArray::fromHex(hex);
        m_bytes.replace(offset, bytes.size(), bytes);
        return *this;
    }
    QByteArray bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

inline QByteArray ReadWhole(const std::string& path)
{
    QFile file(QFile::decodeName(path.c_str()));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

inline void WriteWhole(const std::string& path, const QByteArray& bytes)
{
    QFile file(QFile::decodeName(path.c_str()));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", path.c_str());
}

// A record of a data file, as hex.
inline QByteArray RecordInFile(const std::string& path, int number, int length)
{
    return ReadWhole(path).mid(number * length, length).toHex();
}

// The keys and record numbers of an index, in order.
using Items = std::vector<std::pair<std::string, int>>;

inline Items ItemsOf(const std::string& path, int keyLength, bool duplicates)
{
    std::vector<IndexEntry> entries;
    const Findings findings = CheckIndex(path, keyLength, duplicates, &entries);
    if (!findings.empty())
        return { { findings.front(), -1 } };
    Items items;
    for (const IndexEntry& entry : entries)
        items.emplace_back(entry.key, int(entry.record));
    return items;
}

namespace QTest
{
template <> inline char* toString(const Items& items)
{
    QByteArray text;
    for (const auto& item : items)
        text += '"' + QByteArray::fromStdString(item.first) + "\" "
            + QByteArray::number(item.second) + "; ";
    return qstrdup(text.left(900).constData());
}
} // namespace QTest

// The files of a database, saved so that they can be damaged one by one.
class Damage
{
public:
    explicit Damage(const std::vector<std::string>& paths) : m_paths(paths)
    {
        for (const std::string& path : m_paths)
            m_bytes.push_back(ReadWhole(path));
    }
    ~Damage() { restore(); }

    // Restores the original files.
    void restore()
    {
        for (std::size_t i = 0; i < m_paths.size(); ++i) {
            QDir().rmdir(QString::fromStdString(m_paths[i]));
            chmod(m_paths[i].c_str(), 0666);
            WriteWhole(m_paths[i], m_bytes[i]);
        }
    }

    // Replaces each file in turn by something that cannot be opened as such a file.
    void forEachUnusable(const std::function<void()>& check)
    {
        const PlainUserOwns owner(m_paths);
        forEach(check, [](const std::string& path, const QByteArray&) { WriteWhole(path, ""); });
        forEach(check, [](const std::string& path, const QByteArray&) {
            unlink(path.c_str());
            QDir().mkdir(QString::fromStdString(path));
        });
        forEach(check, [](const std::string& path, const QByteArray& bytes) {
            WriteWhole(path, bytes.left(30));
        });
        forEach(
            [&check] {
                const PlainUser nobody;
                check();
            },
            [](const std::string& path, const QByteArray&) { chmod(path.c_str(), 0); });
    }

    // Each file in turn is cut off, and gets other bytes; then several files at a time.
    void forEachDamaged(Random& random, const std::function<void()>& check)
    {
        for (int part = 1; part < 4; ++part)
            forEach(check, [part](const std::string& path, const QByteArray& bytes) {
                WriteWhole(path, bytes.left(bytes.size() * part / 4));
            });
        for (int round = 0; round < 12; ++round)
            forEach(check, [&random](const std::string& path, const QByteArray& bytes) {
                QByteArray damaged = bytes;
                for (int i = 0; i < 40; ++i)
                    damaged[int(random.below(damaged.size()))] = char(random.below(256));
                WriteWhole(path, damaged);
            });
        forEachMixed(random, check);
    }

    // Mixes up records and pages in one file or in several.
    void forEachMixed(Random& random, const std::function<void()>& check)
    {
        for (int round = 0; round < 20 && !QTest::currentTestFailed(); ++round) {
            const bool several = round % 4 != 0;
            const std::size_t first = random.below(m_paths.size());
            for (std::size_t i = 0; i < m_paths.size(); ++i) {
                if (i != first && (!several || random.below(2) == 0))
                    continue;
                QByteArray bytes = m_bytes[i];
                for (int times = 1 + int(random.below(4)); times > 0; --times)
                    MixUnits(bytes, UnitLength(m_paths[i]), random);
                WriteWhole(m_paths[i], bytes);
            }
            check();
            restore();
        }
    }

private:
    // Gives a plain user access to the files.
    struct PlainUserOwns {
        explicit PlainUserOwns(const std::vector<std::string>& paths)
        {
            for (const std::string& path : paths)
                if (geteuid() == 0 && chown(path.c_str(), PlainUser::nobody, PlainUser::nobody))
                    qFatal("cannot give %s away", path.c_str());
        }
    };

    template <typename Change> void forEach(const std::function<void()>& check, Change change)
    {
        for (std::size_t i = 0; i < m_paths.size() && !QTest::currentTestFailed(); ++i) {
            change(m_paths[i], m_bytes[i]);
            check();
            restore();
        }
    }

    const std::vector<std::string> m_paths;
    std::vector<QByteArray> m_bytes;
};
