// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What every contender of the store benchmark can do. A contender numbers the
// products in the order in which they are inserted, from 1. A failure of a store
// is thrown.

#pragma once

#include "store/product.h"

#include <functional>
#include <memory>
#include <string>

class Contender
{
public:
    virtual ~Contender() = default;

    // Stores a product's record and its four keys.
    virtual void Insert(const Product& product) = 0;
    // Removes them, given the product's keys.
    virtual void Delete(const Product& product) = 0;
    // Has all changes in the hands of the operating system.
    virtual void Commit() { }

    // The number under a name, 0 if there is none; the record is not read.
    virtual std::uint32_t Find(const char* name) = 0;
    // The record under a name, good until the next call; null if there is none.
    virtual const std::uint8_t* Fetch(const char* name) = 0;

    // Visits names and numbers in the order of the names.
    using Visit = std::function<void(const char* name, std::size_t length, std::uint32_t number)>;
    virtual void Walk(const Visit& visit) = 0;
    // Whether it can do that.
    virtual bool KeepsOrder() const { return true; }
};

using ContenderPtr = std::unique_ptr<Contender>;

// Each makes an empty store in a folder, and is in a file of its own.
ContenderPtr MakeOurs(const std::string& folder);
// With its files open all the time.
ContenderPtr MakeOursHeld(const std::string& folder);
// With its cheapest settings, a phase in one transaction or each change in one.
ContenderPtr MakeSqlite(const std::string& folder);
ContenderPtr MakeSqliteEach(const std::string& folder);
// The same with a journal and locks, as it comes.
ContenderPtr MakeSqliteShared(const std::string& folder);
ContenderPtr MakeSqliteSharedEach(const std::string& folder);
ContenderPtr MakeLmdb(const std::string& folder);
ContenderPtr MakeLeveldb(const std::string& folder);
ContenderPtr MakeGdbm(const std::string& folder);
ContenderPtr MakeBerkeleyDb(const std::string& folder);

// Throws: a benchmark of a store that fails measures nothing.
[[noreturn]] void Fail(const std::string& why);

inline void Require(bool holds, const char* what)
{
    if (!holds)
        Fail(what);
}
