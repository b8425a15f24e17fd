// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares a whole Debian package index as a catalog with SQLite holding the same data:
// building it, finding products, walking the categories, and the cost of the list of
// dependencies. "of_sqlite" is the ratio to the preceding SQLite run.
//
// Usage: bench_catalog [BENCHMARK-OPTION...] [INDEX]
// INDEX defaults to the largest one that apt keeps on this machine. Runs in a sandbox
// (tests/in-sandbox), where the agent's data folder is a private one.

#include "bench/catalog/sqlitecatalog.h"
#include "db/ccatalogfile.h"
#include "store/indexfile.h"
#include "tests/db/onfiles.h"
#include "tests/store/storeshims.h"

#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <fstream>
#include <malloc.h>
#include <random>
#include <set>
#include <sys/resource.h>
#include <time.h>

namespace
{

struct Fixture {
    std::vector<DebianPackage> packages;
    std::set<std::string> categories;
    QTemporaryDir folder;
    std::string sqlite = folder.filePath(QStringLiteral("catalog.sqlite")).toStdString();
};

Fixture* shared = nullptr;
double sqliteSeconds = 0; // the last run of SQLite

// The processor time of this process in seconds: nothing here waits for a disk, and other
// processes may use the machine.
double Now()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

double KernelSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_stime.tv_sec) + double(usage.ru_stime.tv_usec) / 1e6;
}

// Times `work` once per iteration. A run of SQLite becomes the reference for those after it.
template <typename Work> void Measure(benchmark::State& state, bool isSqlite, Work work)
{
    double seconds = 0;
    const double inKernel = KernelSeconds();
    for (auto _ : state) {
        const double begin = Now();
        work();
        const double took = Now() - begin;
        state.SetIterationTime(took);
        seconds += took;
    }
    state.counters["kernel_share"] = (KernelSeconds() - inKernel) / seconds;
    seconds /= double(state.iterations());
    if (isSqlite)
        sqliteSeconds = seconds;
    else if (sqliteSeconds > 0)
        state.counters["of_sqlite"] = seconds / sqliteSeconds;
}

enum class With { Everything, NoDescription, NoDependencies, ProductsAlone };

void Fill(CCatalogFile& catalog, const DebianPackage& package, int serial, With with)
{
    catalog.AddNew();
    catalog.setServerSerialNumber(serial);
    catalog.setCategory(package.section);
    catalog.setName(package.name);
    catalog.setPackageName(package.name);
    catalog.setVersion(package.version);
    catalog.setVendor(package.maintainer);
    catalog.setApplicationURL(package.homepage);
    catalog.setFileSize(package.size);
    catalog.setDownloads(package.installedSize);
    if (with == With::Everything || with == With::NoDependencies)
        catalog.setDescription(QString::fromUtf8(package.description));
    if (with == With::Everything || with == With::NoDescription)
        catalog.setDependencies(package.depends);
}

void BuildCatalog(With with, StoreFiles& files = MachineFiles())
{
    CCatalogFile catalog(OnFiles(files));
    if (!catalog.Create())
        qFatal("no catalog can be made: run this in a sandbox");
    int serial = 0;
    for (const DebianPackage& package : shared->packages) {
        Fill(catalog, package, ++serial, with);
        catalog.SaveRecord();
    }
    catalog.Close();
}

void BuildSqlite(benchmark::State& state)
{
    Measure(state, true, [] { SqliteCatalog(shared->sqlite, &shared->packages); });
    state.counters["MB"] = double(QFileInfo(QString::fromStdString(shared->sqlite)).size()) / 1e6;
}

void BuildWithoutDescriptions(benchmark::State& state)
{
    Measure(state, false, [] { BuildCatalog(With::NoDescription); });
}

void BuildWithoutDependencies(benchmark::State& state)
{
    Measure(state, false, [] { BuildCatalog(With::NoDependencies); });
}

void BuildProductsAlone(benchmark::State& state)
{
    Measure(state, false, [] { BuildCatalog(With::ProductsAlone); });
}

void Build(benchmark::State& state)
{
    Measure(state, false, [] { BuildCatalog(With::Everything); });
    double bytes = 0;
    const QDir folder = QFileInfo(QString::fromStdString(CCatalogFile::CATALOGDFNAME)).dir();
    for (const QFileInfo& file : folder.entryInfoList(QDir::Files | QDir::Hidden))
        bytes += double(file.size());
    state.counters["MB"] = bytes / 1e6;
}

// Counts the system calls per product of a build, in a run that is not timed.
void CallsOfABuild(benchmark::State& state)
{
    const auto count = [&state](const char* of, With with) {
        CountingFiles files;
        BuildCatalog(with, files);
        state.counters[of] = double(files.opens) / double(shared->packages.size());
    };
    for (auto _ : state) {
        count("opens_products", With::ProductsAlone);
        count("opens_with_notes", With::NoDependencies);
        count("opens", With::Everything);
    }
}

// ---- finding ----

constexpr int lookups = 20000;

std::vector<int> RandomSerials()
{
    std::mt19937 random(1);
    std::vector<int> serials;
    for (int i = 0; i < lookups; ++i)
        serials.push_back(int(random() % shared->packages.size()) + 1);
    return serials;
}

template <typename Use> void FindInSqlite(benchmark::State& state, Use use)
{
    SqliteCatalog catalog(shared->sqlite);
    Measure(state, true, [&] {
        for (const int serial : RandomSerials()) {
            catalog.Find(serial);
            use(catalog, serial);
        }
    });
}

template <typename Use> void FindInCatalog(benchmark::State& state, Use use)
{
    CCatalogFile catalog;
    catalog.Open();
    int found = 0;
    Measure(state, false, [&] {
        for (const int serial : RandomSerials()) {
            found += catalog.FindServerSerialNumber(serial);
            use(catalog);
        }
    });
    state.counters["found"] = double(found) / double(state.iterations());
}

void FindSqlite(benchmark::State& state)
{
    FindInSqlite(state, [](SqliteCatalog&, int) {});
}

void Find(benchmark::State& state)
{
    FindInCatalog(state, [](CCatalogFile&) {});
}

void FindWithNamesSqlite(benchmark::State& state)
{
    FindInSqlite(state, [](SqliteCatalog& catalog, int serial) { catalog.Dependencies(serial); });
}

void FindWithOwnNames(benchmark::State& state)
{
    FindInCatalog(state, [](CCatalogFile& catalog) { catalog.OwnDependencies(); });
}

// ---- walking ----

void WalkSqlite(benchmark::State& state)
{
    SqliteCatalog catalog(shared->sqlite);
    Measure(state, true, [&] {
        for (const std::string& category : shared->categories)
            catalog.Walk(category);
    });
}

template <typename Use> void WalkCatalog(benchmark::State& state, Use use)
{
    CCatalogFile catalog;
    catalog.Open();
    int products = 0;
    Measure(state, false, [&] {
        for (const std::string& category : shared->categories)
            for (bool more = catalog.FindFirstForCategory(category.c_str()); more;
                 more = catalog.FindNextForCategory(category.c_str())) {
                use(catalog);
                ++products;
            }
    });
    state.counters["products"] = double(products) / double(state.iterations());
}

void Walk(benchmark::State& state)
{
    WalkCatalog(state, [](CCatalogFile&) {});
}

void WalkWithNamesSqlite(benchmark::State& state)
{
    SqliteCatalog catalog(shared->sqlite);
    Measure(state, true, [&] {
        for (const std::string& category : shared->categories)
            catalog.Walk(category);
        for (int serial = 1; serial <= int(shared->packages.size()); ++serial)
            catalog.Dependencies(serial);
    });
}

void WalkWithOwnNames(benchmark::State& state)
{
    WalkCatalog(state, [](CCatalogFile& catalog) { catalog.OwnDependencies(); });
}

// ---- the list of dependencies ----

// Loads a product with the names of all later ones, from the front, the middle and the end
// of the catalog.
void LoadWithList(benchmark::State& state)
{
    CCatalogFile catalog;
    catalog.Open();
    const int last = int(shared->packages.size());
    const int record = std::max(1, int(last * state.range(0) / 100));
    sqliteSeconds = 0;
    Measure(state, false, [&] {
        catalog.GetRecord(record);
        benchmark::DoNotOptimize(catalog.Dependencies().size());
    });
    state.counters["names"] = catalog.Dependencies().size();
}

double ResidentKilobytes()
{
    std::ifstream file("/proc/self/statm");
    double size = 0, resident = 0;
    file >> size >> resident;
    return resident * 4;
}

double Allocated()
{
    const auto info = mallinfo2();
    return double(info.uordblks + info.hblkhd) / 1024;
}

// The memory of one object: after opening, after a walk of all products, and with the
// longest list.
void MemoryOfACatalog(benchmark::State& state)
{
    for (auto _ : state) {
        UnInitIndex();
        malloc_trim(0);
        const double before = Allocated();
        const double resident = ResidentKilobytes();
        InitIndex();
        CCatalogFile catalog;
        catalog.Open();
        state.counters["open_kB"] = Allocated() - before;
        state.counters["open_resident_kB"] = ResidentKilobytes() - resident;
        for (bool more = catalog.FindFirstForCategory(nullptr); more;
             more = catalog.FindNextForCategory(nullptr)) { }
        state.counters["walked_resident_kB"] = ResidentKilobytes() - resident;
        catalog.GetRecord(1);
        benchmark::DoNotOptimize(catalog.Dependencies().size());
        state.counters["list_kB"] = Allocated() - before;
        catalog.Close();
    }
}

BENCHMARK(BuildSqlite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BuildProductsAlone)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BuildWithoutDescriptions)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BuildWithoutDependencies)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(Build)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(CallsOfABuild)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(FindSqlite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Find)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FindWithNamesSqlite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FindWithOwnNames)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(WalkSqlite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Walk)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(WalkWithNamesSqlite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(WalkWithOwnNames)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(LoadWithList)->Arg(0)->Arg(50)->Arg(99)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(MemoryOfACatalog)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    Fixture fixture;
    shared = &fixture;
    fixture.packages
        = ParseIndex(ReadIndex(argc > 1 ? QString::fromLocal8Bit(argv[1]) : LargestIndex()));
    if (fixture.packages.empty())
        qFatal("there is no package index to read");
    for (const DebianPackage& package : fixture.packages)
        fixture.categories.insert(package.section.toStdString());
    InitIndex();
    SqliteCatalog(fixture.sqlite, &fixture.packages);
    BuildCatalog(With::Everything);
    benchmark::RunSpecifiedBenchmarks();
    UnInitIndex();
}
