// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An update of the catalog without enough memory: it fails, no exception reaches the
// host, and the old database is complete.

#include "tests/catalog/wholecatalogs.h"
#include "tests/db/memoryfaults.h"

class UpdateMemoryTest : public QObject
{
    Q_OBJECT

private slots:
    void anUpdateWithoutMemoryLeavesTheOldDatabase_data() { AllocationRows(); }
    void anUpdateWithoutMemoryLeavesTheOldDatabase()
    {
        QFETCH(bool, forGood);
        QVERIFY(Process(Whole("old")));
        QDomDocument document = Document(Whole("new"));
        const QList<QByteArray> before = Contents();
        int failed = 0;
        for (int k = 0;; k += 1 + k / 64) {
            const int descriptors = OpenDescriptors();
            const std::unique_ptr<CAPIUpdateCatalog> request(
                new CAPIUpdateCatalog(true, true, OnFiles(unsyncedFiles)));
            QDomElement element = document.documentElement();
            Memory::failFrom(k, forGood);
            const bool made = request->ProcessVantrelCatalogRequest(element);
            const bool hasFailed = Memory::heal();
            QCOMPARE(OpenDescriptors(), descriptors);
            if (!hasFailed)
                break;
            ++failed;
            // Steps after the new database is in place may lack memory.
            if (made) {
                QCOMPARE(VersionOfWhole(), QByteArray("new"));
                QVERIFY(Process(Whole("old")));
                continue;
            }
            QVERIFY2(Contents() == before, qPrintable(QString::number(k)));
            QCOMPARE(VersionOfWhole(), QByteArray("old"));
        }
        qInfo("%d faults", failed);
        QVERIFY(failed > 50);
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
        QCOMPARE(Generations().size(), 1);
    }
};

QTEST_GUILESS_MAIN(UpdateMemoryTest)
#include "tst_updatememory.moc"
