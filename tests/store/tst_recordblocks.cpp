// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reading records for the checks: in large blocks, and every readable record even if
// another is unreadable.

#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/recordblocks.h"
#include "store/storecheck.h"
#include "tests/store/storetest.h"

#include <QTemporaryDir>

#include <sys/stat.h>

using namespace Agent;

namespace
{

constexpr int length = 100;

// Counts reads, and fails those that touch a byte.
class CountedFiles : public StoreFiles
{
public:
    off_t Seek(int descriptor, off_t position) override
    {
        m_at = position;
        return StoreFiles::Seek(descriptor, position);
    }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        ++reads;
        if (bad >= m_at && bad < m_at + off_t(size))
            return -1;
        return StoreFiles::Read(descriptor, bytes, size);
    }

    int reads = 0;
    off_t bad = -1;

private:
    off_t m_at = 0;
};

} // namespace

class RecordBlocksTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    const std::string m_path = m_folder.filePath("a.dat").toStdString();

    static bool isRecord(const std::uint8_t* record, int number)
    {
        return record && record[0] == 0 && record[4] == number % 251 && record[99] == number / 251;
    }

private slots:
    // 50,000 records, 5 megabytes.
    void initTestCase()
    {
        QByteArray bytes;
        for (int i = 0; i < 50000; ++i) {
            QByteArray record(length, 0);
            record[4] = char(i % 251);
            record[99] = char(i / 251);
            bytes += record;
        }
        QFile file(m_folder.filePath("a.dat"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes + "rest"), qint64(bytes.size() + 4));
    }

    void aRowOfRecordsTakesFewReads()
    {
        CountedFiles files;
        RecordBlocks records(m_path, length, &files);
        QCOMPARE(records.Count(), 50000);
        QCOMPARE(records.FileSize(), 5000004);
        for (int i = 0; i < 50000; ++i)
            QVERIFY(isRecord(records.Read(i), i));
        QVERIFY(!records.Read(50000));
        QVERIFY(!records.Read(-1));
        QVERIFY2(files.reads <= 7, qPrintable(QString::number(files.reads)));
    }

    void theCheckOfAMillionRecordsReadsBlocks()
    {
        constexpr int count = 1000000, small = 32;
        const std::string path = m_folder.filePath("million.dat").toStdString();
        DataFile* const file = MakeDataFile(0, path.c_str(), small);
        std::uint32_t first = 0;
        const std::vector<std::uint8_t> records(std::size_t(count) * small, 0);
        QCOMPARE(AddBigRec(file, &first, records.data(), count), 0);
        for (std::uint32_t number = 1; number < 50; ++number)
            QCOMPARE(DeleteRec(file, number * 20011), 0);
        QCOMPARE(CloseDataFile(file), 0);
        CountedFiles files;
        QCOMPARE(CheckDataFile(path, small, &files), Findings());
        // 31 megabytes, and each deleted record once more, along their chain.
        QVERIFY2(files.reads < 100, qPrintable(QString::number(files.reads)));
    }

    void theCheckOfAnIndexThatWasFilledInOrderReadsBlocks()
    {
        const std::string path = m_folder.filePath("long.idx").toStdString();
        QCOMPARE(InitIndex(), 0);
        IndexFile* const index = MakeIndex(0, path.c_str(), 10, 0);
        for (std::uint32_t number = 1; number <= 100000; ++number) {
            char key[11];
            std::snprintf(key, sizeof key, "%010u", number);
            QCOMPARE(AddKey(index, &number, key), 0);
        }
        QCOMPARE(CloseIndex(index), 0);
        UnInitIndex();
        std::vector<IndexEntry> entries;
        CountedFiles files;
        QCOMPARE(CheckIndex(path, 10, false, &entries, &files), Findings());
        QCOMPARE(entries.size(), std::size_t(100000));
        // 4 megabytes; an inner page is read alone.
        QVERIFY2(files.reads < 400, qPrintable(QString::number(files.reads)));
    }

    void aJumpReadsOneRecordAndKeepsTheBlock()
    {
        CountedFiles files;
        RecordBlocks records(m_path, length, &files);
        QVERIFY(isRecord(records.Read(1), 1));
        for (int i = 2; i < 100; ++i) {
            QVERIFY(isRecord(records.Read(i), i));
            QVERIFY(isRecord(records.Read(49000 - 50 * i), 49000 - 50 * i));
        }
        QCOMPARE(files.reads, 1 + 98);
    }

    void oneRecordThatCannotBeReadHidesNoOther()
    {
        CountedFiles files;
        files.bad = 777 * length + 5;
        RecordBlocks records(m_path, length, &files);
        for (int i = 1; i < 50000; ++i)
            QCOMPARE(isRecord(records.Read(i), i), i != 777);
    }

    void whatIsNoFileHasNoRecords()
    {
        const QByteArray pipe = m_folder.filePath("pipe").toLocal8Bit();
        QCOMPARE(::mkfifo(pipe.constData(), 0600), 0);
        for (const char* const path : { pipe.constData(), "/", "/nonexistent" }) {
            RecordBlocks records(path, length);
            QVERIFY(!records);
            QCOMPARE(records.Count(), 0);
            QVERIFY(!records.Read(0));
        }
    }

    void theCheckOfADataFileReadsBlocks()
    {
        CountedFiles files;
        QVERIFY(!CheckDataFile(m_path, length, &files).empty());
        QVERIFY2(files.reads <= 8, qPrintable(QString::number(files.reads)));
    }
};

QTEST_GUILESS_MAIN(RecordBlocksTest)
#include "tst_recordblocks.moc"
