// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares the catalog with plain containers in long random sequences: new products,
// renames, changes of category, package, serial number, description and dependencies.
// PAKMART_TEST_SEED repeats a run.

#include "db/ccatalogfile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "store/cnote.h"
#include "tests/db/dbmodel.h"
#include "tests/store/storefixture.h"

#include <QTemporaryDir>
#include <QtTest>
#include <set>

using namespace Agent;

namespace
{

struct Product {
    std::string category, name, package;
    int serial = 0;
    QString description;

    // Not yet cut to its width in the index; all are short here.
    std::string key(int which) const
    {
        switch (which) {
        case 0:
            return category + std::string(60 - category.size(), ' ') + name;
        case 1:
            return name;
        case 2:
            return package;
        default:
            return Formatted("%020d", serial);
        }
    }
};

// The model's data about a stored product.
struct Stored {
    Product product;
    int note = -1; // where its description is, or was
    std::string keys[4]; // under which it is stored
};

// The order of the index for the names that a product depends on.
struct FoldedLess {
    bool operator()(const std::string& a, const std::string& b) const
    {
        return Folded(a) < Folded(b);
    }
};
using Names = std::set<std::string, FoldedLess>;

// The catalog and its expected content. A separate store of notes gets the same
// operations as the catalog's.
class CatalogPair
{
public:
    CatalogPair()
    {
        m_notes.AvoidOverlaps();
        QVERIFY(m_catalog.Create());
        QVERIFY(m_notes.Create(notesPath().c_str()));
    }

    // Stores a new product. False if it was refused because another has its key.
    bool add(const Product& product, const QByteArrayList& dependencies)
    {
        m_catalog.AddNew();
        set(product);
        for (const QByteArray& name : dependencies)
            m_catalog.AddDependency(name);
        Stored stored;
        stored.product = product;
        const int number = int(m_products.size()) + 1;
        saveDescription(&stored, number);
        bool done = true;
        for (int which = 0; which < 4; ++which)
            stored.keys[which] = product.key(which);
        for (int which = 0; done && which < 4; ++which)
            done = m_indexes[which].add(stored.keys[which], number);
        m_products.push_back(stored);
        m_dependencies.emplace_back();
        const bool saved = m_catalog.SaveRecord();
        if (done)
            keep(number, dependencies);
        if (saved != done || m_catalog.RecordNumber() != number)
            qFatal("a new product: stored %d, expected %d", saved, done);
        return saved;
    }

    // Loads a product, changes it and stores it. Its dependencies are those in its list,
    // including later products', or only its own.
    void change(int number, const Product& product, const QByteArrayList& more, bool ownOnly)
    {
        load(number);
        QByteArrayList names = ownOnly ? ownNames(number) : allNames(number);
        QCOMPARE(m_catalog.Dependencies(), allNames(number));
        if (ownOnly)
            m_catalog.setDependencies(m_catalog.OwnDependencies());
        for (const QByteArray& name : more)
            m_catalog.AddDependency(name);
        set(product);
        Stored& stored = m_products[std::size_t(number - 1)];
        stored.product = product;
        saveDescription(&stored, number);
        QVERIFY(m_catalog.SaveRecord());
        for (int which = 0; which < 4; ++which) {
            const std::string key = product.key(which);
            std::string& old = stored.keys[which];
            if (which == 0 ? key == old : Folded(key) == Folded(old))
                continue;
            m_indexes[which].erase(old, number);
            m_indexes[which].add(key, number);
            old = key;
        }
        keep(number, names + more);
    }

    void findSerial(int serial)
    {
        const int number = m_indexes[3].search(Formatted("%020d", serial));
        const bool found = number != 0 && at(number).product.serial == serial;
        QCOMPARE(m_catalog.FindServerSerialNumber(serial), found);
        if (found)
            compare(number);
    }

    // Walks one category, or all.
    void walk(const char* category)
    {
        std::vector<int> expected;
        for (const auto& [key, number] : m_indexes[0].all())
            if (!category || Folded(at(number).product.category) == Folded(category))
                expected.push_back(number);
        std::vector<int> walked;
        for (bool more = m_catalog.FindFirstForCategory(category); more;
             more = m_catalog.FindNextForCategory(category))
            walked.push_back(m_catalog.RecordNumber());
        QCOMPARE(walked, expected);
    }

    // Compares every product and every key, read from the files.
    void compareFiles()
    {
        m_catalog.Close();
        const std::string paths[]
            = { CCatalogFile::CATALOGIDXNAME1, CCatalogFile::CATALOGIDXNAME2,
                CCatalogFile::CATALOGIDXNAME3, CCatalogFile::CATALOGIDXNAME4 };
        for (int which = 0; which < 4; ++which)
            QCOMPARE(m_indexes[which].inFile(paths[which]), m_indexes[which].all());
        QVERIFY(m_catalog.Open());
        m_owners.clear();
        m_knowsOwners = false;
        for (int number = 1; number <= count(); ++number)
            load(number);
    }

    // Checks that the files are sound, whatever products they contain. Both notes stores
    // got the same operations, so their files must be the same.
    void checkFiles()
    {
        m_catalog.Close();
        QCOMPARE(CheckDataFile(CCatalogFile::CATALOGDFNAME, 2012), Findings());
        QCOMPARE(CheckDataFile(CDependency::DEPENDENCYDFNAME, 60), Findings());
        QCOMPARE(CheckIndex(CDependency::DEPENDENCYIDXNAME1, 58, false), Findings());
        QCOMPARE(CheckIndex(CDependency::DEPENDENCYIDXNAME2, 58, false), Findings());
        m_notes.Close();
        for (const char* suffix : { ".fil", ".k1" })
            QVERIFY(ReadWhole(CCatalogFile::CATALOGNOTES + suffix)
                    == ReadWhole(notesPath() + suffix));
        QCOMPARE(CheckNotes(CCatalogFile::CATALOGNOTES), CheckNotes(notesPath()));
    }

    const Stored& at(int number) const { return m_products[std::size_t(number - 1)]; }
    int count() const { return int(m_products.size()); }
    void close() { m_catalog.Close(); }

private:
    void load(int number)
    {
        QVERIFY(m_catalog.GetRecord(number));
        compare(number);
        QCOMPARE(m_catalog.OwnDependencies(), ownNames(number));
    }

    void compare(int number)
    {
        const Stored& stored = at(number);
        QCOMPARE(std::string(m_catalog.Category()), stored.product.category);
        QCOMPARE(std::string(m_catalog.Name()), stored.product.name);
        QCOMPARE(std::string(m_catalog.PackageName()), stored.product.package);
        QCOMPARE(m_catalog.ServerSerialNumber(), stored.product.serial);
        QCOMPARE(m_catalog.NoteOffset(), stored.note);
        QCOMPARE(m_catalog.Description(), note(stored.note));
        // No other product has removed it.
        if (!stored.product.description.isEmpty())
            QCOMPARE(m_catalog.Description(), stored.product.description);
    }

    void set(const Product& product)
    {
        m_catalog.setCategory(product.category.c_str());
        m_catalog.setName(product.name.c_str());
        m_catalog.setPackageName(product.package.c_str());
        m_catalog.setServerSerialNumber(product.serial);
        m_catalog.setDescription(product.description);
    }

    void saveDescription(Stored* stored, int number)
    {
        const QByteArray text = stored->product.description.toUtf8();
        if (stored->note != -1) {
            findOwners();
            if (m_owners[stored->note] == number) {
                m_notes.DeleteNote(stored->note);
                m_owners[stored->note] = 0;
            }
        }
        if (text.isEmpty())
            return;
        stored->note = m_notes.SaveNote(text, text.size());
        QVERIFY(stored->note != -1);
        for (auto& [place, owner] : m_owners)
            if (place >= stored->note && place < stored->note + 8 + text.size())
                owner = 0;
        if (m_knowsOwners)
            m_owners[stored->note] = number;
    }

    // Called before the first deletion of a text since the catalog was opened: a place
    // that two products have, or where no text begins, has no owner.
    void findOwners()
    {
        if (m_knowsOwners)
            return;
        m_knowsOwners = true;
        std::map<int, int> products;
        for (const Stored& stored : m_products)
            ++products[stored.note];
        for (int number = 1; number <= count(); ++number)
            m_owners[at(number).note] = products[at(number).note] == 1 ? number : 0;
        m_owners.erase(-1);
        const std::vector<std::int32_t> texts = m_notes.TextOffsets();
        for (auto& [place, owner] : m_owners)
            if (std::find(texts.begin(), texts.end(), place) == texts.end())
                owner = 0;
    }

    QString note(int offset)
    {
        char* const text = m_notes.ReadNote(offset);
        const QString read = QString::fromUtf8(text);
        std::free(text);
        return read;
    }

    void keep(int number, const QByteArrayList& names)
    {
        Names& kept = m_dependencies[std::size_t(number - 1)];
        kept.clear();
        for (const QByteArray& name : names)
            kept.insert(name.toStdString());
    }

    QByteArrayList ownNames(int number) const
    {
        QByteArrayList names;
        for (const std::string& name : m_dependencies[std::size_t(number - 1)])
            names << QByteArray::fromStdString(name);
        return names;
    }

    QByteArrayList allNames(int number) const
    {
        QByteArrayList names = ownNames(number);
        for (int later = number + 1; !names.isEmpty() && later <= count(); ++later)
            names += ownNames(later);
        return names;
    }

    std::string notesPath() const
    {
        return m_folder.filePath(QStringLiteral("notes")).toStdString();
    }

    QTemporaryDir m_folder;
    CCatalogFile m_catalog;
    CNote m_notes;
    std::vector<Stored> m_products;
    std::vector<Names> m_dependencies;
    std::map<int, int> m_owners; // of the places in the notes, by number; 0: nobody
    bool m_knowsOwners = false;
    ModelIndex m_indexes[4] = { { 110, true }, { 50, true }, { 50, false }, { 20, false } };
};

const char* const categories[] = { "Games", "games", "Office", "Graphics", "Sound & Video" };

QString RandomText(Random& random)
{
    const std::uint32_t most = random.below(10u) == 0 ? 40000 : 200;
    return QString(int(random.below(most) + 1), QLatin1Char(char('a' + random.below(26))));
}

} // namespace

class CatalogModelTest : public StoreTest
{
    Q_OBJECT

private slots:
    // Uses it as a well-behaved host does: everything agrees at the end.
    void productsOfTheirOwn()
    {
        CatalogPair pair;
        int unique = 0;
        const auto product = [&](int serial) {
            Product p;
            p.category = categories[m_random.below(5)];
            p.name = "Product " + std::to_string(m_random.below(300));
            p.package = "package" + std::to_string(++unique);
            p.serial = serial;
            p.description = RandomText(m_random);
            return p;
        };
        for (int i = 0; i < 1500 && !QTest::currentTestFailed(); ++i) {
            QByteArrayList names;
            for (std::uint32_t n = m_random.below(4); n > 0; --n)
                names << "lib" + QByteArray::number(++unique);
            const int count = pair.count();
            if (count < 5 || m_random.below(100) < 30) {
                QVERIFY(pair.add(product(count + 1), names));
                continue;
            }
            const int number = int(m_random.below(count)) + 1;
            Product changed = product(pair.at(number).product.serial);
            if (m_random.below(2) == 0)
                changed.description = pair.at(number).product.description;
            pair.change(number, changed, names, true);
            pair.findSerial(int(m_random.below(count + 2)));
            if (i % 100 == 0) {
                pair.walk(categories[m_random.below(5)]);
                pair.walk(nullptr);
            }
            if (i % 500 == 499)
                pair.compareFiles();
        }
        pair.compareFiles();
        pair.close();
        QCOMPARE(CheckCatalog(CatalogFolder()).faults, Findings());
        QCOMPARE(CheckCatalog(CatalogFolder()).remarks, Findings());
    }

    // Products that take each other's keys, cleared descriptions that leave their offset,
    // lists that are stored with the names of later products.
    void productsThatTakeEachOthersKeys_data()
    {
        QTest::addColumn<quint32>("seed");
        QTest::newRow("at random") << 0u;
        // Once a product's old text was freed twice, and a later text overlapped another
        // one.
        QTest::newRow("freed twice") << 4u;
    }

    void productsThatTakeEachOthersKeys()
    {
        QFETCH(quint32, seed);
        if (seed != 0)
            m_random = Random(seed);
        CatalogPair pair;
        const auto product = [&] {
            Product p;
            p.category = categories[m_random.below(5)];
            p.name = std::string(1, "aAbBcC"[m_random.below(6)]);
            p.package = "p" + std::to_string(m_random.below(60));
            p.serial = int(m_random.below(60));
            if (m_random.below(3) > 0)
                p.description = RandomText(m_random);
            return p;
        };
        for (int i = 0; i < 700 && !QTest::currentTestFailed(); ++i) {
            QByteArrayList names;
            for (std::uint32_t n = m_random.below(3); n > 0; --n)
                names << "lib" + QByteArray::number(m_random.below(8));
            const int count = pair.count();
            if (count < 3 || (count < 40 && m_random.below(100) < 20))
                pair.add(product(), names);
            else
                pair.change(int(m_random.below(count)) + 1, product(), names,
                            m_random.below(3) > 0);
            pair.findSerial(int(m_random.below(60)));
            if (i % 50 == 0) {
                pair.compareFiles();
                pair.walk(categories[m_random.below(5)]);
                pair.walk(nullptr);
            }
        }
        pair.compareFiles();
        pair.close();
        pair.checkFiles();
    }
};

QTEST_GUILESS_MAIN(CatalogModelTest)
#include "tst_catalogmodel.moc"
