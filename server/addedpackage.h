// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An archive that is put into a store.

#pragma once

#include <string>

struct AddOptions {
    std::string store;
    std::string archive; // the .deb
    std::string repository = "main";
    std::string name; // of a new product; empty: the package's
    std::string category; // of a new product; empty: the package's section
};

struct AddResult {
    std::string package;
    std::string version;
    std::string file; // in the store
    long serial = 0; // of the product
    bool isNewProduct = false;
};

// Puts the archive into the pool and its package into the index, in the place of an older
// version of it, and makes a product of it unless the package is one already. All new texts are
// checked as the server would, before the first file is replaced; the products are last, so
// that the store can be served at any moment. Throws StoreError, with the store unchanged,
// when the archive is refused.
AddResult AddPackage(const AddOptions& options);
