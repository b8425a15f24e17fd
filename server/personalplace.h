// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where the personal data of a store is.

#pragma once

#include "personaldata.h"

#include <memory>
#include <string>

class SqlPersonalData;

struct PersonalPlace {
    std::string postgresql; // how to connect to PostgreSQL; it counts before the next
    std::string state; // the folder of SQLite's file `personal.sqlite`

    bool IsDatabase() const { return !postgresql.empty() || !state.empty(); }
};

// The data of the store in a folder: in the database, which takes over the folder's files the
// first time, or in these files. Throws StoreError when it cannot be read.
std::unique_ptr<PersonalData> OpenPersonalData(const PersonalPlace& place,
                                               const std::string& store);

// The data in the database alone. Its folder, file and tables are made if they are missing; the
// file is for its owner only. Throws StoreError.
std::unique_ptr<SqlPersonalData> OpenDatabase(const PersonalPlace& place);

// Throws StoreError for a fault.
void Require(const PersonalFault& fault);
