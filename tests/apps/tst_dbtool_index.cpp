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
    bool IsDead() const { return m_isDead; }

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
    void init() { NewFolder(); }

    void InfoOfAnIndex();
    void DumpOfAnIndex();
    void TheKeyLengthIsToldFromTheFile_data();
    void TheKeyLengthIsToldFromTheFile();
    void AKeyLengthThatIsNotSureIsAskedFor();
    void EqualKeysHaveToBeAllowed();
    void EachDamageIsFoundAndRepaired_data();
    void EachDamageIsFoundAndRepaired();
    void ItemsThatCannotBeReadAreToldAndNothingIsMade_data();
    void ItemsThatCannotBeReadAreToldAndNothingIsMade();
    void CheckComparesWithTheData();
    void KeysOfDeadRecordsAreLeftOut();
    void EqualKeysInTheDataAreTold();
    void AnIndexIsMadeOfItsDataAlone();
    void AKeyFieldBehindTheRecordIsRefused();
    void WideKeysAreCutAsTheFileCutsThem();
    void WhatAProcessThatDiedLeftIsRepaired();
    void RandomDamageLosesNoOtherItem();

private:
    static std::string Key(std::uint32_t number);
    void MakeData(std::uint32_t records) const;
    Items MakeSample(std::uint32_t items);
    void WriteSample(std::uint32_t items) const;
    Items ItemsOf(const char* name, int length = keyLength, bool duplicates = false) const;
    std::uint32_t Root() const;
    int PageWith(bool leaf) const;
    void PatchPage(int page, int offset, const QByteArray& bytes) const
    {
        Patch("a.idx", qint64(page) * pageLength + offset, bytes);
    }
    QByteArray PageBytes(int page, int offset, int length) const
    {
        return Bytes("a.idx").mid(page * pageLength + offset, length);
    }
    void Damage(const QString& what) const;
    bool DieWhileMerging(int writes) const;

    std::map<std::uint32_t, std::pair<QByteArray, QByteArray>> m_samples;
};

// The order of the keys is not that of the numbers.
std::string DbtoolIndexTest::Key(std::uint32_t number)
{
    return QString::asprintf("%05u-Key", number * 7919 % 10007).toStdString();
}

void DbtoolIndexTest::MakeData(std::uint32_t records) const
{
    DataFile* const file = MakeDataFile(0, Native("a.dat").c_str(), recordLength);
    for (std::uint32_t i = 1; i <= records; ++i) {
        std::string record(recordLength, '\0');
        record.replace(keyOffset, Key(i).size(), Key(i));
        std::uint32_t number;
        AddRec(file, &number, record.data());
    }
    CloseDataFile(file);
}

// 2,000 items make three levels; there are some free pages, and the data file. The sample
// is made once and then copied.
Items DbtoolIndexTest::MakeSample(std::uint32_t items)
{
    auto& [index, data] = m_samples[items];
    if (index.isEmpty()) {
        WriteSample(items);
        index = Bytes("a.idx");
        data = Bytes("a.dat");
    }
    SetBytes("a.idx", index);
    SetBytes("a.dat", data);
    Items all;
    for (std::uint32_t i = 1; i <= items; ++i)
        all.emplace(Key(i), i);
    return all;
}

void DbtoolIndexTest::WriteSample(std::uint32_t items) const
{
    MakeData(items + extra);
    IndexFile* const index = MakeIndex(0, Native("a.idx").c_str(), keyLength, 0);
    DataFile* const file = OpenDataFile(0, Native("a.dat").c_str(), recordLength);
    char key[keyLength + 1];
    for (std::uint32_t i = 1; i <= items + extra; ++i)
        AddKey(index, &i, std::strcpy(key, Key(i).c_str()));
    for (std::uint32_t i = items + 1; i <= items + extra; ++i) {
        std::uint32_t record = i;
        DeleteKey(index, &record, std::strcpy(key, Key(i).c_str()));
        DeleteRec(file, i);
    }
    CloseDataFile(file);
    CloseIndex(index);
}

Items DbtoolIndexTest::ItemsOf(const char* name, int length, bool duplicates) const
{
    std::vector<IndexEntry> entries;
    if (!CheckIndex(Native(name), length, duplicates, &entries).empty())
        return {};
    Items items;
    for (const IndexEntry& entry : entries)
        items.emplace(entry.key, entry.record);
    return items;
}

std::uint32_t DbtoolIndexTest::Root() const
{
    return GetUint32(reinterpret_cast<const std::uint8_t*>(Bytes("a.idx").constData()) + 8);
}

// A page on the leftmost way down: the leaf, or the one above it.
int DbtoolIndexTest::PageWith(bool leaf) const
{
    const QByteArray bytes = Bytes("a.idx");
    const auto leftmost = [&bytes](std::uint32_t page) {
        return GetUint32(reinterpret_cast<const std::uint8_t*>(bytes.constData())
                         + int(page) * pageLength + 4);
    };
    std::uint32_t above = Root();
    std::uint32_t page = leftmost(above);
    while (leftmost(page) != 0) {
        above = page;
        page = leftmost(page);
    }
    return int(leaf ? page : above);
}

void DbtoolIndexTest::InfoOfAnIndex()
{
    MakeSample(2000);
    const Result result = Run("info index @a.idx --key-length 12");
    QCOMPARE(result.status, 0);
    for (const char* line :
         { "kind:           index\n", "key length:     12 characters\n",
           "page length:    1058 bytes\n", "levels:         3\n", "items:          2000\n",
           "longest key:    9 characters\n", "equal keys:     no\n", "condition:      sound\n" })
        QVERIFY2(result.out.contains(line), qPrintable(result.out));
    Patch("a.idx", 8, Word(9999));
    const Result damaged = Run("info index @a.idx -k 12");
    QCOMPARE(damaged.status, 1);
    QVERIFY(damaged.out.contains("condition:      damaged (see check): the header leads to page"));
}

void DbtoolIndexTest::DumpOfAnIndex()
{
    IndexFile* const index = MakeIndex(0, Native("a.idx").c_str(), keyLength, 1);
    char key[keyLength + 1];
    std::uint32_t number = 9;
    for (const char* text : { "pear", "Apple", "a\\b\x01", "\xc3\xa4", "apple" })
        AddKey(index, &(++number), std::strcpy(key, text));
    CloseIndex(index);
    const Result result = Run("dump index @a.idx --duplicates");
    QCOMPARE(result.status, 0);
    QCOMPARE(result.out,
             QString("a\\x5cb\\x01\t12\nApple\t11\napple\t14\npear\t10\n\\xc3\\xa4\t13\n"));
    Patch("a.idx", 0, Word(1));
    const Result damaged = Run("dump index @a.idx -d");
    QCOMPARE(damaged.status, 1);
    QCOMPARE(damaged.out, result.out);
    QVERIFY(!damaged.err.isEmpty());
}

void DbtoolIndexTest::TheKeyLengthIsToldFromTheFile_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("items");
    for (const int length : { 1, 9, 12, 40, 149, 150 })
        for (const int items : { 0, 1, 36, 3000 })
            QTest::addRow("%d, %d items", length, items) << length << items;
}

void DbtoolIndexTest::TheKeyLengthIsToldFromTheFile()
{
    QFETCH(int, length);
    QFETCH(int, items);
    IndexFile* const index = MakeIndex(0, Native("a.idx").c_str(), std::int16_t(length), 1);
    char key[longestKey + 1];
    for (std::uint32_t i = 1; i <= std::uint32_t(items); ++i)
        AddKey(index, &i, std::strcpy(key, Key(i).c_str()));
    CloseIndex(index);
    const Result result = Run("info index @a.idx -d");
    QCOMPARE(result.status, 0);
    QVERIFY2(result.out.contains(QString("key length:     %1 char").arg(length)),
             qPrintable(result.out));
}

void DbtoolIndexTest::AKeyLengthThatIsNotSureIsAskedFor()
{
    MakeSample(100);
    SetBytes("a.idx", Bytes("a.idx").left(3 * pageLength - 1));
    const Result result = Run("check index @a.idx");
    QCOMPARE(result.status, 2);
    QVERIFY2(result.err.contains("give --key-length"), qPrintable(result.err));
    QCOMPARE(Run("check index @a.idx --key-length 12").status, 1);

    // 29 pages of 1,558 bytes, or 26 of another length, and so on: the header does not
    // help.
    SetBytes("b.idx", QByteArray(PackedLength(22) * 29 * 26, '\x07'));
    const Result other = Run("check index @b.idx");
    QCOMPARE(other.status, 2);
    QVERIFY2(other.err.contains("its size would fit "), qPrintable(other.err));
    SetBytes("c.idx", "");
    QCOMPARE(Run("check index @c.idx").status, 2);
}

void DbtoolIndexTest::EqualKeysHaveToBeAllowed()
{
    IndexFile* const index = MakeIndex(0, Native("a.idx").c_str(), keyLength, 1);
    char key[keyLength + 1];
    for (std::uint32_t i = 1; i <= 300; ++i)
        AddKey(index, &i, std::strcpy(key, Key(i % 30).c_str()));
    CloseIndex(index);
    const Result without = Run("check index @a.idx");
    QCOMPARE(without.status, 1);
    QCOMPARE(without.out,
             Path("a.idx")
                 + ": there are equal keys; it is sound if they are allowed (--duplicates)\n");
    QCOMPARE(Run("check index @a.idx --duplicates").status, 0);
    QVERIFY(Run("info index @a.idx -d").out.contains("equal keys:     yes"));

    QCOMPARE(Run("repair index @a.idx -o @new.idx").status, 1);
    QCOMPARE(Files(), QStringList({ "a.idx" }));
    QCOMPARE(Run("repair index @a.idx -d -o @new.idx").status, 0);
    QCOMPARE(ItemsOf("new.idx", keyLength, true), ItemsOf("a.idx", keyLength, true));
}

void DbtoolIndexTest::Damage(const QString& what) const
{
    const int leaf = PageWith(true);
    const int above = PageWith(false);
    const int child = 8 + 4; // of item 1
    if (what == "root outside")
        Patch("a.idx", 8, Word(9999));
    else if (what == "root is a leaf")
        Patch("a.idx", 8, Word(leaf));
    else if (what == "root is a branch")
        Patch("a.idx", 8, Word(above));
    else if (what == "no root")
        Patch("a.idx", 8, Word(0));
    else if (what == "header overwritten")
        Patch("a.idx", 0, QByteArray(31, '\x55'));
    else if (what == "version")
        Patch("a.idx", 20, "3.0");
    else if (what == "child outside")
        PatchPage(above, child, Word(9999));
    else if (what == "child missing")
        PatchPage(above, child, Word(0));
    else if (what == "child of a leaf")
        PatchPage(leaf, child, Word(above));
    else if (what == "circle")
        PatchPage(above, child, Word(std::int32_t(Root())));
    else if (what == "child twice")
        PatchPage(above, child, Word(leaf));
    else if (what == "order")
        PatchPage(leaf, 8, PageBytes(leaf, 8 + stride, stride) + PageBytes(leaf, 8, stride));
    else if (what == "free chain into the tree")
        Patch("a.idx", 0, Word(leaf));
    else if (what == "free count")
        Patch("a.idx", 4, Word(77));
    else if (what == "free page forgotten")
        Patch("a.idx", 0, Word(-1));
    else if (what == "count 0")
        PatchPage(leaf, 0, QByteArray(1, 0));
    else if (what == "count 51")
        PatchPage(leaf, 0, QByteArray(1, 51));
    else if (what == "count 20")
        PatchPage(leaf, 0, QByteArray(1, 20));
    else if (what == "key without an end")
        PatchPage(leaf, 8 + 8, QByteArray(keyLength + 1, 'x'));
    else if (what == "page overwritten")
        PatchPage(leaf, 0, QByteArray(pageLength, '\xee'));
    else if (what == "file cut off")
        SetBytes("a.idx", Bytes("a.idx").left(20 * pageLength));
    else
        QFAIL("unknown damage");
}

// Damage that leaves all items readable.
void DbtoolIndexTest::EachDamageIsFoundAndRepaired_data()
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

void DbtoolIndexTest::EachDamageIsFoundAndRepaired()
{
    QFETCH(QString, finding);
    QFETCH(QString, doubt);
    const Items items = MakeSample(2000);
    QVERIFY(GetInt32(reinterpret_cast<const std::uint8_t*>(Bytes("a.idx").constData()) + 4) > 0);
    Damage(QTest::currentDataTag());
    const QByteArray before = Bytes("a.idx");

    const Result check = Run("check index @a.idx -k 12");
    QCOMPARE(check.status, 1);
    QVERIFY2(check.out.contains(finding), qPrintable(check.out));
    for (const QString& source : { QString(), withData, withField }) {
        const bool isDoubted = !doubt.isEmpty() && source != withField;
        Result repair = Run("repair index @a.idx -k 12 -o @new.idx" + source);
        QVERIFY2(repair.status == int(isDoubted), qPrintable(repair.out + repair.err));
        if (isDoubted) {
            QVERIFY2(repair.out.contains(doubt), qPrintable(repair.out));
            repair = Run("repair index @a.idx -k 12 --partial -o @new.idx" + source);
        }
        QCOMPARE(Run("check index @new.idx" + withField).status, 0);
        QCOMPARE(ItemsOf("new.idx"), items);
        QCOMPARE(Bytes("a.idx"), before);
        QCOMPARE(Files(), QStringList({ "a.dat", "a.idx", "new.idx" }));
        QVERIFY(QFile::remove(Path("new.idx")));
    }
}

// Damage that makes some items unreadable.
void DbtoolIndexTest::ItemsThatCannotBeReadAreToldAndNothingIsMade_data()
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

void DbtoolIndexTest::ItemsThatCannotBeReadAreToldAndNothingIsMade()
{
    QFETCH(QString, finding);
    QFETCH(QString, loss);
    const Items items = MakeSample(2000);
    Damage(QTest::currentDataTag());
    const QByteArray before = Bytes("a.idx");
    const Result check = Run("check index @a.idx -k 12");
    QCOMPARE(check.status, 1);
    // The root or a child of a page may be among the missing pages.
    QVERIFY2(check.out.contains(finding) || check.out.contains("child outside the file"),
             qPrintable(check.out));

    const Result alone = Run("repair index @a.idx -k 12 -o @new.idx");
    QCOMPARE(alone.status, 1);
    QVERIFY2(alone.out.contains(loss), qPrintable(alone.out));
    QVERIFY(alone.out.contains("nothing was made"));
    const Result data = Run("repair index @a.idx -k 12 -o @new.idx" + withData);
    QCOMPARE(data.status, 1);
    QVERIFY2(data.out.contains("not restored: no key leads to record "), qPrintable(data.out));
    QCOMPARE(Files(), QStringList({ "a.dat", "a.idx" }));

    QCOMPARE(Run("repair index @a.idx -k 12 -o @part.idx --partial").status, 1);
    const Items part = ItemsOf("part.idx");
    QVERIFY(part.size() > 300);
    QVERIFY(std::includes(items.begin(), items.end(), part.begin(), part.end()));

    QCOMPARE(Run("repair index @a.idx -k 12 -o @new.idx" + withField).status, 0);
    QCOMPARE(ItemsOf("new.idx"), items);
    QCOMPARE(Bytes("a.idx"), before);
}

void DbtoolIndexTest::CheckComparesWithTheData()
{
    MakeSample(100);
    QCOMPARE(Run("check index @a.idx" + withField).status, 0);
    IndexFile* const index = OpenIndex(0, Native("a.idx").c_str(), keyLength, 0);
    char key[keyLength + 1];
    std::uint32_t record = 0;
    DeleteKey(index, &record, std::strcpy(key, Key(5).c_str()));
    for (const auto& [text, number] :
         { std::pair("dead", 500u), { "gone", 9999u }, { "twice", 6u } })
        AddKey(index, &number, std::strcpy(key, text));
    record = 0;
    DeleteKey(index, &record, std::strcpy(key, Key(7).c_str()));
    const std::uint32_t seven = 7;
    AddKey(index, &seven, std::strcpy(key, "wrong"));
    CloseIndex(index);

    QCOMPARE(Run("check index @a.idx").status, 0);
    const Result check = Run("check index @a.idx" + withField);
    QCOMPARE(check.status, 1);
    for (const char* finding :
         { "no key leads to record 5\n", "the key dead leads to record 500, which is not a live",
           "the key gone leads to record 9999, which is not a live one",
           "to record 6, to which another one leads already",
           "the key wrong leads to record 7, whose key is " })
        QVERIFY2(check.out.contains(finding), qPrintable(check.out));
    QCOMPARE(check.out.count('\n'), 5);
    QCOMPARE(Run("check index @a.idx" + withData).out.count('\n'), 4);
    QCOMPARE(Run("check index @a.idx --data @a.dat").status, 2);
}

void DbtoolIndexTest::KeysOfDeadRecordsAreLeftOut()
{
    Items items = MakeSample(100);
    DataFile* const file = OpenDataFile(0, Native("a.dat").c_str(), recordLength);
    DeleteRec(file, 9);
    CloseDataFile(file);
    items.erase({ Key(9), 9 });
    const Result repair = Run("repair index @a.idx -o @new.idx" + withData);
    QCOMPARE(repair.status, 0);
    QVERIFY(repair.out.contains("1 item left out that led to no live record"));
    QCOMPARE(ItemsOf("new.idx"), items);
}

void DbtoolIndexTest::EqualKeysInTheDataAreTold()
{
    MakeSample(100);
    Patch("a.dat", 4 * recordLength + keyOffset, QByteArray::fromStdString(Key(3)));
    const QString repair = "repair index @a.idx -o @new.idx" + withField;
    const Result without = Run(repair);
    QCOMPARE(without.status, 1);
    QVERIFY2(without.out.contains("not restored: the key " + QString::fromStdString(Key(3))
                                  + " of record 4, which is that of record 3 too"),
             qPrintable(without.out));
    QCOMPARE(Files(), QStringList({ "a.dat", "a.idx" }));
    QCOMPARE(Run(repair + " --duplicates").status, 0);
    QCOMPARE(ItemsOf("new.idx", keyLength, true).size(), std::size_t(100));
}

void DbtoolIndexTest::AnIndexIsMadeOfItsDataAlone()
{
    const Items items = MakeSample(1000);
    QVERIFY(QFile::remove(Path("a.idx")));
    QCOMPARE(Run("repair index @a.idx -o @new.idx" + withField).status, 2);
    QCOMPARE(Run("repair index @a.idx -k 12 -o @new.idx" + withField).status, 0);
    QCOMPARE(ItemsOf("new.idx"), items);
}

void DbtoolIndexTest::AKeyFieldBehindTheRecordIsRefused()
{
    MakeSample(10);
    const Result result
        = Run("repair index @a.idx -o @new.idx --data @a.dat -r 40 --key-field 30:11");
    QCOMPARE(result.status, 2);
    QVERIFY(result.err.contains("ends after the end of the record"));
    QCOMPARE(Files(), QStringList({ "a.dat", "a.idx" }));
}

void DbtoolIndexTest::WideKeysAreCutAsTheFileCutsThem()
{
    DataFile* const file = MakeDataFile(0, Native("a.dat").c_str(), 160);
    for (int i = 10; i < 60; ++i) {
        const std::string record = std::string(4, '\0') + std::to_string(i) + std::string(154, 'x');
        std::uint32_t number;
        AddRec(file, &number, record.data());
    }
    CloseDataFile(file);
    const QString data = " -k 150 --data @a.dat -r 160 --key-field 4:150";
    QCOMPARE(Run("repair index @a.idx -o @new.idx" + data).status, 0);
    QCOMPARE(Run("check index @new.idx" + data).status, 0);
    const Items items = ItemsOf("new.idx", 150);
    QCOMPARE(items.size(), std::size_t(50));
    QCOMPARE(items.begin()->first.size(), std::size_t(150));
    QCOMPARE(items.rbegin()->first.size(), std::size_t(102));
}

// Two leaves with 25 items each below a root with one. Deleting the first item merges
// them into one page, and frees the other leaf and the root. The process dies after
// `writes` writes of that; returns whether it did.
bool DbtoolIndexTest::DieWhileMerging(int writes) const
{
    SwitchedFiles files;
    IndexFile* const index = MakeOwnIndex(&files, Native("a.idx").c_str(), keyLength, false);
    char key[keyLength + 1];
    for (std::uint32_t number = 10; number <= 60; ++number)
        AddKey(index, &number, std::strcpy(key, std::to_string(number).c_str()));
    ToggleFlushing(index, 1, 1);
    DyingFiles dying(writes);
    files.switchTo(dying);
    std::uint32_t record = 0;
    DeleteKey(index, &record, std::strcpy(key, "10"));
    CloseIndex(index);
    return dying.IsDead();
}

void DbtoolIndexTest::WhatAProcessThatDiedLeftIsRepaired()
{
    Items left;
    for (std::uint32_t number = 11; number <= 60; ++number)
        left.emplace(std::to_string(number), number);
    Items before = left;
    before.emplace("10", 10);
    int writes = 0;
    int damaged = 0;
    for (; DieWhileMerging(writes); ++writes) {
        damaged += Run("check index @a.idx").status;
        const Result repair = Run("repair index @a.idx -o @new.idx");
        QVERIFY2(repair.status == 0, qPrintable(repair.out));
        const Items kept = ItemsOf("new.idx");
        QVERIFY(kept == left || kept == before);
        NewFolder();
    }
    QCOMPARE(ItemsOf("a.idx"), left);
    QVERIFY(writes >= 5);
    QVERIFY(damaged >= 2);
}

void DbtoolIndexTest::RandomDamageLosesNoOtherItem()
{
    Random random = Random::Announced();
    int repaired = 0;
    for (int round = 0; round < 40; ++round) {
        NewFolder();
        const Items items = MakeSample(600);
        const Hit hit = PatchAtRandom("a.idx", &random, 8);
        // A page with a count that is too low may look sound.
        const int page = hit.end / pageLength * pageLength;
        const bool hitsCount = hit.Touches(page, page + 1);
        const QByteArray before = Bytes("a.idx");

        const int status = Run("check index @a.idx -k 12").status;
        QVERIFY(status == 0 || status == 1);
        QCOMPARE(Run("dump index @a.idx -k 12").status, status);
        QCOMPARE(Run("info index @a.idx -k 12").status, status);
        const Result repair = Run("repair index @a.idx -k 12 -o @new.idx");
        QVERIFY2(repair.status == 0 || repair.status == 1, qPrintable(repair.err));
        QCOMPARE(Bytes("a.idx"), before);
        QCOMPARE(QFile::exists(Path("new.idx")), repair.status == 0);
        if (repair.status == 0 && !hitsCount) {
            ++repaired;
            const Items kept = ItemsOf("new.idx");
            const auto isKept = [&kept](const auto& item) { return kept.count(item) > 0; };
            // The damaged bytes belong to at most two items.
            QVERIFY(std::count_if(items.begin(), items.end(), isKept) + 2 >= int(items.size()));
        }
        QCOMPARE(Run("repair index @a.idx -k 12 -o @data.idx" + withField).status, 0);
        QCOMPARE(ItemsOf("data.idx"), items);
    }
    QVERIFY(repaired > 10);
}

QTEST_GUILESS_MAIN(DbtoolIndexTest)
#include "tst_dbtool_index.moc"
