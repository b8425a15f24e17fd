// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares data files with a map and a list of free numbers in long random sequences:
// every result is compared, and the file is checked at intervals. PAKMART_TEST_SEED
// repeats a run.

#include "store/datafile.h"
#include "store/storecheck.h"
#include "tests/store/storefixture.h"

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

    void step(bool grows)
    {
        const std::uint32_t what = m_random.below(1000);
        if (what < (grows ? 350u : 150u))
            add();
        else if (what < 500)
            erase();
        else if (what < 700)
            get();
        else if (what < 800)
            put();
        else if (what < 850)
            getMany();
        else if (what < 880)
            putMany();
        else if (what < 995)
            count();
        else if (what < 996 && m_random.below(10) == 0)
            fix();
        else if (what < 998)
            ToggleFlushing(m_file, std::uint8_t(m_random.below(2)), 0);
        else
            reopen();
    }

    void check()
    {
        QCOMPARE(CheckDataFile(m_path, m_asked), Findings());
        Record record(m_length);
        for (const auto& [number, content] : m_live) {
            QCOMPARE(GetRec(m_file, number, record.data()), 0);
            QVERIFY(record == content);
        }
    }

private:
    Record newRecord()
    {
        Record record(m_length);
        for (std::size_t i = 4; i < m_length; i += 13)
            record[i] = char(m_random.below(256));
        return record;
    }

    // A number of a live record, or 0.
    std::uint32_t anyLive()
    {
        const auto at = m_live.lower_bound(m_random.below(m_count));
        return at != m_live.end() ? at->first : m_live.empty() ? 0 : m_live.begin()->first;
    }

    void add()
    {
        const Record record = newRecord();
        const std::uint32_t expected = m_free.empty() ? m_count : m_free.back();
        QCOMPARE(FirstRec(m_file), expected);
        std::uint32_t number = 0;
        QCOMPARE(AddRec(m_file, &number, record.data()), 0);
        QCOMPARE(number, expected);
        m_free.empty() ? void(++m_count) : m_free.pop_back();
        m_live[number] = record;
    }

    void erase()
    {
        const std::uint32_t number = anyLive();
        if (number == 0)
            return;
        QCOMPARE(DeleteRec(m_file, number), 0);
        m_live.erase(number);
        m_free.push_back(number);
    }

    void get()
    {
        Record record(m_length);
        if (m_random.below(20) == 0) {
            QCOMPARE(GetRec(m_file, m_count + m_random.below(5), record.data()), -1);
            QCOMPARE(taerror, 5);
            return;
        }
        const std::uint32_t number = anyLive();
        if (number == 0)
            return;
        QCOMPARE(GetRec(m_file, number, record.data()), 0);
        QVERIFY(record == m_live[number]);
    }

    void put()
    {
        const std::uint32_t number = anyLive();
        if (number == 0)
            return;
        const Record record = newRecord();
        QCOMPARE(PutRec(m_file, number, record.data()), 0);
        m_live[number] = record;
    }

    void getMany()
    {
        const std::uint32_t first = m_random.below(m_count) + 1;
        const std::uint32_t wanted = m_random.below(12) + 1;
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
    void putMany()
    {
        const std::uint32_t first = anyLive();
        Record all;
        std::uint32_t count = 0;
        for (; count < 5 && first != 0 && m_live.count(first + count) > 0; ++count) {
            const Record record = newRecord();
            all.insert(all.end(), record.begin(), record.end());
            m_live[first + count] = record;
        }
        if (count > 0)
            QCOMPARE(PutBigRec(m_file, first, all.data(), count), 0);
    }

    void count()
    {
        QCOMPARE(FileLen(m_file), m_count);
        QCOMPARE(UsedRecs(m_file), std::uint32_t(m_live.size()));
    }

    void fix()
    {
        QVERIFY(FixHeader(m_file));
        if (m_length <= 2508)
            std::sort(m_free.begin(), m_free.end());
    }

    void reopen()
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

class DataFileModelTest : public StoreTest
{
    Q_OBJECT

private slots:

    void randomOperations_data();
    void randomOperations();
};

void DataFileModelTest::randomOperations_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("operations");
    QTest::newRow("shorter than a header") << 5 << 200000;
    QTest::newRow("as long as a header") << 31 << 200000;
    QTest::newRow("a record of a catalog") << 2012 << 250000;
    QTest::newRow("the longest that are fixed") << 2508 << 50000;
    QTest::newRow("the longest of all") << int(maxRecordLength) << 50000;
}

void DataFileModelTest::randomOperations()
{
    QFETCH(int, length);
    QFETCH(int, operations);
    Pair pair(path(), std::int16_t(length), &m_random);
    for (int i = 1; i <= operations && !QTest::currentTestFailed(); ++i) {
        pair.step(i / 5000 % 2 == 0);
        if (i % 10000 == 0)
            pair.check();
    }
}

QTEST_GUILESS_MAIN(DataFileModelTest)
#include "tst_datafilemodel.moc"
