// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The databases with damaged files: whatever the files contain, every call returns, and
// so do the check and the listing.

#include "tests/fuzz/fuzzedfiles.h"

#include "db/ccatalogfile.h"
#include "db/cdependency.h"
#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dbdump.h"
#include "db/dblayouts.h"
#include "db/dbshared.h"
#include "store/indexfile.h"
#include "store/indexpage.h"

#include <cstring>
#include <sstream>

using namespace Agent;

namespace
{

constexpr int samples = 80; // at least two leaves in each index
constexpr int mostSteps = 500; // a damaged list may be circular

void MakeSamples()
{
    CCatalogFile catalog;
    CRUFile list;
    Demand(catalog.Create() && list.Create(), "the samples can be made");
    for (int i = 1; i <= samples; ++i) {
        const std::string text = std::to_string(i * 31 % 997);
        catalog.AddNew();
        catalog.setServerSerialNumber(i);
        catalog.setCategory(i % 3 == 0 ? "Office" : "Games");
        catalog.setName(text.c_str());
        catalog.setPackageName(text.c_str());
        catalog.setDescription(QString::fromStdString("About " + text));
        catalog.AddDependency(text.c_str());
        list.AddNew();
        list.SetServerSerialNumber(i);
        list.SetDescription(text.c_str());
        list.SetLastAccessed(1000 + i);
        Demand(catalog.SaveRecord() && list.Update(), "the samples can be saved");
    }
    Demand(list.DeleteRecord(5), "a sample can be deleted");
}

void AddFiles(const std::string& folder, const DbLayout& layout,
              std::vector<FuzzedFiles::File>* files)
{
    files->push_back({ folder + layout.fileName, std::size_t(layout.recordLength) });
    for (int i = 0; i < layout.indexCount; ++i)
        files->push_back({ folder + layout.indexes[i].fileName,
                           std::size_t(PackedLength(layout.indexes[i].keyLength)) });
}

FuzzedFiles MakeFiles()
{
    Demand(InitIndex() == 0, "the page cache is there");
    MakeSamples();
    UnInitIndex();
    std::vector<FuzzedFiles::File> files;
    AddFiles(CatalogFolder(), Catalog::layout, &files);
    AddFiles(CatalogFolder(), Dependency::layout, &files);
    AddFiles(RecentFolder(), Recent::layout, &files);
    const std::string notes = CatalogFolder() + Catalog::notesName;
    files.push_back({ notes + ".fil", 16 });
    files.push_back({ notes + ".k1", std::size_t(PackedLength(9)) });
    return FuzzedFiles(files);
}

void UseCatalog(CCatalogFile& catalog, unsigned what, int number)
{
    int steps = 0;
    switch (what % 5) {
    case 0:
        catalog.FindServerSerialNumber(number);
        break;
    case 1:
        for (bool more = catalog.FindFirstForCategory("Games"); more && steps < mostSteps; ++steps)
            more = catalog.FindNextForCategory("Games");
        break;
    case 2:
        catalog.GetRecord(number);
        catalog.setDescription(QStringLiteral("Another text"));
        catalog.SaveRecord();
        break;
    case 3:
        catalog.AddNew();
        catalog.setServerSerialNumber(1000 + number);
        catalog.setPackageName(std::to_string(number).c_str());
        catalog.SaveRecord();
        break;
    default:
        if (catalog.FindServerSerialNumber(number)) {
            catalog.setCategory("Zoo");
            catalog.setName("Renamed");
            catalog.SaveRecord();
        }
    }
}

// Needs no limit on the steps: each key is below the one before, so no damage can make
// the walk circular.
void WalkBackInTime(CRUFile& list)
{
    char key[keyRoom], before[keyRoom] = "";
    for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem()) {
        list.MakeKey(key, 0);
        Demand(!*before || tacompkeys(key, before, 0, 0, 0) < 0, "the keys descend");
        std::strcpy(before, key);
    }
}

void UseList(CRUFile& list, unsigned what, int number)
{
    int steps = 0;
    switch (what % 5) {
    case 0:
        list.DeleteRecord(number);
        break;
    case 1:
        WalkBackInTime(list);
        break;
    case 2:
        for (bool more = list.FindFirstByDescription(); more && steps < mostSteps; ++steps)
            more = list.FindNextByDescription();
        break;
    case 3:
        list.AddNew();
        list.SetServerSerialNumber(1000 + number);
        list.SetDescription(std::to_string(number).c_str());
        list.Update();
        break;
    default:
        if (list.FindItem(std::to_string(number).c_str())) {
            list.SetLastAccessed(5000 + number);
            list.Update();
        }
    }
}

void Use(FuzzedInput* input)
{
    Demand(InitIndex() == 0, "the page cache is there");
    {
        CCatalogFile catalog;
        CRUFile list;
        const bool hasCatalog = catalog.Open();
        const bool hasList = list.Open();
        for (unsigned uses = input->byte() % 16; uses > 0; --uses) {
            const unsigned what = input->byte();
            const int number = int(input->byte());
            if (what % 2 == 0 && hasCatalog)
                UseCatalog(catalog, what / 2, number);
            else if (hasList)
                UseList(list, what / 2, number);
        }
    }
    UnInitIndex();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static FuzzedFiles files = MakeFiles();
    FuzzedInput input(data, size);
    files.damage(&input);
    CheckCatalog(CatalogFolder());
    CheckRecent(RecentFolder());
    Use(&input);
    CheckCatalog(CatalogFolder());
    CheckRecent(RecentFolder());
    std::ostringstream out;
    DumpCatalog(CatalogFolder(), out);
    DumpRecent(RecentFolder(), out);
    return 0;
}
