// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/measure.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

// The space on the disk, since files may have holes.
double BytesIn(const std::string& folder)
{
    double bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        struct stat status;
        if (entry.is_regular_file() && stat(entry.path().c_str(), &status) == 0)
            bytes += double(status.st_blocks) * 512;
    }
    return bytes;
}

void Empty(const std::string& folder)
{
    for (const auto& entry : fs::directory_iterator(folder))
        fs::remove_all(entry.path());
}

void InsertAll(Contender& store, const std::vector<Product>& products)
{
    for (const Product& product : products)
        store.Insert(product);
}

void FindAll(Contender& store, const Workload& workload)
{
    for (const Workload::Lookup& lookup : workload.lookups)
        Require(store.Find(lookup.name) == lookup.place + 1, "a wrong number was found");
}

void CheckRecord(const std::uint8_t* record, const Product& product)
{
    Record expected;
    MakeRecord(product, expected);
    Require(record && std::memcmp(record, expected, recordLength) == 0, "a wrong record was read");
}

void ReadAll(Contender& store, const Workload& workload)
{
    for (const Workload::Lookup& lookup : workload.lookups)
        CheckRecord(store.Fetch(lookup.name), workload.random[lookup.place]);
}

// The sums of the numbers and of their squares show whether every number occurs once.
void WalkAll(Contender& store, std::uint64_t count)
{
    char last[productKeyLength + 1] = "";
    std::size_t lastLength = 0;
    std::uint64_t visits = 0, sum = 0, squares = 0;
    store.Walk([&](const char* name, std::size_t length, std::uint32_t number) {
        Require(length <= productKeyLength, "a name is too long");
        const int order = std::memcmp(last, name, std::min(lastLength, length));
        Require(order < 0 || (order == 0 && lastLength < length), "the walk is out of order");
        std::memcpy(last, name, length);
        lastLength = length;
        ++visits;
        sum += number;
        squares += std::uint64_t(number) * number;
    });
    Require(visits == count, "the walk missed names");
    Require(sum == count * (count + 1) / 2, "the walk found wrong numbers");
    Require(squares == count * (count + 1) / 2 * (2 * count + 1) / 3, "and wrong squares of them");
}

template <typename Work> void ForEveryOther(const std::vector<Product>& products, Work work)
{
    for (std::size_t i = 0; i < products.size(); i += 2)
        work(products[i]);
}

} // namespace

clockid_t phaseClock = CLOCK_MONOTONIC;

const char* PhaseName(int phase)
{
    static const char* const names[]
        = { "insert, random order", "find, index alone", "find it again",
            "find and read",        "walk an index",     "walk it again",
            "delete half",          "insert it again",   "insert, ascending" };
    return names[phase];
}

void MarkPhase(int phase)
{
    (void)!access((phaseMark + std::to_string(phase)).c_str(), F_OK);
}

Workload::Workload(int count)
    : random(MakeProducts(count, false)), ascending(MakeProducts(count, true))
{
    std::vector<std::uint32_t> places(random.size());
    for (std::size_t i = 0; i < places.size(); ++i)
        places[i] = std::uint32_t(i);
    std::mt19937 generator(3);
    std::shuffle(places.begin(), places.end(), generator);
    lookups.resize(places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        lookups[i].place = places[i];
        std::strcpy(lookups[i].name, random[places[i]].name);
    }
}

double Workload::Operations(int phase) const
{
    const auto count = random.size();
    return double(phase == DeleteHalf || phase == InsertAgain ? (count + 1) / 2 : count);
}

double RunPhases(const Maker& make, const std::string& folder, const Workload& workload,
                 const PhaseRunner& run)
{
    const auto runPhase = [&](Phase phase, const std::function<void()>& work) {
        MarkPhase(phase);
        run(phase, work);
        MarkPhase(phases);
    };
    const auto runCommitted = [&](Phase phase, Contender& store, auto work) {
        runPhase(phase, [&] {
            work();
            store.Commit();
        });
    };
    const std::vector<Product>& products = workload.random;
    ContenderPtr store = make(folder);
    runCommitted(InsertRandom, *store, [&] { InsertAll(*store, products); });
    const double bytes = BytesIn(folder);
    // Our Commit drops the pages of the indexes: the next phase reads them again from the
    // file, and the one after it has them in memory.
    runPhase(Find, [&] { FindAll(*store, workload); });
    runPhase(FindAgain, [&] { FindAll(*store, workload); });
    runPhase(FindAndRead, [&] { ReadAll(*store, workload); });
    store->Commit();
    if (store->KeepsOrder()) {
        runPhase(WalkNames, [&] { WalkAll(*store, products.size()); });
        runPhase(WalkAgain, [&] { WalkAll(*store, products.size()); });
    }
    store->Commit(); // ends the read transaction of other stores
    runCommitted(DeleteHalf, *store, [&] {
        ForEveryOther(products, [&](const Product& product) { store->Delete(product); });
    });
    ForEveryOther(products, [&](const Product& product) {
        Require(store->Find(product.name) == 0, "a deleted name was found");
    });
    store->Commit();
    runCommitted(InsertAgain, *store, [&] {
        ForEveryOther(products, [&](const Product& product) { store->Insert(product); });
    });
    ReadAll(*store, workload);
    store->Commit();
    store.reset();
    Empty(folder);

    store = make(folder);
    runCommitted(InsertAscending, *store, [&] { InsertAll(*store, workload.ascending); });
    for (const Product& product : workload.ascending)
        CheckRecord(store->Fetch(product.name), product);
    store->Commit();
    store.reset();
    Empty(folder);
    return bytes;
}

double TimedPhase(const std::function<void()>& work)
{
    const auto now = [] {
        timespec time;
        clock_gettime(phaseClock, &time);
        return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
    };
    const double begin = now();
    work();
    return now() - begin;
}
