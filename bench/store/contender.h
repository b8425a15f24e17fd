// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The interface of all contenders of the store benchmark. A contender numbers the products
// from 1 in the order of their insertion. Failures of a store are thrown.

#pragma once

#include "store/product.h"

#include <functional>
#include <memory>
#include <string>

namespace Agent
{
class StoreFiles;
} // namespace Agent

class Contender
{
public:
    virtual ~Contender() = default;

    // Stores a product's record and its four keys.
    virtual void Insert(const Product& product) = 0;
    // Removes a product's record and keys.
    virtual void Delete(const Product& product) = 0;
    // Writes all changes to the operating system.
    virtual void Commit() { }

    // The number of the product with this name, or 0. The record is not read.
    virtual std::uint32_t Find(const char* name) = 0;
    // The record of the product with this name, valid until the next call; null if there is
    // none.
    virtual const std::uint8_t* Fetch(const char* name) = 0;

    // Visits names and numbers in the order of the names.
    using Visit = std::function<void(const char* name, std::size_t length, std::uint32_t number)>;
    virtual void Walk(const Visit& visit) = 0;
    // Whether Walk is possible.
    virtual bool KeepsOrder() const { return true; }
};

using ContenderPtr = std::unique_ptr<Contender>;

// Each makes an empty store in a folder. Each is defined in the file of its store.
ContenderPtr MakeOurs(const std::string& folder);
// In a file system, which must outlive it.
ContenderPtr MakeOursOn(const std::string& folder, Agent::StoreFiles& files);
// With its files open all the time.
ContenderPtr MakeOursHeld(const std::string& folder);
// With the cheapest settings: one transaction per phase, or one per change.
ContenderPtr MakeSqlite(const std::string& folder);
ContenderPtr MakeSqliteEach(const std::string& folder);
// The same with SQLite's default journal and locks.
ContenderPtr MakeSqliteShared(const std::string& folder);
ContenderPtr MakeSqliteSharedEach(const std::string& folder);
ContenderPtr MakeLmdb(const std::string& folder);
ContenderPtr MakeLeveldb(const std::string& folder);
ContenderPtr MakeGdbm(const std::string& folder);
ContenderPtr MakeBerkeleyDb(const std::string& folder);

// Throws: a benchmark of a failing store would measure nothing.
[[noreturn]] void Fail(const std::string& why);

inline void Require(bool holds, const char* what)
{
    if (!holds)
        Fail(what);
}
