// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A new database that nobody else sees, with its indexes written at once, holds the same as
// one to which each product was added: records and descriptions byte by byte, the items of
// the indexes, and every answer on the way. PAKMART_TEST_SEED repeats a run.

#include "db/ccatalogfile.h"
#include "db/dbcheck.h"
#include "db/dblayouts.h"
#include "db/dboptions.h"
#include "db/heldfiles.h"
#include "tests/db/dbtest.h"
#include "tests/store/storefixture.h"

#include <fcntl.h>
#include <sys/stat.h>

using namespace Agent;

namespace
{

// A database in a folder of its own.
class Made
{
public:
    Made(std::string folder, bool isPrivate)
        : m_path(std::move(folder)), m_made(mkdir(m_path.c_str(), 0700)),
          m_folder(open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
          m_held(std::make_unique<HeldFiles>(MachineFiles(), m_folder)),
          m_file(std::make_unique<CCatalogFile>(
              DbOptions{ m_path, &MachineFiles(), m_held.get(), isPrivate }))
    {
    }
    ~Made()
    {
        m_file.reset();
        m_held.reset();
        ::close(m_folder);
    }
    Made(const Made&) = delete;
    Made& operator=(const Made&) = delete;

    const std::string& path() const { return m_path; }
    CCatalogFile& file() { return *m_file; }
    bool create() { return m_made == 0 && m_file->Create(); }
    // Whether everything is in the files.
    bool close()
    {
        m_file->Close();
        m_held->CloseAll();
        return m_file->IsWhole() && m_held->NothingFailed();
    }
    QByteArray bytes(const char* name) const { return ReadWhole(m_path + name); }
    std::vector<Items> items() const
    {
        std::vector<Items> all;
        for (const DbLayout& layout : { Catalog::layout, Dependency::layout })
            for (int i = 0; i < layout.indexCount; ++i)
                all.push_back(ItemsOf(m_path + layout.indexes[i].fileName,
                                      layout.indexes[i].keyLength,
                                      layout.indexes[i].allowDuplicates));
        return all;
    }

private:
    const std::string m_path;
    const int m_made;
    const int m_folder;
    std::unique_ptr<HeldFiles> m_held;
    std::unique_ptr<CCatalogFile> m_file;
};

// What a product shows of itself.
QByteArray Shown(CCatalogFile& file)
{
    return QByteArray::number(file.RecordNumber()) + ' ' + file.Name() + ' ' + file.Category() + ' '
        + file.PackageName() + ' ' + QByteArray::number(file.ServerSerialNumber()) + ' '
        + file.Description().toUtf8() + ' ' + file.Dependencies().join(' ');
}

} // namespace

class NewCatalogTest : public StoreTest
{
    Q_OBJECT

private slots:
    void sameAsAdditions_data();
    void sameAsAdditions();
    void sameWhateverIsAskedMeanwhile_data();
    void sameWhateverIsAskedMeanwhile();
    void whatIsDroppedIsNotWritten();

private:
    static constexpr std::uint32_t fits = 44; // into the second key, with what is around it

    QByteArray text(const char* letters, std::uint32_t longest)
    {
        QByteArray made(int(m_random.below(longest + 1)), ' ');
        for (char& c : made)
            c = letters[m_random.below(std::uint32_t(strlen(letters)))];
        return made;
    }
    // The same product in both.
    void setProduct(CCatalogFile& one, CCatalogFile& other, int products)
    {
        const QByteArray name = text("aAbB z", 60), category = text("xX", 3) + text("cC", 90);
        const QByteArray package = text("pPq", 8) + QByteArray::number(m_random.below(products));
        const int serial = int(m_random.below(2 * products));
        const QString description
            = QString::fromLatin1(text("some words", m_random.below(20) == 0 ? 40000 : 90));
        QByteArrayList names;
        // A name that is equal to another one but for blanks at the end has the same second key.
        for (std::uint32_t i = m_random.below(6); i > 0; --i)
            names << text("dDe", 3) + text("f", m_random.below(2) == 0 ? 2 : m_longestName)
                    + text(" ", 1);
        for (CCatalogFile* const file : { &one, &other }) {
            file->setName(name.constData());
            file->setCategory(category.constData());
            file->setPackageName(package.constData());
            file->setServerSerialNumber(serial);
            file->setDescription(description);
            file->setDependencies(names);
        }
    }
    void saveBoth(CCatalogFile& one, CCatalogFile& other)
    {
        QCOMPARE(other.SaveRecord(), one.SaveRecord());
        QCOMPARE(other.RecordNumber(), one.RecordNumber());
    }
    std::uint32_t m_longestName = fits;

    static void compare(Made& one, Made& other)
    {
        QVERIFY(one.close());
        QVERIFY(other.close());
        for (const char* name : { Catalog::layout.fileName, Dependency::layout.fileName,
                                  ".VACatalogNotes.fil", ".VACatalogNotes.k1" })
            QVERIFY2(other.bytes(name) == one.bytes(name), name);
        QCOMPARE(other.items(), one.items());
        QCOMPARE(CheckCatalog(other.path()).faults, CheckCatalog(one.path()).faults);
    }
};

void NewCatalogTest::sameAsAdditions_data()
{
    QTest::addColumn<int>("products");
    for (const int products : { 0, 1, 2, 24, 25, 26, 49, 50, 51, 52, 101, 102, 103, 700, 6000 })
        QTest::addRow("%d", products) << products;
}

void NewCatalogTest::sameAsAdditions()
{
    QFETCH(int, products);
    Made one(path("one/"), false), other(path("other/"), true);
    QVERIFY(one.create() && other.create());
    for (int i = 0; i < products; ++i) {
        m_longestName = i < products / 2 ? fits : 60;
        one.file().AddNew();
        other.file().AddNew();
        setProduct(one.file(), other.file(), products);
        saveBoth(one.file(), other.file());
    }
    compare(one, other);
    QCOMPARE(CheckCatalog(other.path()).faults, Findings());
    if (products > 600)
        QVERIFY(other.bytes(".VACatalog.k1").size() < one.bytes(".VACatalog.k1").size());
}

void NewCatalogTest::sameWhateverIsAskedMeanwhile_data()
{
    QTest::addColumn<int>("seldom");
    QTest::newRow("often") << 3;
    QTest::newRow("seldom") << 60;
}

void NewCatalogTest::sameWhateverIsAskedMeanwhile()
{
    QFETCH(int, seldom);
    for (int round = 0; round < 12; ++round) {
        constexpr int products = 150;
        Made one(path("one" + std::to_string(round) + '/'), false);
        Made other(path("other" + std::to_string(round) + '/'), true);
        CCatalogFile &a = one.file(), &b = other.file();
        QVERIFY(one.create() && other.create());
        for (int i = 0; i < products; ++i) {
            a.AddNew();
            b.AddNew();
            setProduct(a, b, products);
            saveBoth(a, b);
            if (m_random.below(seldom) != 0)
                continue;
            const int number = int(m_random.below(i + 1)) + 1;
            switch (m_random.below(5)) {
            case 0: // changed and saved again, also under the same keys
                QCOMPARE(b.GetRecord(number), a.GetRecord(number));
                if (m_random.below(2) == 0)
                    setProduct(a, b, products);
                saveBoth(a, b);
                break;
            case 1: // the product that was just saved
                saveBoth(a, b);
                break;
            case 2:
                QCOMPARE(b.FindServerSerialNumber(number), a.FindServerSerialNumber(number));
                break;
            case 3:
                QCOMPARE(b.FindFirstForCategory(nullptr), a.FindFirstForCategory(nullptr));
                break;
            default:
                QCOMPARE(b.FindNextForCategory(nullptr), a.FindNextForCategory(nullptr));
            }
            QCOMPARE(Shown(b), Shown(a));
        }
        compare(one, other);
    }
}

// As after an update that was stopped.
void NewCatalogTest::whatIsDroppedIsNotWritten()
{
    const std::string folder = path("dropped/");
    {
        Made dropped(folder, true);
        QVERIFY(dropped.create());
        dropped.file().setName("a product");
        QVERIFY(dropped.file().SaveRecord());
    }
    QCOMPARE(ItemsOf(folder + Catalog::layout.indexes[1].fileName, 50, true), Items());
}

QTEST_MAIN(NewCatalogTest)
#include "tst_newcatalog.moc"
