// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool on indexes damaged in many ways: the status is 0 only if no item is
// lost, and losses are reported.

#include "db/ccatalogfile.h"
#include "db/crufile.h"
#include "db/dbshared.h"
#include "store/indexpage.h"
#include "tests/apps/dbtooltest.h"
#include "tests/common/cutrun.h"
#include "tests/db/mixedunits.h"

#include <QDir>
#include <QRegularExpression>

#include <cstring>
#include <set>

using namespace Agent;

namespace
{

constexpr int keyLength = 12;
constexpr int sector = 512;

using Item = std::pair<std::string, std::uint32_t>;
using Items = std::set<Item>;

// Damages an index file of `pages` pages with `length` bytes each.
using Damage = void (*)(QByteArray* file, int length, Random* random);

int SomePage(const QByteArray& file, int length, Random* random)
{
    return 1 + int(random->below(std::max(int(file.size()) / length - 1, 1)));
}

void Cut(QByteArray* file, int length, Random* random)
{
    const int pages = file->size() / length;
    // Most often cut to the header and one leaf, which looks like a small index.
    const int left = random->below(2) ? 2 : 1 + int(random->below(pages));
    file->truncate(std::min(left, pages) * length);
}

void CutAnywhere(QByteArray* file, int length, Random* random)
{
    file->truncate(length + int(random->below(file->size() - length)));
}

void ZeroPage(QByteArray* file, int length, Random* random)
{
    file->replace(SomePage(*file, length, random) * length, length, QByteArray(length, 0));
}

void CopyPage(QByteArray* file, int length, Random* random)
{
    const int from = int(random->below(file->size() / length));
    file->replace(SomePage(*file, length, random) * length, length,
                  file->mid(from * length, length));
}

// Gives live pages the first word that they would have if they were free.
void ChainIntoTheTree(QByteArray* file, int length, Random* random)
{
    int links = 1 + int(random->below(4));
    for (int at = 0; links > 0; --links) {
        const int next = SomePage(*file, length, random);
        QByteArray word(4, 0);
        PutInt32(reinterpret_cast<std::uint8_t*>(word.data()), next);
        file->replace(at, 4, word);
        at = next * length;
        if (links == 1)
            file->replace(at, 4, QByteArray(4, '\xff'));
    }
}

void ChainBeginsInTheTree(QByteArray* file, int length, Random* random)
{
    PutInt32(reinterpret_cast<std::uint8_t*>(file->data()), SomePage(*file, length, random));
}

void ZeroSector(QByteArray* file, int length, Random* random)
{
    const int at = length + int(random->below((file->size() - length) / sector + 1)) * sector;
    const int some = std::min(sector, int(file->size()) - at);
    if (some > 0)
        file->replace(at, some, QByteArray(some, 0));
}

void CopySector(QByteArray* file, int length, Random* random)
{
    const int sectors = file->size() / sector;
    const int to = int(random->below(sectors));
    const int from = int(random->below(sectors));
    if (to * sector >= length)
        file->replace(to * sector, sector, file->mid(from * sector, sector));
}

void CountOfAPage(QByteArray* file, int length, Random* random)
{
    (*file)[SomePage(*file, length, random) * length] = char(random->below(256));
}

void WrongRoot(QByteArray* file, int length, Random* random)
{
    PutInt32(reinterpret_cast<std::uint8_t*>(file->data()) + 8,
             random->below(4) ? SomePage(*file, length, random) : 0);
}

void WrongChildren(QByteArray* file, int length, Random* random)
{
    const int page = SomePage(*file, length, random) * length;
    const int item = int(random->below(pageItems));
    const int offset = item == 0 ? 4 : 8 + item * ((length - 8) / pageItems) + 4;
    PutInt32(reinterpret_cast<std::uint8_t*>(file->data()) + page + offset,
             SomePage(*file, length, random));
}

void NoHeader(QByteArray* file, int, Random* random)
{
    file->replace(0, 31, QByteArray(31, char(random->below(256))));
}

struct Shape {
    const char* name;
    Damage damage;
    bool isCountable = false; // each page is whole or gone
    bool cutsItems = false;
};

const Shape shapes[] = {
    { "cut", Cut, true },
    { "cut anywhere", CutAnywhere, true },
    { "page of zeros", ZeroPage, true },
    { "page copied over another", CopyPage, true },
    { "chain into the tree", ChainIntoTheTree },
    { "chain begins in the tree", ChainBeginsInTheTree },
    { "sector of zeros", ZeroSector, false, true },
    { "sector copied over another", CopySector, false, true },
    { "count of a page", CountOfAPage },
    { "wrong root", WrongRoot },
    { "wrong children", WrongChildren },
    { "no header", NoHeader },
};

// The items in the slots where a damage begins and ends: half of an item may look like
// another one.
std::set<std::uint32_t> CutItems(const QByteArray& before, const QByteArray& after)
{
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(before.constData());
    constexpr int length = PackedLength(keyLength);
    const auto differs = [&](int at) { return before[at] != after[at]; };
    int first = 0, last = before.size() - 1;
    while (first < last && !differs(first))
        ++first;
    while (last > first && !differs(last))
        --last;
    std::set<std::uint32_t> records;
    for (const int at : { first, last })
        if (at >= length && at % length >= 8)
            records.insert(GetUint32(bytes + at / length * length + 8
                                     + (at % length - 8) / (keyLength + 9) * (keyLength + 9)));
    return records;
}

Items Without(Items items, const std::set<std::uint32_t>& records)
{
    for (auto at = items.begin(); at != items.end();)
        at = records.count(at->second) > 0 ? items.erase(at) : std::next(at);
    return items;
}

} // namespace

class DbtoolDamageTest : public DbtoolTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(InitIndex(), 0);
        makeDatabases();
    }
    void cleanupTestCase() { UnInitIndex(); }
    void init() { newFolder(); }

    void lostItemsAreNeverKeptBack_data();
    void lostItemsAreNeverKeptBack();
    void itemsThatBecameEqualAreNamed();
    void itemsBesideLinksThatCannotBeAreDoubted();
    void theDataFileBesideTheIndexRestoresAll_data();
    void theDataFileBesideTheIndexRestoresAll();
    void whatBothFilesHaveLeftIsRestored_data();
    void whatBothFilesHaveLeftIsRestored();
    void theDataFileIsFoundWhereLinksLead();
    void whoWasRefusedStaysOut();
    void aDamagedDataFileIsNotUsed();
    void anotherKeyLengthIsNotTheKnownIndex();
    void nothingHalfIsLeftAtASignal_data();
    void nothingHalfIsLeftAtASignal();

private:
    struct Known {
        QString folder, data, index;
        int keyLength;
        bool duplicates;
    };
    Known m_known[9] = {
        { {}, ".VACatalog.fil", ".VACatalog.k1", 110, true },
        { {}, ".VACatalog.fil", ".VACatalog.k2", 50, true },
        { {}, ".VACatalog.fil", ".VACatalog.k3", 50, false },
        { {}, ".VACatalog.fil", ".VACatalog.k4", 20, false },
        { {}, ".VADepends.fil", ".VADepends.k1", 58, false },
        { {}, ".VADepends.fil", ".VADepends.k2", 58, false },
        { {}, ".rulist.fil", ".rulist.k1", 72, false },
        { {}, ".rulist.fil", ".rulist.k2", 60, false },
        { {}, ".rulist.fil", ".rulist.k3", 20, false },
    };
    void makeDatabases();
    static void save(CCatalogFile& catalog, int serial, const char* package);
    void take(const Known& known) const;
    Items itemsOf(const Known& known, const QString& path) const
    {
        return itemsOf(path, known.keyLength, known.duplicates);
    }
    Items meaning(const Known& known, const QString& path) const;
    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void makeSmallIndex() const;
    Items makeIndexAtRandom(Random* random, bool duplicates) const;
    Items itemsOf(const QString& path, int length, bool duplicates) const;
    bool isNamed(const Item& item, const QString& report) const;
    void checkPart(const Items& items, const Result& refused, const QString& flags,
                   bool isCountable) const;
};

// Makes an index of one page up to hundreds, filled in order or at random, and deletes
// some of it.
Items DbtoolDamageTest::makeIndexAtRandom(Random* random, bool duplicates) const
{
    Items items;
    const int most = random->below(4) == 0 ? 60 : 2400;
    const int count = 1 + int(random->below(most));
    const bool inOrder = random->below(2);
    IndexFile* const index
        = MakeIndex(0, native("a.idx").c_str(), std::int16_t(keyLength), duplicates);
    char key[keyLength + 1];
    for (std::uint32_t i = 1; i <= std::uint32_t(count); ++i) {
        const std::uint32_t number = inOrder ? i : i * 7919 % 10007;
        std::snprintf(key, sizeof key, "%05u-Key", duplicates ? number / 3 : number);
        if (AddKey(index, &i, key) == 0)
            items.emplace(key, i);
    }
    for (int deletes = int(random->below(2) * random->below(count + 1)); deletes > 0; --deletes) {
        const auto at = std::next(items.begin(), random->below(int(items.size())));
        std::uint32_t record = at->second;
        DeleteKey(index, &record, std::strcpy(key, at->first.c_str()));
        items.erase(at);
    }
    CloseIndex(index);
    return items;
}

Items DbtoolDamageTest::itemsOf(const QString& path, int length, bool duplicates) const
{
    std::vector<IndexEntry> entries;
    const Findings findings = CheckIndex(path.toStdString(), length, duplicates, &entries);
    if (!findings.empty())
        qWarning("%s", findings.front().c_str());
    Items items;
    for (const IndexEntry& entry : entries)
        items.emplace(entry.key, entry.record);
    return findings.empty() ? items : Items{ { "not sound", 0 } };
}

// Whether the report names a lost item, or the keys on both sides of it.
bool DbtoolDamageTest::isNamed(const Item& item, const QString& report) const
{
    const QString key = QString::fromStdString(item.first);
    if (report.contains('\'' + key + '\''))
        return true;
    static const QRegularExpression between(
        "(?:between '([^']*)' and '([^']*)'|before '([^']*)'|after '([^']*)')");
    for (auto at = between.globalMatch(report); at.hasNext();) {
        const QRegularExpressionMatch match = at.next();
        const QString above = match.captured(1) + match.captured(4);
        const QString below = match.captured(2) + match.captured(3);
        if (above <= key && (below.isEmpty() || key <= below))
            return true;
    }
    // Items lost at the ends have no neighbours to be named by. For a page with parts
    // copied from elsewhere, the page is named.
    return report.contains("the header counts") || report.contains("no item can be read")
        || report.contains("the header cannot be read") || report.contains("is not whole")
        || report.contains("do not follow each other") || report.contains("and has only")
        || report.contains("to pages that cannot be");
}

// Without --partial nothing was made. With it, the new file has the remaining items, and
// no more are lost than reported.
void DbtoolDamageTest::checkPart(const Items& items, const Result& refused, const QString& flags,
                                 bool isCountable) const
{
    QVERIFY(!QFile::exists(path("new.idx")));
    QVERIFY2(refused.out.contains("not restored: "), qPrintable(refused.out));
    const Result part = run("repair index @a.idx -k 12 --partial -o @part.idx" + flags);
    QCOMPARE(part.status, 1);
    const Items kept = itemsOf(path("part.idx"), keyLength, flags.contains("-d"));
    Items lost;
    std::set_difference(items.begin(), items.end(), kept.begin(), kept.end(),
                        std::inserter(lost, lost.end()));
    static const QRegularExpression count("lost, as far as the pages show: (\\d+) item");
    const int least = count.match(refused.out).captured(1).toInt();
    QVERIFY2(!isCountable || least <= int(lost.size()), qPrintable(refused.out));
    for (const Item& item : lost)
        QVERIFY2(isNamed(item, refused.out),
                 (item.first + " is not named: ").c_str() + refused.out.toLatin1());
}

void DbtoolDamageTest::lostItemsAreNeverKeptBack_data()
{
    QTest::addColumn<int>("which");
    for (int which = 0; which < int(std::size(shapes)); ++which)
        QTest::newRow(shapes[which].name) << which;
}

void DbtoolDamageTest::lostItemsAreNeverKeptBack()
{
    QFETCH(int, which);
    Random random = Random::announced();
    int whole = 0, partly = 0;
    const int rounds = qEnvironmentVariable("PAKMART_TEST_ROUNDS", "40").toInt();
    for (int round = 0; round < rounds; ++round) {
        newFolder();
        const bool duplicates = random.below(2);
        const QString flags = duplicates ? " -d" : "";
        const Items items = makeIndexAtRandom(&random, duplicates);
        const QByteArray before = bytes("a.idx");
        QByteArray bytes = before;
        shapes[which].damage(&bytes, PackedLength(keyLength), &random);
        setBytes("a.idx", bytes);
        const QString keep = qEnvironmentVariable("PAKMART_TEST_KEEP"); // the last one tried
        if (!keep.isEmpty() && (!QFile::exists(keep) || QFile::remove(keep)))
            QFile::copy(path("a.idx"), keep);
        std::set<std::uint32_t> cut;
        if (shapes[which].cutsItems)
            cut = CutItems(before, bytes);

        const Result repair = run("repair index @a.idx -k 12 -o @new.idx" + flags);
        QVERIFY2(repair.status == 0 || repair.status == 1, qPrintable(repair.err));
        QCOMPARE(this->bytes("a.idx"), bytes);
        if (repair.status == 1) {
            ++partly;
            checkPart(Without(items, cut), repair, flags, shapes[which].isCountable);
        } else {
            ++whole;
            const Items kept = itemsOf(path("new.idx"), keyLength, duplicates);
            QVERIFY2(Without(kept, cut) == Without(items, cut),
                     qPrintable(QString("round %1: %2 of %3 items; ")
                                    .arg(round)
                                    .arg(kept.size())
                                    .arg(items.size())
                                + repair.out));
        }
        if (QTest::currentTestFailed())
            return;
    }
    qInfo("%d restored, %d partly", whole, partly);
}

void DbtoolDamageTest::makeSmallIndex() const
{
    IndexFile* const index = MakeIndex(0, native("a.idx").c_str(), keyLength, true);
    char key[keyLength + 1];
    for (std::uint32_t i = 1; i <= 200; ++i) {
        std::snprintf(key, sizeof key, "%05u-Key", i);
        QCOMPARE(AddKey(index, &i, key), 0);
    }
    CloseIndex(index);
}

// If part of a leaf is overwritten with one small key, the row of all items does not show
// it, but the page is out of order.
void DbtoolDamageTest::itemsThatBecameEqualAreNamed()
{
    makeSmallIndex();
    QByteArray bytes = this->bytes("a.idx");
    const int first = PackedLength(keyLength) + 8;
    constexpr int slot = keyLength + 9;
    const QByteArray small = bytes.mid(first, slot).replace(8, 5, "-Key\0", 5);
    for (int i = 10; i < 20; ++i)
        bytes.replace(first + i * slot, slot, small);
    setBytes("a.idx", bytes);
    const Result repair = run("repair index @a.idx -k 12 -d -o @new.idx");
    QCOMPARE(repair.status, 1);
    QVERIFY2(repair.out.contains("the items of page 1 do not follow each other"),
             qPrintable(repair.out));
}

// Bytes that moved within a page can leave wrong keys that are still in order.
void DbtoolDamageTest::itemsBesideLinksThatCannotBeAreDoubted()
{
    makeSmallIndex();
    QByteArray bytes = this->bytes("a.idx");
    PutUint32(reinterpret_cast<std::uint8_t*>(bytes.data()) + PackedLength(keyLength) + 12,
              0x31300000);
    setBytes("a.idx", bytes);
    const Result repair = run("repair index @a.idx -k 12 -d -o @new.idx");
    QCOMPARE(repair.status, 1);
    QVERIFY2(repair.out.contains("page 1 has 1 link to pages that cannot be"),
             qPrintable(repair.out));
}

void DbtoolDamageTest::save(CCatalogFile& catalog, int serial, const char* package)
{
    catalog.AddNew();
    catalog.setServerSerialNumber(serial);
    catalog.setCategory(serial % 3 ? "Games" : "Office");
    catalog.setName(QByteArray::number(serial * 7919 % 1009).prepend("Product ").constData());
    catalog.setPackageName(package);
    catalog.AddDependency("libc6");
    catalog.AddDependency(QByteArray::number(serial).constData());
}

// The databases have deleted records, and keys with another case than in their records.
void DbtoolDamageTest::makeDatabases()
{
    CCatalogFile catalog;
    QVERIFY(catalog.Create());
    CRUFile list;
    QVERIFY(list.Create());
    for (int i = 1; i <= 300; ++i) {
        save(catalog, i, QByteArray::number(i * 31 % 1009).prepend("package").constData());
        QVERIFY(catalog.SaveRecord());
        list.AddNew();
        list.SetServerSerialNumber(i);
        list.SetDescription(QByteArray::number(i * 17 % 1009).prepend("application").constData());
        list.SetLastAccessed(1000000 + i * 37);
        QVERIFY(list.Update());
    }
    QVERIFY(catalog.FindServerSerialNumber(7));
    catalog.setPackageName(QByteArray(catalog.PackageName()).toUpper().constData());
    QVERIFY(catalog.SaveRecord());
    for (int i = 1; i <= 300; i += 7)
        QVERIFY(list.DeleteRecord(i));
    for (Known& known : m_known)
        known.folder = QString::fromStdString(known.data.startsWith(".rulist") ? RecentFolder()
                                                                               : CatalogFolder());
}

// A copy of an index and its data file.
void DbtoolDamageTest::take(const Known& known) const
{
    setBytes(known.index, contents(known.folder + known.index));
    setBytes(known.data, contents(known.folder + known.data));
}

// Keys in lower case, with the content of their records: of identical records any one may
// have the key, and a restored key is spelled as in its record.
Items DbtoolDamageTest::meaning(const Known& known, const QString& path) const
{
    const QByteArray data = contents(known.folder + known.data);
    const int length = known.data.startsWith(".VAD") ? 60
        : known.data.startsWith(".VAC")              ? 2012
                                                     : 792;
    Items meaning;
    for (const auto& [key, record] : itemsOf(known, path))
        meaning.emplace(QByteArray(key.c_str()).toLower().toStdString()
                            + data.mid(int(record) * length, length).toStdString(),
                        0);
    return meaning;
}

void DbtoolDamageTest::theDataFileBesideTheIndexRestoresAll_data()
{
    QTest::addColumn<int>("which");
    for (int which = 0; which < int(std::size(m_known)); ++which)
        QTest::newRow(qPrintable(m_known[which].index)) << which;
}

void DbtoolDamageTest::theDataFileBesideTheIndexRestoresAll()
{
    QFETCH(int, which);
    const Known& known = m_known[which];
    Random random = Random::announced();
    const Items items = meaning(known, known.folder + known.index);
    QVERIFY(items.size() > 200);
    for (const Shape& shape : shapes) {
        newFolder();
        take(known);
        QByteArray bytes = this->bytes(known.index);
        shape.damage(&bytes, PackedLength(known.keyLength), &random);
        setBytes(known.index, bytes);
        const Result repair = run("repair index @" + known.index + " -o @new.idx");
        QVERIFY2(repair.status == 0, qPrintable(shape.name + repair.out + repair.err));
        QVERIFY2(repair.out.contains(known.data), qPrintable(repair.out));
        QCOMPARE(meaning(known, path("new.idx")), items);
    }
    QVERIFY(QFile::remove(path(known.index)));
    QCOMPARE(run("repair index @" + known.index + " -o @gone.idx").status, 0);
    QCOMPARE(meaning(known, path("gone.idx")), items);
}

void DbtoolDamageTest::whatBothFilesHaveLeftIsRestored_data()
{
    theDataFileBesideTheIndexRestoresAll_data();
}

// The data file is damaged, too: status 0 only if each unchanged record has its key.
void DbtoolDamageTest::whatBothFilesHaveLeftIsRestored()
{
    QFETCH(int, which);
    const Known& known = m_known[which];
    Random random = Random::announced();
    const Items items = itemsOf(known, known.folder + known.index);
    const QByteArray sound = contents(known.folder + known.data);
    const int length = UnitLength(known.data.toStdString());
    const auto meaning = [length](const Item& item, const QByteArray& data) {
        return QByteArray(item.first.c_str()).toLower()
            + data.mid(int(item.second) * length, length);
    };
    int whole = 0;
    for (int round = 0; round < 24; ++round) {
        newFolder();
        take(known);
        QByteArray data = sound, index = bytes(known.index);
        MixUnits(data, length, random);
        const Shape& shape = shapes[round % std::size(shapes)];
        shape.damage(&index, PackedLength(known.keyLength), &random);
        setBytes(known.data, data);
        setBytes(known.index, index);
        const Result repair = run("repair index @" + known.index + " -o @new.idx");
        QVERIFY2(repair.status == 0 || repair.status == 1, qPrintable(shape.name + repair.err));
        QCOMPARE(QFile::exists(path("new.idx")), repair.status == 0);
        if (repair.status == 1)
            continue;
        ++whole;
        std::set<QByteArray> kept;
        for (const Item& item : itemsOf(known, path("new.idx")))
            kept.insert(meaning(item, data));
        for (const Item& item : items)
            QVERIFY2(meaning(item, data) != meaning(item, sound)
                         || kept.count(meaning(item, sound)) > 0,
                     qPrintable(shape.name + QStringLiteral(": ") + repair.out));
    }
    qInfo("%d restored", whole);
    QVERIFY(whole > 3);
}

// The described names are links into a folder. Repair reports where the new file belongs,
// and neither follows nor replaces a link with the name of the output.
void DbtoolDamageTest::theDataFileIsFoundWhereLinksLead()
{
    const Known& known = m_known[0];
    take(known);
    QVERIFY(QDir(path("")).mkdir("generation"));
    for (const QString& name : { known.index, known.data })
        QVERIFY(QFile::rename(path(name), path("generation/" + name)));
    QVERIFY(QFile::link("generation/" + known.index, path(known.index)));
    const Items items = itemsOf(known, path(known.index));
    patch(known.index, 8, word(9999));
    QCOMPARE(run("check index @" + known.index).status, 1);

    const Result repair = run("repair index @" + known.index + " -o @new.idx");
    QVERIFY2(repair.status == 0, qPrintable(repair.out));
    QVERIFY2(
        repair.out.contains(path(known.index) + " is a link: the file to replace is "
                            + QFileInfo(path("generation/" + known.index)).canonicalFilePath()),
        qPrintable(repair.out));
    QVERIFY(repair.out.contains("generation/" + known.data));
    QCOMPARE(itemsOf(known, path("new.idx")), items);

    QVERIFY(QFile::link("nowhere", path("dangling.idx")));
    for (const QString& output : { known.index, QString("dangling.idx") }) {
        QCOMPARE(run("repair index @" + known.index + " -o @" + output).status, 2);
        QVERIFY(QFileInfo(path(output)).isSymLink());
    }
    QVERIFY(!QFile::exists(path("nowhere")));
}

// A save that the third index refused has left a record that is in the first two.
void DbtoolDamageTest::whoWasRefusedStaysOut()
{
    CCatalogFile catalog;
    QVERIFY(catalog.Open());
    save(catalog, 5000, "PACKAGE31");
    QVERIFY(!catalog.SaveRecord());
    catalog.Close();
    Random random = Random::announced();
    for (const int which : { 2, 3 }) {
        const Known& known = m_known[which];
        const Items items = meaning(known, known.folder + known.index);
        take(known);
        patch(known.index, 0, word(1));
        const Result repair = run("repair index @" + known.index + " -o @new.idx");
        QVERIFY2(repair.status == 0, qPrintable(repair.out));
        QVERIFY2(repair.out.contains("stays out"), qPrintable(repair.out));
        QCOMPARE(meaning(known, path("new.idx")), items);
        // If the holder's own item is lost, nothing shows who held the key.
        for (int round = 0; round < 30; ++round) {
            newFolder();
            take(known);
            QByteArray bytes = this->bytes(known.index);
            ZeroPage(&bytes, PackedLength(known.keyLength), &random);
            setBytes(known.index, bytes);
            const Result part = run("repair index @" + known.index + " --partial -o @new.idx");
            const Items kept = meaning(known, path("new.idx"));
            if (part.status == 0)
                QVERIFY(std::includes(kept.begin(), kept.end(), items.begin(), items.end()));
            else
                QVERIFY2(part.out.contains("it is unknown which of"), qPrintable(part.out));
            QVERIFY(kept.size() <= items.size() + 1);
        }
        newFolder();
    }
}

void DbtoolDamageTest::aDamagedDataFileIsNotUsed()
{
    const Known& known = m_known[3];
    take(known);
    const Items items = itemsOf(known, path(known.index));
    setBytes(known.data, bytes(known.data).left(100 * 2012));
    patch(known.index, 8, word(9999));
    const Result repair = run("repair index @" + known.index + " -o @new.idx");
    QVERIFY2(repair.status == 0, qPrintable(repair.out));
    QVERIFY2(repair.out.contains("is damaged as well and of no help"), qPrintable(repair.out));
    QCOMPARE(itemsOf(known, path("new.idx")), items);
}

void DbtoolDamageTest::anotherKeyLengthIsNotTheKnownIndex()
{
    const Known& known = m_known[3];
    take(known);
    makeIndexAtRandom(std::make_unique<Random>(1).get(), false);
    QVERIFY(QFile::remove(path(known.index)) && QFile::rename(path("a.idx"), path(known.index)));
    const Items items = itemsOf(path(known.index), keyLength, false);
    QCOMPARE(run("repair index @" + known.index + " -k 12 -o @new.idx").status, 0);
    QCOMPARE(itemsOf(path("new.idx"), keyLength, false), items);
}

void DbtoolDamageTest::nothingHalfIsLeftAtASignal_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QStringList>("made");
    QTest::newRow("data") << "data @.rulist.fil -r 792 -o @new" << QStringList{ "new" };
    QTest::newRow("index, with its data file")
        << "index @.rulist.k2 -o @new" << QStringList{ "new" };
    QTest::newRow("index") << "index @a.idx -k 12 -d -o @new" << QStringList{ "new" };
    QTest::newRow("notes") << "notes @.VACatalogNotes -o @new"
                           << QStringList{ "new.fil", "new.k1" };
}

// SIGTERM at each change of a file, or at a sample of many: either all files of a repair
// exist, or none.
void DbtoolDamageTest::nothingHalfIsLeftAtASignal()
{
    QFETCH(QString, words);
    QFETCH(QStringList, made);
    take(m_known[7]);
    makeSmallIndex();
    for (const char* name : { ".VACatalogNotes.fil", ".VACatalogNotes.k1" })
        setBytes(name, contents(QString::fromStdString(CatalogFolder()) + name));
    const QStringList given = files();
    QStringList arguments = words.split(' ');
    for (QString& word : arguments)
        if (word.startsWith('@'))
            word = path(word.mid(1));
    QTemporaryDir elsewhere;
    bool cut = true;
    int k = 0, whole = 0;
    for (; cut; k += 1 + k / 32) {
        const CutRun run = RunCutAt(k, Killed::OneAsked,
                                    QStringList{ QStringLiteral(DBTOOL), "repair" } + arguments,
                                    elsewhere.filePath("out"));
        if (!run.traced) {
            QTest::qSkip("processes cannot be traced here", __FILE__, __LINE__);
            return;
        }
        cut = run.cut;
        QVERIFY(!run.hung);
        QVERIFY(cut ? run.status == -1 : run.status == 0);
        const QStringList left = files();
        const bool isMade = left.contains(made.first());
        QVERIFY2(left.size() == given.size() + (isMade ? made.size() : 0),
                 qPrintable(left.join(' ') + QLatin1Char(' ') + run.last));
        whole += isMade;
        for (const QString& name : made)
            QVERIFY(!isMade || QFile::remove(path(name)));
    }
    QVERIFY(k > 4 && whole > 0);
}

QTEST_GUILESS_MAIN(DbtoolDamageTest)
#include "tst_dbtool_damage.moc"
