// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An index that is written at once from its gathered keys holds what one with the same
// additions does, is sound and smaller, and can be changed like any other.

#include "store/bytes.h"
#include "store/newkeys.h"
#include "store/ownfiles.h"
#include "store/packedkey.h"
#include "tests/store/failingmemory.h"
#include "tests/store/storefixture.h"
#include "tests/store/storeshims.h"

#include <QtTest>
#include <cstring>
#include <map>

using namespace Agent;

namespace
{

// The items of an index, in order.
using Items = std::vector<std::pair<std::string, std::uint32_t>>;

std::string Folded(std::string text)
{
    for (char& c : text)
        c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return text;
}

QByteArray Formatted(int number)
{
    return QByteArray::number(number).rightJustified(8, '0');
}

class Index
{
public:
    Index(std::string path, int keyLength, bool duplicates, StoreFiles* files = nullptr)
        : m_path(std::move(path)), m_keyLength(keyLength), m_duplicates(duplicates),
          m_index(MakeOwnIndex(files, m_path.c_str(), std::int16_t(keyLength), duplicates))
    {
    }
    ~Index() { close(); }
    Index(const Index&) = delete;
    Index& operator=(const Index&) = delete;

    IndexFile* handle() const { return m_index; }
    int close() { return m_index ? CloseIndex(std::exchange(m_index, nullptr)) : 0; }
    int change(int (*step)(IndexFile*, std::uint32_t*, char*), const std::string& key,
               std::uint32_t record) const
    {
        char buffer[400] = {};
        std::strncpy(buffer, key.c_str(), sizeof buffer - 1);
        return step(m_index, &record, buffer);
    }
    int add(const std::string& key, std::uint32_t record) const
    {
        return change([](IndexFile* index, std::uint32_t* number,
                         char* text) { return AddKey(index, number, text); },
                      key, record);
    }
    int erase(const std::string& key, std::uint32_t record) const
    {
        return change(DeleteKey, key, record);
    }
    // Closes it first.
    Items items()
    {
        close();
        std::vector<IndexEntry> entries;
        const Findings findings = CheckIndex(m_path, m_keyLength, m_duplicates, &entries);
        [&] { QCOMPARE(findings, Findings()); }();
        Items items;
        for (const IndexEntry& entry : entries)
            items.emplace_back(entry.key, entry.record);
        return items;
    }

private:
    const std::string m_path;
    const int m_keyLength;
    const bool m_duplicates;
    IndexFile* m_index;
};

} // namespace

class NewKeysTest : public StoreTest
{
    Q_OBJECT

private slots:
    void packedKeysSortLikeTheKeys();
    void keysThatAreKnownToBeNew();
    void everyCount_data();
    void everyCount();
    void sameAsAdditions_data();
    void sameAsAdditions();
    void laterChanges_data();
    void laterChanges();
    void pagesAreFullAndInOrder();
    void onlyANewIndexIsWritten();
    void eventsPassBetweenTransfers();
    void eachFailureLeavesAnEmptyIndex_data();
    void eachFailureLeavesAnEmptyIndex();
    void eachAllocationFails();

private:
    static void kindRows(int shortest = 1)
    {
        QTest::addColumn<int>("keyLength");
        QTest::addColumn<bool>("duplicates");
        for (const int keyLength : { 1, 7, 20, 110, 150 })
            for (const bool duplicates : { false, true })
                if (keyLength >= shortest)
                    QTest::addRow("%d%s", keyLength, duplicates ? ", equal keys" : "")
                        << keyLength << duplicates;
    }
    // Of few letters, so that keys are equal, or the beginning of another, in either case.
    std::string randomKey(int longest)
    {
        static constexpr char letters[] = "aAbBzZ[@  \x1f\xc3\x9c";
        std::string key(m_random.below(longest + 3), ' ');
        const std::uint32_t same = m_random.below(3) == 0 ? 0 : m_random.below(longest + 1);
        for (std::size_t i = 0; i < key.size(); ++i)
            key[i] = i < same ? 'm' : letters[m_random.below(sizeof letters - 1)];
        return key;
    }
};

void NewKeysTest::packedKeysSortLikeTheKeys()
{
    const auto pack = [](const std::string& key) {
        std::string packed(MostPacked(key.size()), 'x');
        packed.resize(
            PackKey(key.data(), key.size(), reinterpret_cast<std::uint8_t*>(packed.data())));
        return packed;
    };
    const auto compare = [](const std::string& a, const std::string& b) {
        const int order = Folded(a).compare(Folded(b)); // compares unsigned bytes
        return order < 0 ? -1 : order > 0;
    };
    const auto some = [this] {
        std::string key;
        for (std::uint32_t parts = m_random.below(5); parts > 0; --parts) {
            key.append(m_random.below(3) == 0 ? m_random.below(150) : m_random.below(3), ' ');
            key.append(m_random.below(2), "\x1f!aAZ[\xc3\x01\xff"[m_random.below(9)]);
        }
        return key;
    };
    for (int i = 0; i < 20000; ++i) {
        const std::string key = some(), packed = pack(key);
        QCOMPARE(packed.find('\0'), std::string::npos);
        std::string back(key.size() + 1, 'x');
        UnpackKey(packed.c_str(), reinterpret_cast<std::uint8_t*>(back.data()), back.size());
        QCOMPARE(back, key + 'x');
        const std::size_t limit = m_random.below(std::uint32_t(key.size()) + 1);
        std::string cut(key.size() + 1, 'x');
        UnpackKey(packed.c_str(), reinterpret_cast<std::uint8_t*>(cut.data()), limit);
        QCOMPARE(cut, key.substr(0, limit) + std::string(key.size() + 1 - limit, 'x'));
        // The other one often begins in the same way.
        const std::string other
            = key.substr(0, m_random.below(std::uint32_t(key.size()) + 1)) + some();
        QCOMPARE(compare(packed, pack(other)), compare(key, other));
    }
}

// They are found like the others once a key comes that may be there.
void NewKeysTest::keysThatAreKnownToBeNew()
{
    for (const bool duplicates : { false, true }) {
        NewKeys keys(20, duplicates);
        QCOMPARE(keys.Add("0", 1), 0);
        QCOMPARE(keys.Add("0", 1), -1);
        for (int i = 1; i <= 1000; ++i)
            QCOMPARE(keys.Add(Formatted(i).constData(), std::uint32_t(i), true), 0);
        QCOMPARE(keys.Add("00000500", 500), -1);
        QCOMPARE(keys.Add("00000500", 499), duplicates ? 0 : -1);
        QCOMPARE(keys.Add("00001001", 1001, true), 0);
        QCOMPARE(keys.Add("00001001", 1001), -1);
        QCOMPARE(keys.Add("00001001", 1002), duplicates ? 0 : -1);
        Index index(path(), 20, duplicates);
        QCOMPARE(keys.Write(index.handle()), 0);
        QCOMPARE(index.items().size(), std::size_t(duplicates ? 1004 : 1002));
    }
}

void NewKeysTest::everyCount_data()
{
    kindRows(7); // there are not enough shorter ones
}

void NewKeysTest::everyCount()
{
    QFETCH(int, keyLength);
    QFETCH(bool, duplicates);
    std::vector<int> counts;
    for (int count = 0; count < 210; ++count)
        counts.push_back(count);
    for (const int about : { 255, 510, 1275, 2550, 2600, 2652, 3000 })
        for (int count = about - 2; count <= about + 2; ++count)
            counts.push_back(count);
    for (const int count : counts) {
        NewKeys keys(keyLength, duplicates);
        Items expected;
        for (int i = 0; i < count; ++i) {
            // The last are the first.
            const std::string key = QByteArray::number(9999999 - i).toStdString();
            QCOMPARE(keys.Add(key.c_str(), std::uint32_t(i + 1)), 0);
            expected.emplace(expected.begin(), key, i + 1);
        }
        QCOMPARE(keys.Count(), std::size_t(count));
        Index index(path(), keyLength, duplicates);
        QCOMPARE(keys.Write(index.handle()), 0);
        QCOMPARE(index.items(), expected);
    }
}

void NewKeysTest::sameAsAdditions_data()
{
    kindRows();
}

void NewKeysTest::sameAsAdditions()
{
    QFETCH(int, keyLength);
    QFETCH(bool, duplicates);
    for (const int count : { 3, 60, 400, 4000 }) {
        NewKeys keys(keyLength, duplicates);
        Index one(path("one"), keyLength, duplicates), other(path("other"), keyLength, duplicates);
        for (int i = 0; i < count; ++i) {
            const std::string key = randomKey(keyLength);
            const std::uint32_t record = 1 + m_random.below(count);
            QCOMPARE(keys.Add(key.c_str(), record), one.add(key, record));
            QCOMPARE(taerror, 0);
        }
        QCOMPARE(keys.Write(other.handle()), 0);
        // The last items of full pages are cut in the file.
        if (keyLength < 150)
            QCOMPARE(other.items(), one.items());
        else
            QCOMPARE(other.items().size(), keys.Count());
    }
}

void NewKeysTest::laterChanges_data()
{
    kindRows();
}

void NewKeysTest::laterChanges()
{
    QFETCH(int, keyLength);
    QFETCH(bool, duplicates);
    // The store's files do not keep all of longer keys.
    const int longest = std::min(keyLength, 100);
    for (const int count : { 1, 50, 51, 700, 3000 }) {
        NewKeys keys(keyLength, duplicates);
        // By the order of the index.
        std::map<std::pair<std::string, std::uint32_t>, std::string> model;
        const auto place = [duplicates, keyLength](const std::string& key, std::uint32_t record) {
            return std::make_pair(Folded(key.substr(0, std::size_t(keyLength))),
                                  duplicates ? record : 0);
        };
        Index index(path(), keyLength, duplicates);
        for (int i = 0; i < 2 * count; ++i) {
            if (i == count)
                QCOMPARE(keys.Write(index.handle()), 0);
            const std::string key = randomKey(longest);
            const std::uint32_t record = 1 + m_random.below(count);
            const auto at = place(key, record);
            if (i < count || m_random.below(2) == 0) {
                const bool isNew = model.emplace(at, key).second;
                QCOMPARE((i < count ? keys.Add(key.c_str(), record) : index.add(key, record)) == 0,
                         isNew);
            } else {
                const auto some = model.lower_bound(at);
                const auto gone = some == model.end() ? at : some->first;
                QCOMPARE(index.erase(gone.first, gone.second) == 0, model.erase(gone) == 1);
            }
        }
        const Items items = index.items();
        QCOMPARE(items.size(), model.size());
        auto expected = model.begin();
        for (const auto& item : items)
            QCOMPARE(Folded(item.first).substr(0, 100), (expected++)->first.first.substr(0, 100));
    }
}

// Leaves first, in order, then the level above, and the root last.
void NewKeysTest::pagesAreFullAndInOrder()
{
    constexpr int keyLength = 8;
    constexpr int count = 51 * 51 * 2; // one less fills 2 pages of the second level
    NewKeys keys(keyLength, false);
    for (int i = 1; i < count; ++i)
        QCOMPARE(keys.Add(Formatted(i).constData(), std::uint32_t(i)), 0);
    Index index(path(), keyLength, false);
    QCOMPARE(keys.Write(index.handle()), 0);
    const std::uint32_t root = index.handle()->rootPage;
    QCOMPARE(index.close(), 0);
    const QByteArray bytes = load();
    const int length = PackedLength(keyLength);
    constexpr int leaves = 2 * 51;
    QCOMPARE(bytes.size(), (1 + leaves + 2 + 1) * length);
    QCOMPARE(root, std::uint32_t(leaves + 3));
    for (int page = 1; page < leaves + 3; ++page)
        QCOMPARE(int(bytes[page * length]), 50);
    QCOMPARE(int(bytes[int(root) * length]), 1);
    std::uint32_t last = 0;
    for (int page = 1; page <= leaves; ++page) {
        const auto* const first
            = reinterpret_cast<const std::uint8_t*>(bytes.constData()) + page * length + 8;
        QVERIFY(GetUint32(first) > last);
        last = GetUint32(first);
    }
}

void NewKeysTest::onlyANewIndexIsWritten()
{
    Index index(path(), 8, false);
    QCOMPARE(index.add("there", 7), 0);
    NewKeys keys(8, false);
    QCOMPARE(keys.Add("new", 1), 0);
    QCOMPARE(keys.Write(index.handle()), -1);
    QCOMPARE(taerror, std::int32_t(taDamaged));
    QCOMPARE(index.items(), (Items{ { "there", 7 } }));
}

void NewKeysTest::eventsPassBetweenTransfers()
{
    NewKeys keys(8, false);
    for (int i = 0; i < 10000; ++i)
        QCOMPARE(keys.Add(Formatted(i).constData(), std::uint32_t(i + 1)), 0);
    CountingFiles files;
    Index index(path(), 8, false, &files);
    files.writes = 0;
    int calls = 0;
    QVERIFY(keys.Sort());
    QCOMPARE(keys.Write(index.handle(), [&calls] { ++calls; }), 0);
    // 200 pages, 32 at once; the header is one more.
    QCOMPARE(calls, 7);
    QCOMPARE(files.writes, 8);
    QCOMPARE(index.items().size(), std::size_t(10000));
}

void NewKeysTest::eachFailureLeavesAnEmptyIndex_data()
{
    QTest::addColumn<int>("fault");
    QTest::newRow("open") << int(Fault::Open);
    QTest::newRow("seek") << int(Fault::Seek);
    QTest::newRow("write") << int(Fault::Write);
    QTest::newRow("short write") << int(Fault::ShortWrite);
    QTest::newRow("full disk") << int(Fault::FullDisk);
}

void NewKeysTest::eachFailureLeavesAnEmptyIndex()
{
    QFETCH(int, fault);
    NewKeys keys(20, false);
    for (int i = 0; i < 4000; ++i)
        QCOMPARE(keys.Add(Formatted(i).constData(), std::uint32_t(i + 1)), 0);
    int failures = 0;
    for (int k = 0; k < 20; ++k) {
        FailingFiles files(Fault(fault), k, false);
        Index index(path(), 20, false, &files);
        if (!index.handle())
            continue;
        const bool written = keys.Write(index.handle()) == 0;
        QVERIFY(written || (taerror != 0 && index.handle()->rootPage == 0));
        const bool failed = files.hasFailed();
        QCOMPARE(written, !failed);
        failures += failed ? 1 : 0;
        QCOMPARE(index.items().size(), std::size_t(written ? 4000 : 0));
    }
    QVERIFY(failures >= 3);
}

void NewKeysTest::eachAllocationFails()
{
    int k = 0;
    for (bool failed = true; failed && k < 1000; ++k) {
        NewKeys keys(20, false);
        Index index(path(), 20, false);
        Memory::failFrom(k, false);
        int added = 0;
        bool refused = false;
        for (std::uint32_t i = 0; i < 4000; ++i) {
            char key[12];
            std::snprintf(key, sizeof key, "%08u", i);
            if (keys.Add(key, i + 1) == 0)
                ++added;
            else
                refused = taerror == taNoMemory || refused;
        }
        const bool written = keys.Write(index.handle()) == 0;
        const std::int32_t error = taerror;
        failed = Memory::heal();
        QCOMPARE(added, refused ? 3999 : 4000);
        QCOMPARE(error, std::int32_t(written ? taNoError : taNoMemory));
        QCOMPARE(failed, refused || !written);
        QCOMPARE(index.items().size(), std::size_t(written ? added : 0));
        if (!written) {
            Index again(path("again"), 20, false);
            QCOMPARE(keys.Write(again.handle()), 0);
            QCOMPARE(again.items().size(), std::size_t(added));
        }
    }
    QVERIFY(k > 10);
}

QTEST_MAIN(NewKeysTest)
#include "tst_newkeys.moc"
