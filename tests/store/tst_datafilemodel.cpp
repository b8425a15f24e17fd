// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares data files with a map and a list of free numbers in long random sequences:
// every result is compared, and the file is checked at intervals. PAKMART_TEST_SEED
// repeats a run.

#include "store/datafile.h"
#include "store/storecheck.h"
#include "tests/store/storetest.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <map>

using namespace Agent;

namespace
{

using Record = std::vector<char>;

// A data file and its model, with the same operations on both.
class Pair
{
public:
    Pair(const std::string& path, std::int16_t length, Random* random)
        : m_path(path), m_asked(length), m_random(*random),
          m_file(MakeDataFile(0, path.c_str(), length))
    {
        QVERIFY(m_file);
        m_length = std::size_t(m_file->recordLength);
    }
    ~Pair() { CloseDataFile(m_file); }

    void Step(bool grows)
    {
        const std::uint32_t what = m_random.Below(1000);
        if (what < (grows ? 350u : 150u))
            Add();
        else if (what < 500)
            Delete();
        else if (what < 700)
            Get();
        else if (what < 800)
            Put();
        else if (what < 850)
            GetMany();
        else if (what < 880)
            PutMany();
        else if (what < 995)
            Count();
        else if (what < 996 && m_random.Below(10) == 0)
            Fix();
        else if (what < 998)
            ToggleFlushing(m_file, std::uint8_t(m_random.Below(2)), 0);
        else
            Reopen();
    }

    void Check()
    {
        QCOMPARE(CheckDataFile(m_path, m_asked), Findings());
        Record record(m_length);
        for (const auto& [number, content] : m_live) {
            QCOMPARE(GetRec(m_file, number, record.data()), 0);
            QVERIFY(record == content);
        }
    }

private:
    Record NewRecord()
    {
        Record record(m_length);
        for (std::size_t i = 4; i < m_length; i += 13)
            record[i] = char(m_random.Below(256));
        return record;
    }

    // A number of a live record, or 0.
    std::uint32_t AnyLive()
    {
        const auto at = m_live.lower_bound(m_random.Below(m_count));
        return at != m_live.end() ? at->first : m_live.empty() ? 0 : m_live.begin()->first;
    }

    void Add()
    {
        const Record record = NewRecord();
        const std::uint32_t expected = m_free.empty() ? m_count : m_free.back();
        QCOMPARE(FirstRec(m_file), expected);
        std::uint32_t number = 0;
        QCOMPARE(AddRec(m_file, &number, record.data()), 0);
        QCOMPARE(number, expected);
        m_free.empty() ? void(++m_count) : m_free.pop_back();
        m_live[number] = record;
    }

    void Delete()
    {
        const std::uint32_t number = AnyLive();
        if (number == 0)
            return;
        QCOMPARE(DeleteRec(m_file, number), 0);
        m_live.erase(number);
        m_free.push_back(number);
    }

    void Get()
    {
        Record record(m_length);
        if (m_random.Below(20) == 0) {
            QCOMPARE(GetRec(m_file, m_count + m_random.Below(5), record.data()), -1);
            QCOMPARE(taerror, 5);
            return;
        }
        const std::uint32_t number = AnyLive();
        if (number == 0)
            return;
        QCOMPARE(GetRec(m_file, number, record.data()), 0);
        QVERIFY(record == m_live[number]);
    }

    void Put()
    {
        const std::uint32_t number = AnyLive();
        if (number == 0)
            return;
        const Record record = NewRecord();
        QCOMPARE(PutRec(m_file, number, record.data()), 0);
        m_live[number] = record;
    }

    void GetMany()
    {
        const std::uint32_t first = m_random.Below(m_count) + 1;
        const std::uint32_t wanted = m_random.Below(12) + 1;
        Record room(wanted * m_length);
        const std::uint32_t there = std::min(wanted, m_count - first);
        QCOMPARE(GetBigRec(m_file, first, room.data(), wanted), there);
        for (std::uint32_t i = 0; i < there; ++i) {
            const auto at = m_live.find(first + i);
            if (at != m_live.end())
                QVERIFY(std::memcmp(&room[i * m_length], at->second.data(), m_length) == 0);
        }
    }

    // Overwrites adjacent live records.
    void PutMany()
    {
        const std::uint32_t first = AnyLive();
        Record all;
        std::uint32_t count = 0;
        for (; count < 5 && first != 0 && m_live.count(first + count) > 0; ++count) {
            const Record record = NewRecord();
            all.insert(all.end(), record.begin(), record.end());
            m_live[first + count] = record;
        }
        if (count > 0)
            QCOMPARE(PutBigRec(m_file, first, all.data(), count), 0);
    }

    void Count()
    {
        QCOMPARE(FileLen(m_file), m_count);
        QCOMPARE(UsedRecs(m_file), std::uint32_t(m_live.size()));
    }

    void Fix()
    {
        QVERIFY(FixHeader(m_file));
        if (m_length <= 2508)
            std::sort(m_free.begin(), m_free.end());
    }

    void Reopen()
    {
        QCOMPARE(CloseDataFile(m_file), 0);
        m_file = OpenDataFile(0, m_path.c_str(), m_asked);
        QVERIFY(m_file);
    }

    const std::string m_path;
    const std::int16_t m_asked;
    Random& m_random;
    DataFile* m_file;
    std::size_t m_length = 0;
    std::map<std::uint32_t, Record> m_live;
    std::vector<std::uint32_t> m_free; // the last one is used first
    std::uint32_t m_count = 1;
};

} // namespace

class TestDataFileModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_random = Random::Announced(); }
    void init() { m_descriptors = OpenDescriptors(); }
    void cleanup() { QCOMPARE(OpenDescriptors(), m_descriptors); }

    void RandomOperations_data();
    void RandomOperations();

private:
    QTemporaryDir m_folder;
    Random m_random{ 0 };
    int m_descriptors = 0;
};

void TestDataFileModel::RandomOperations_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("operations");
    QTest::newRow("shorter than a header") << 5 << 200000;
    QTest::newRow("as long as a header") << 31 << 200000;
    QTest::newRow("a record of a catalog") << 2012 << 250000;
    QTest::newRow("the longest that are fixed") << 2508 << 50000;
    QTest::newRow("the longest of all") << int(maxRecordLength) << 50000;
}

void TestDataFileModel::RandomOperations()
{
    QFETCH(int, length);
    QFETCH(int, operations);
    Pair pair(m_folder.filePath("random").toStdString(), std::int16_t(length), &m_random);
    for (int i = 1; i <= operations && !QTest::currentTestFailed(); ++i) {
        pair.Step(i / 5000 % 2 == 0);
        if (i % 10000 == 0)
            pair.Check();
    }
}

QTEST_GUILESS_MAIN(TestDataFileModel)
#include "tst_datafilemodel.moc"
