// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool on indexes.

#include "store/indexpage.h"
#include "store/ownfiles.h"
#include "tests/apps/dbtooltest.h"
#include "tests/store/switchedfiles.h"

#include <cstring>
#include <map>
#include <set>

using namespace Agent;

namespace
{

constexpr int keyLength = 12;
constexpr int pageLength = PackedLength(keyLength);
constexpr int stride = keyLength + 9;
constexpr int recordLength = 40;
constexpr int keyOffset = 8; // in a record
constexpr std::uint32_t extra = 1500; // items that are deleted again
const QString withData = QStringLiteral(" --data @a.dat -r 40");
const QString withField = QStringLiteral(" --data @a.dat -r 40 --key-field 8:12");

using Items = std::set<std::pair<std::string, std::uint32_t>>;

// A file layer for a process that dies after a number of writes: later ones have no
// effect.
class DyingFiles : public StoreFiles
{
public:
    explicit DyingFiles(int writes) : m_left(writes) { }
    bool isDead() const { return m_isDead; }

    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        m_isDead = m_isDead || m_left-- == 0;
        return m_isDead ? -1 : StoreFiles::Write(descriptor, bytes, size);
    }

private:
    int m_left;
    bool m_isDead = false;
};

} // namespace

class DbtoolIndexTest : public DbtoolTest
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init() { newFolder(); }

    void infoOfAnIndex();
    void dumpOfAnIndex();
    void theKeyLengthIsToldFromTheFile_data();
    void theKeyLengthIsToldFromTheFile();
    void aKeyLengthThatIsNotSureIsAskedFor();
    void equalKeysHaveToBeAllowed();
    void eachDamageIsFoundAndRepaired_data();
    void eachDamageIsFoundAndRepaired();
    void itemsThatCannotBeReadAreToldAndNothingIsMade_data();
    void itemsThatCannotBeReadAreToldAndNothingIsMade();
    void checkComparesWithTheData();
    void keysOfDeadRecordsAreLeftOut();
    void equalKeysInTheDataAreTold();
    void anIndexIsMadeOfItsDataAlone();
    void aKeyFieldBehindTheRecordIsRefused();
    void wideKeysAreCutAsTheFileCutsThem();
    void whatAProcessThatDiedLeftIsRepaired();
    void randomDamageLosesNoOtherItem();

private:
    static std::string key(std::uint32_t number);
    void makeData(std::uint32_t records) const;
    Items makeSample(std::uint32_t items);
    void writeSample(std::uint32_t items) const;
    Items itemsOf(const char* name, int length = keyLength, bool duplicates = false) const;
    std::uint32_t root() const;
    int pageWith(bool leaf) const;
    void patchPage(int page, int offset, const QByteArray& bytes) const
    {
        patch("a.idx", qint64(page) * pageLength + offset, bytes);
    }
    QByteArray pageBytes(int page, int offset, int length) const
    {
        return bytes("a.idx").mid(page * pageLength + offset, length);
    }
    void damage(const QString& what) const;
    bool dieWhileMerging(int writes) const;

    std::map<std::uint32_t, std::pair<QByteArray, QByteArray>> m_samples;
};

// The order of the keys is not that of the numbers.
std::string DbtoolIndexTest::key(std::uint32_t number)
{
    return QString::asprintf("%05u-Key", number * 7919 % 10007).toStdString();
}

void DbtoolIndexTest::makeData(std::uint32_t records) const
{
    DataFile* const file = MakeDataFile(0, native("a.dat").c_str(), recordLength);
    for (std::uint32_t i = 1; i <= records; ++i) {
        std::string record(recordLength, '\0');
        record.replace(keyOffset, key(i).size(), key(i));
        std::uint32_t number;
        AddRec(file, &number, record.data());
    }
    CloseDataFile(file);
}

// 2,000 items make three levels; there are some free pages, and the data file. The sample
// is made once and then copied.
Items DbtoolIndexTest::makeSample(std::uint32_t items)
{
    auto& [index, data] = m_samples[items];
    if (index.isEmpty()) {
        writeSample(items);
        index = bytes("a.idx");
        data = bytes("a.dat");
    }
    setBytes("a.idx", index);
    setBytes("a.dat", data);
    Items all;
    for (std::uint32_t i = 1; i <= items; ++i)
        all.emplace(key(i), i);
    return all;
}

void DbtoolIndexTest::writeSample(std::uint32_t items) const
{
    makeData(items + extra);
    IndexFile* const index = MakeIndex(0, native("a.idx").c_str(), keyLength, 0);
    DataFile* const file = OpenDataFile(0, native("a.dat").c_str(), recordLength);
    char stored[keyLength + 1];
    for (std::uint32_t i = 1; i <= items + extra; ++i)
        AddKey(index, &i, std::strcpy(stored, key(i).c_str()));
    for (std::uint32_t i = items + 1; i <= items + extra; ++i) {
        std::uint32_t record = i;
        DeleteKey(index, &record, std::strcpy(stored, key(i).c_str()));
        DeleteRec(file, i);
    }
    CloseDataFile(file);
    CloseIndex(index);
}

Items DbtoolIndexTest::itemsOf(const char* name, int length, bool duplicates) const
{
    std::vector<IndexEntry> entries;
    if (!CheckIndex(native(name), length, duplicates, &entries).empty())
        return {};
    Items items;
    for (const IndexEntry& entry : entries)
        items.emplace(entry.key, entry.record);
    return items;
}

std::uint32_t DbtoolIndexTest::root() const
{
    return GetUint32(reinterpret_cast<const std::uint8_t*>(bytes("a.idx").constData()) + 8);
}

// A page on the leftmost way down: the leaf, or the one above it.
int DbtoolIndexTest::pageWith(bool leaf) const
{
    const QByteArray bytes = this->bytes("a.idx");
    const auto leftmost = [&bytes](std::uint32_t page) {
        return GetUint32(reinterpret_cast<const std::uint8_t*>(bytes.constData())
                         + int(page) * pageLength + 4);
    };
    std::uint32_t above = root();
    std::uint32_t page = leftmost(above);
    while (leftmost(page) != 0) {
        above = page;
        page = leftmost(page);
    }
    return int(leaf ? page : above);
}

void DbtoolIndexTest::infoOfAnIndex()
{
    makeSample(2000);
    const Result result = run("info index @a.idx --key-length 12");
    QCOMPARE(result.status, 0);
    for (const char* line :
         { "kind:           index\n", "key length:     12 characters\n",
           "page length:    1058 bytes\n", "levels:         3\n", "items:          2000\n",
           "longest key:    9 characters\n", "equal keys:     no\n", "condition:      sound\n" })
        QVERIFY2(result.out.contains(line), qPrintable(result.out));
    patch("a.idx", 8, word(9999));
    const Result damaged = run("info index @a.idx -k 12");
    QCOMPARE(damaged.status, 1);
    QVERIFY(damaged.out.contains("condition:      damaged (see check): the header leads to page"));
}

void DbtoolIndexTest::dumpOfAnIndex()
{
    IndexFile* const index = MakeIndex(0, native("a.idx").c_str(), keyLength, 1);
    char stored[keyLength + 1];
    std::uint32_t number = 9;
    for (const char* text : { "pear", "Apple", "a\\b\x01", "\xc3\xa4", "apple" })
        AddKey(index, &(++number), std::strcpy(stored, text));
    CloseIndex(index);
    const Result result = run("dump index @a.idx --duplicates");
    QCOMPARE(result.status, 0);
    QCOMPARE(result.out,
             QString("a\\x5cb\\x01\t12\nApple\t11\napple\t14\npear\t10\n\\xc3\\xa4\t13\n"));
    patch("a.idx", 0, word(1));
    const Result damaged = run("dump index @a.idx -d");
    QCOMPARE(damaged.status, 1);
    QCOMPARE(damaged.out, result.out);
    QVERIFY(!damaged.err.isEmpty());
}

void DbtoolIndexTest::theKeyLengthIsToldFromTheFile_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("items");
    for (const int length : { 1, 9, 12, 40, 149, 150 })
        for (const int items : { 0, 1, 36, 3000 })
            QTest::addRow("%d, %d items", length, items) << length << items;
}

void DbtoolIndexTest::theKeyLengthIsToldFromTheFile()
{
    QFETCH(int, length);
    QFETCH(int, items);
    IndexFile* const index = MakeIndex(0, native("a.idx").c_str(), std::int16_t(length), 1);
    char stored[longestKey + 1];
    for (std::uint32_t i = 1; i <= std::uint32_t(items); ++i)
        AddKey(index, &i, std::strcpy(stored, key(i).c_str()));
    CloseIndex(index);
    const Result result = run("info index @a.idx -d");
    QCOMPARE(result.status, 0);
    QVERIFY2(result.out.contains(QString("key length:     %1 char").arg(length)),
             qPrintable(result.out));
}

void DbtoolIndexTest::aKeyLengthThatIsNotSureIsAskedFor()
{
    makeSample(100);
    setBytes("a.idx", bytes("a.idx").left(3 * pageLength - 1));
    const Result result = run("check index @a.idx");
    QCOMPARE(result.status, 2);
    QVERIFY2(result.err.contains("give --key-length"), qPrintable(result.err));
    QCOMPARE(run("check index @a.idx --key-length 12").status, 1);

    // 29 pages of 1,558 bytes, or 26 of another length, and so on: the header does not
    // help.
    setBytes("b.idx", QByteArray(PackedLength(22) * 29 * 26, '\x07'));
    const Result other = run("check index @b.idx");
    QCOMPARE(other.status, 2);
    QVERIFY2(other.err.contains("its size would fit "), qPrintable(other.err));
    setBytes("c.idx", "");
    QCOMPARE(run("check index @c.idx").status, 2);
}

void DbtoolIndexTest::equalKeysHaveToBeAllowed()
{
    IndexFile* const index = MakeIndex(0, native("a.idx").c_str(), keyLength, 1);
    char stored[keyLength + 1];
    for (std::uint32_t i = 1; i <= 300; ++i)
        AddKey(index, &i, std::strcpy(stored, key(i % 30).c_str()));
    CloseIndex(index);
    const Result without = run("check index @a.idx");
    QCOMPARE(without.status, 1);
    QCOMPARE(without.out,
             path("a.idx")
                 + ": there are equal keys; it is sound if they are allowed (--duplicates)\n");
    QCOMPARE(run("check index @a.idx --duplicates").status, 0);
    QVERIFY(run("info index @a.idx -d").out.contains("equal keys:     yes"));

    QCOMPARE(run("repair index @a.idx -o @new.idx").status, 1);
    QCOMPARE(files(), QStringList({ "a.idx" }));
    QCOMPARE(run("repair index @a.idx -d -o @new.idx").status, 0);
    QCOMPARE(itemsOf("new.idx", keyLength, true), itemsOf("a.idx", keyLength, true));
}

void DbtoolIndexTest::damage(const QString& what) const
{
    const int leaf = pageWith(true);
    const int above = pageWith(false);
    const int child = 8 + 4; // of item 1
    if (what == "root outside")
        patch("a.idx", 8, word(9999));
    else if (what == "root is a leaf")
        patch("a.idx", 8, word(leaf));
    else if (what == "root is a branch")
        patch("a.idx", 8, word(above));
    else if (what == "no root")
        patch("a.idx", 8, word(0));
    else if (what == "header overwritten")
        patch("a.idx", 0, QByteArray(31, '\x55'));
    else if (what == "version")
        patch("a.idx", 20, "3.0");
    else if (what == "child outside")
        patchPage(above, child, word(9999));
    else if (what == "child missing")
        patchPage(above, child, word(0));
    else if (what == "child of a leaf")
        patchPage(leaf, child, word(above));
    else if (what == "circle")
        patchPage(above, child, word(std::int32_t(root())));
    else if (what == "child twice")
        patchPage(above, child, word(leaf));
    else if (what == "order")
        patchPage(leaf, 8, pageBytes(leaf, 8 + stride, stride) + pageBytes(leaf, 8, stride));
    else if (what == "free chain into the tree")
        patch("a.idx", 0, word(leaf));
    else if (what == "free count")
        patch("a.idx", 4, word(77));
    else if (what == "free page forgotten")
        patch("a.idx", 0, word(-1));
    else if (what == "count 0")
        patchPage(leaf, 0, QByteArray(1, 0));
    else if (what == "count 51")
        patchPage(leaf, 0, QByteArray(1, 51));
    else if (what == "count 20")
        patchPage(leaf, 0, QByteArray(1, 20));
    else if (what == "key without an end")
        patchPage(leaf, 8 + 8, QByteArray(keyLength + 1, 'x'));
    else if (what == "page overwritten")
        patchPage(leaf, 0, QByteArray(pageLength, '\xee'));
    else if (what == "file cut off")
        setBytes("a.idx", bytes("a.idx").left(20 * pageLength));
    else
        QFAIL("unknown damage");
}

// Damage that leaves all items readable.
void DbtoolIndexTest::eachDamageIsFoundAndRepaired_data()
{
    QTest::addColumn<QString>("finding");
    QTest::addColumn<QString>("doubt"); // what the pages leave open
    const auto row = [](const char* what, const char* finding, const char* doubt = "") {
        QTest::newRow(what) << QString(finding) << QString(doubt);
    };
    row("root outside", "the header leads to page 9999, which is not in the file");
    row("root is a leaf", "is neither in the tree nor free");
    row("root is a branch", "is neither in the tree nor free");
    row("no root", "is neither in the tree nor free");
    row("header overwritten", "the header's version is not 4.2a");
    row("version", "the header's version is not 4.2a");
    row("child outside", "has a child outside the file", "has 1 link to pages that cannot be");
    row("child missing", "children on some sides only", "has 1 link to pages that cannot be");
    row("child of a leaf", "children on some sides only", "has 1 link to pages that cannot be");
    row("circle", "which is in the tree already");
    row("child twice", "which is in the tree already");
    row("order", "does not come after the one before it in the tree", "do not follow each other");
    row("free chain into the tree", "which is free");
    row("free count", "the header counts 77 deleted records");
    row("free page forgotten", "is neither in the tree nor free");
}

void DbtoolIndexTest::eachDamageIsFoundAndRepaired()
{
    QFETCH(QString, finding);
    QFETCH(QString, doubt);
    const Items items = makeSample(2000);
    QVERIFY(GetInt32(reinterpret_cast<const std::uint8_t*>(bytes("a.idx").constData()) + 4) > 0);
    damage(QTest::currentDataTag());
    const QByteArray before = bytes("a.idx");

    const Result check = run("check index @a.idx -k 12");
    QCOMPARE(check.status, 1);
    QVERIFY2(check.out.contains(finding), qPrintable(check.out));
    for (const QString& source : { QString(), withData, withField }) {
        const bool isDoubted = !doubt.isEmpty() && source != withField;
        Result repair = run("repair index @a.idx -k 12 -o @new.idx" + source);
        QVERIFY2(repair.status == int(isDoubted), qPrintable(repair.out + repair.err));
        if (isDoubted) {
            QVERIFY2(repair.out.contains(doubt), qPrintable(repair.out));
            repair = run("repair index @a.idx -k 12 --partial -o @new.idx" + source);
        }
        QCOMPARE(run("check index @new.idx" + withField).status, 0);
        QCOMPARE(itemsOf("new.idx"), items);
        QCOMPARE(bytes("a.idx"), before);
        QCOMPARE(files(), QStringList({ "a.dat", "a.idx", "new.idx" }));
        QVERIFY(QFile::remove(path("new.idx")));
    }
}

// Damage that makes some items unreadable.
void DbtoolIndexTest::itemsThatCannotBeReadAreToldAndNothingIsMade_data()
{
    QTest::addColumn<QString>("finding");
    QTest::addColumn<QString>("loss");
    const auto row = [](const char* what, const char* finding, const char* loss) {
        QTest::newRow(what) << QString(finding) << QString(loss);
    };
    row("count 0", "says that it has 0 items", "cannot be read; it may hold up to 50 items");
    row("count 51", "says that it has 51 items", "cannot be read; it may hold up to 50 items");
    row("count 20", "has only 20 items", "seems to have lost some");
    row("key without an end", "a key without an end", "cannot be read; it may hold up to 50");
    row("page overwritten", "says that it has 238 items", "cannot be read; it may hold up to 50");
    row("file cut off", "which is not in the file", "the file has only 20");
}

void DbtoolIndexTest::itemsThatCannotBeReadAreToldAndNothingIsMade()
{
    QFETCH(QString, finding);
    QFETCH(QString, loss);
    const Items items = makeSample(2000);
    damage(QTest::currentDataTag());
    const QByteArray before = bytes("a.idx");
    const Result check = run("check index @a.idx -k 12");
    QCOMPARE(check.status, 1);
    // The root or a child of a page may be among the missing pages.
    QVERIFY2(check.out.contains(finding) || check.out.contains("child outside the file"),
             qPrintable(check.out));

    const Result alone = run("repair index @a.idx -k 12 -o @new.idx");
    QCOMPARE(alone.status, 1);
    QVERIFY2(alone.out.contains(loss), qPrintable(alone.out));
    QVERIFY(alone.out.contains("nothing was made"));
    const Result data = run("repair index @a.idx -k 12 -o @new.idx" + withData);
    QCOMPARE(data.status, 1);
    QVERIFY2(data.out.contains("not restored: no key leads to record "), qPrintable(data.out));
    QCOMPARE(files(), QStringList({ "a.dat", "a.idx" }));

    QCOMPARE(run("repair index @a.idx -k 12 -o @part.idx --partial").status, 1);
    const Items part = itemsOf("part.idx");
    QVERIFY(part.size() > 300);
    QVERIFY(std::includes(items.begin(), items.end(), part.begin(), part.end()));

    QCOMPARE(run("repair index @a.idx -k 12 -o @new.idx" + withField).status, 0);
    QCOMPARE(itemsOf("new.idx"), items);
    QCOMPARE(bytes("a.idx"), before);
}

void DbtoolIndexTest::checkComparesWithTheData()
{
    makeSample(100);
    QCOMPARE(run("check index @a.idx" + withField).status, 0);
    IndexFile* const index = OpenIndex(0, native("a.idx").c_str(), keyLength, 0);
    char stored[keyLength + 1];
    std::uint32_t record = 0;
    DeleteKey(index, &record, std::strcpy(stored, key(5).c_str()));
    for (const auto& [text, number] :
         { std::pair("dead", 500u), { "gone", 9999u }, { "twice", 6u } })
        AddKey(index, &number, std::strcpy(stored, text));
    record = 0;
    DeleteKey(index, &record, std::strcpy(stored, key(7).c_str()));
    const std::uint32_t seven = 7;
    AddKey(index, &seven, std::strcpy(stored, "wrong"));
    CloseIndex(index);

    QCOMPARE(run("check index @a.idx").status, 0);
    const Result check = run("check index @a.idx" + withField);
    QCOMPARE(check.status, 1);
    for (const char* finding :
         { "no key leads to record 5\n", "the key dead leads to record 500, which is not a live",
           "the key gone leads to record 9999, which is not a live one",
           "to record 6, to which another one leads already",
           "the key wrong leads to record 7, whose key is " })
        QVERIFY2(check.out.contains(finding), qPrintable(check.out));
    QCOMPARE(check.out.count('\n'), 5);
    QCOMPARE(run("check index @a.idx" + withData).out.count('\n'), 4);
    QCOMPARE(run("check index @a.idx --data @a.dat").status, 2);
}

void DbtoolIndexTest::keysOfDeadRecordsAreLeftOut()
{
    Items items = makeSample(100);
    DataFile* const file = OpenDataFile(0, native("a.dat").c_str(), recordLength);
    DeleteRec(file, 9);
    CloseDataFile(file);
    items.erase({ key(9), 9 });
    const Result repair = run("repair index @a.idx -o @new.idx" + withData);
    QCOMPARE(repair.status, 0);
    QVERIFY(repair.out.contains("1 item left out that led to no live record"));
    QCOMPARE(itemsOf("new.idx"), items);
}

void DbtoolIndexTest::equalKeysInTheDataAreTold()
{
    makeSample(100);
    patch("a.dat", 4 * recordLength + keyOffset, QByteArray::fromStdString(key(3)));
    const QString repair = "repair index @a.idx -o @new.idx" + withField;
    const Result without = run(repair);
    QCOMPARE(without.status, 1);
    QVERIFY2(without.out.contains("not restored: the key " + QString::fromStdString(key(3))
                                  + " of record 4, which is that of record 3 too"),
             qPrintable(without.out));
    QCOMPARE(files(), QStringList({ "a.dat", "a.idx" }));
    QCOMPARE(run(repair + " --duplicates").status, 0);
    QCOMPARE(itemsOf("new.idx", keyLength, true).size(), std::size_t(100));
}

void DbtoolIndexTest::anIndexIsMadeOfItsDataAlone()
{
    const Items items = makeSample(1000);
    QVERIFY(QFile::remove(path("a.idx")));
    QCOMPARE(run("repair index @a.idx -o @new.idx" + withField).status, 2);
    QCOMPARE(run("repair index @a.idx -k 12 -o @new.idx" + withField).status, 0);
    QCOMPARE(itemsOf("new.idx"), items);
}

void DbtoolIndexTest::aKeyFieldBehindTheRecordIsRefused()
{
    makeSample(10);
    const Result result
        = run("repair index @a.idx -o @new.idx --data @a.dat -r 40 --key-field 30:11");
    QCOMPARE(result.status, 2);
    QVERIFY(result.err.contains("ends after the end of the record"));
    QCOMPARE(files(), QStringList({ "a.dat", "a.idx" }));
}

void DbtoolIndexTest::wideKeysAreCutAsTheFileCutsThem()
{
    DataFile* const file = MakeDataFile(0, native("a.dat").c_str(), 160);
    for (int i = 10; i < 60; ++i) {
        const std::string record = std::string(4, '\0') + std::to_string(i) + std::string(154, 'x');
        std::uint32_t number;
        AddRec(file, &number, record.data());
    }
    CloseDataFile(file);
    const QString data = " -k 150 --data @a.dat -r 160 --key-field 4:150";
    QCOMPARE(run("repair index @a.idx -o @new.idx" + data).status, 0);
    QCOMPARE(run("check index @new.idx" + data).status, 0);
    const Items items = itemsOf("new.idx", 150);
    QCOMPARE(items.size(), std::size_t(50));
    QCOMPARE(items.begin()->first.size(), std::size_t(150));
    QCOMPARE(items.rbegin()->first.size(), std::size_t(102));
}

// Two leaves with 25 items each below a root with one. Deleting the first item merges
// them into one page, and frees the other leaf and the root. The process dies after
// `writes` writes of that; returns whether it did.
bool DbtoolIndexTest::dieWhileMerging(int writes) const
{
    SwitchedFiles files;
    IndexFile* const index = MakeOwnIndex(&files, native("a.idx").c_str(), keyLength, false);
    char stored[keyLength + 1];
    for (std::uint32_t number = 10; number <= 60; ++number)
        AddKey(index, &number, std::strcpy(stored, std::to_string(number).c_str()));
    ToggleFlushing(index, 1, 1);
    DyingFiles dying(writes);
    files.switchTo(dying);
    std::uint32_t record = 0;
    DeleteKey(index, &record, std::strcpy(stored, "10"));
    CloseIndex(index);
    return dying.isDead();
}

void DbtoolIndexTest::whatAProcessThatDiedLeftIsRepaired()
{
    Items left;
    for (std::uint32_t number = 11; number <= 60; ++number)
        left.emplace(std::to_string(number), number);
    Items before = left;
    before.emplace("10", 10);
    int writes = 0;
    int damaged = 0;
    for (; dieWhileMerging(writes); ++writes) {
        damaged += run("check index @a.idx").status;
        const Result repair = run("repair index @a.idx -o @new.idx");
        QVERIFY2(repair.status == 0, qPrintable(repair.out));
        const Items kept = itemsOf("new.idx");
        QVERIFY(kept == left || kept == before);
        newFolder();
    }
    QCOMPARE(itemsOf("a.idx"), left);
    QVERIFY(writes >= 5);
    QVERIFY(damaged >= 2);
}

void DbtoolIndexTest::randomDamageLosesNoOtherItem()
{
    Random random = Random::announced();
    int repaired = 0;
    for (int round = 0; round < 40; ++round) {
        newFolder();
        const Items items = makeSample(600);
        const Hit hit = patchAtRandom("a.idx", &random, 8);
        // A page with a count that is too low may look sound.
        const int page = hit.end / pageLength * pageLength;
        const bool hitsCount = hit.touches(page, page + 1);
        const QByteArray before = bytes("a.idx");

        const int status = run("check index @a.idx -k 12").status;
        QVERIFY(status == 0 || status == 1);
        QCOMPARE(run("dump index @a.idx -k 12").status, status);
        QCOMPARE(run("info index @a.idx -k 12").status, status);
        const Result repair = run("repair index @a.idx -k 12 -o @new.idx");
        QVERIFY2(repair.status == 0 || repair.status == 1, qPrintable(repair.err));
        QCOMPARE(bytes("a.idx"), before);
        QCOMPARE(QFile::exists(path("new.idx")), repair.status == 0);
        if (repair.status == 0 && !hitsCount) {
            ++repaired;
            const Items kept = itemsOf("new.idx");
            const auto isKept = [&kept](const auto& item) { return kept.count(item) > 0; };
            // The damaged bytes belong to at most two items.
            QVERIFY(std::count_if(items.begin(), items.end(), isKept) + 2 >= int(items.size()));
        }
        QCOMPARE(run("repair index @a.idx -k 12 -o @data.idx" + withField).status, 0);
        QCOMPARE(itemsOf("data.idx"), items);
    }
    QVERIFY(repaired > 10);
}

QTEST_GUILESS_MAIN(DbtoolIndexTest)
#include "tst_dbtool_index.moc"
