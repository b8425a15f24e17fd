// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whole package indexes are loaded as a catalog, read back and compared with the results
// of libapt-pkg: a small one of our own, dpkg's status file with its long descriptions,
// and the largest index that apt keeps on this machine.

#include "db/ccatalogfile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "tests/db/dbmodel.h"
#include "tests/db/debianindex.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <apt-pkg/configuration.h>
#include <apt-pkg/deblistparser.h>
#include <apt-pkg/error.h>
#include <apt-pkg/fileutl.h>
#include <apt-pkg/init.h>
#include <apt-pkg/tagfile.h>
#include <climits>
#include <map>
#include <set>

using namespace Agent;

namespace
{

QByteArray Cut(const std::string& text, int most)
{
    // All texts that are cut here are UTF-8.
    QByteArray cut = QByteArray::fromStdString(text).left(most);
    while (int(text.size()) > most && !cut.isEmpty()
           && (text[std::size_t(cut.size())] & 0xc0) == 0x80)
        cut.chop(1);
    return cut;
}

// The names in a relation that the second index of dependencies distinguishes, in the
// order of the first index.
QByteArrayList StoredNames(const pkgTagSection& section)
{
    const char* at = nullptr;
    const char* end = nullptr;
    std::map<std::string, QByteArray> names;
    if (section.Find("Depends", at, end))
        while (at != end) {
            std::string name, version;
            unsigned int relation = 0;
            at = debListParser::ParseDepends(at, end, name, version, relation, false, false, false);
            if (!at)
                break;
            names.emplace(Folded(name.substr(0, 50)), Cut(name, 51));
        }
    QByteArrayList list;
    for (const auto& name : names)
        list << name.second;
    return list;
}

int Number(const pkgTagSection& section, const char* field)
{
    // The nearest number that fits, as in the catalog.
    return int(std::min<unsigned long long>(section.FindULL(field, 0), INT_MAX));
}

} // namespace

class DebianCatalogTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(InitIndex(), 0);
        QVERIFY(pkgInitConfig(*_config));
    }
    void cleanupTestCase() { UnInitIndex(); }

    void everyPackageIsReadBackAsAptReadsIt_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("a small index") << QStringLiteral(SMALL_INDEX);
        if (QFile::exists(QStringLiteral("/var/lib/dpkg/status")))
            QTest::newRow("dpkg's status") << QStringLiteral("/var/lib/dpkg/status");
        if (!LargestIndex().isEmpty())
            QTest::newRow("the largest of this machine") << LargestIndex();
    }
    void everyPackageIsReadBackAsAptReadsIt()
    {
        QFETCH(QString, path);
        load(ParseIndex(ReadIndex(path)));
        FileFd file(path.toStdString(), FileFd::ReadOnly, FileFd::Extension);
        pkgTagFile tags(&file);
        pkgTagSection section;
        int number = 0;
        while (tags.Step(section) && !QTest::currentTestFailed()) {
            ++number;
            compare(number, section);
        }
        QVERIFY(!_error->PendingError());
        QCOMPARE(number, m_count);
        walkCategories();
        m_catalog.Close();
        const DbFindings findings = CheckCatalog(CatalogFolder());
        QCOMPARE(findings.faults, Findings());
        QVERIFY(m_refused.empty() || !findings.remarks.empty());
        qInfo("%d packages, %d refused for the first 50 letters of their names", number,
              int(m_refused.size()));
    }

private:
    void load(const std::vector<DebianPackage>& packages)
    {
        QVERIFY(!packages.empty());
        QVERIFY(m_catalog.Create());
        m_count = int(packages.size());
        m_refused.clear();
        m_categories.clear();
        std::set<std::string> names;
        for (const DebianPackage& package : packages) {
            const int serial = int(&package - packages.data()) + 1;
            fill(package, serial);
            const bool isNew = names.insert(Folded(package.name.left(50).toStdString())).second;
            QCOMPARE(m_catalog.SaveRecord(), isNew);
            if (!isNew)
                m_refused.insert(m_catalog.RecordNumber());
            QCOMPARE(m_catalog.RecordNumber(), serial);
        }
        m_catalog.Close();
        QVERIFY(m_catalog.Open());
    }

    void fill(const DebianPackage& package, int serial)
    {
        m_catalog.AddNew();
        m_catalog.setServerSerialNumber(serial);
        m_catalog.setCategory(package.section);
        m_catalog.setName(package.name);
        m_catalog.setPackageName(package.name);
        m_catalog.setVersion(package.version);
        m_catalog.setVendor(package.maintainer);
        m_catalog.setApplicationURL(package.homepage);
        m_catalog.setFileSize(package.size);
        m_catalog.setDownloads(package.installedSize);
        m_catalog.setDescription(QString::fromUtf8(package.description));
        for (const QByteArray& name : package.depends)
            m_catalog.AddDependency(name);
    }

    void compare(int number, const pkgTagSection& section)
    {
        if (m_refused.count(number) > 0) {
            QVERIFY(m_catalog.GetRecord(number));
            QCOMPARE(m_catalog.OwnDependencies(), QByteArrayList());
        } else {
            QVERIFY(m_catalog.FindServerSerialNumber(number));
            QCOMPARE(m_catalog.RecordNumber(), number);
            QCOMPARE(m_catalog.OwnDependencies(), StoredNames(section));
        }
        const std::string name = section.FindS("Package");
        QCOMPARE(QByteArray(m_catalog.Name()), Cut(name, 50));
        QCOMPARE(QByteArray(m_catalog.PackageName()), Cut(name, 256));
        QCOMPARE(QByteArray(m_catalog.Category()), Cut(section.FindS("Section"), 60));
        QCOMPARE(QByteArray(m_catalog.Version()), Cut(section.FindS("Version"), 50));
        QCOMPARE(QByteArray(m_catalog.Vendor()), Cut(section.FindS("Maintainer"), 256));
        QCOMPARE(QByteArray(m_catalog.ApplicationURL()), Cut(section.FindS("Homepage"), 256));
        QCOMPARE(m_catalog.FileSize(), Number(section, "Size"));
        QCOMPARE(m_catalog.Downloads(), Number(section, "Installed-Size"));
        QCOMPARE(m_catalog.Description(), QString::fromStdString(section.FindS("Description")));
        ++m_categories[Folded(m_catalog.Category())];
    }

    // Walks all products by category, and by name within each.
    void walkCategories()
    {
        for (const auto& [category, products] : m_categories) {
            int walked = 0;
            std::string before;
            for (bool more = m_catalog.FindFirstForCategory(category.c_str()); more;
                 more = m_catalog.FindNextForCategory(category.c_str())) {
                const std::string name = Folded(m_catalog.Name());
                QVERIFY(before <= name);
                before = name;
                ++walked;
            }
            QCOMPARE(walked, products);
        }
    }

    CCatalogFile m_catalog;
    int m_count = 0;
    std::set<int> m_refused;
    std::map<std::string, int> m_categories;
};

QTEST_GUILESS_MAIN(DebianCatalogTest)
#include "tst_debiancatalog.moc"
