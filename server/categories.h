// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `categories` of a store, which it may lack: what there is to say of a
// category beside its name.

#pragma once

#include "products.h"

#include <map>
#include <string>

struct Category {
    long serial = 0;
    std::string homePage;
};

using Categories = std::map<std::string, Category>; // by name

Categories ParseCategories(const std::string& text, const std::string& path);

// The categories that products are in. One that `listed` lacks gets the smallest
// free number, in the order of the names.
Categories CategoriesOf(const Products& products, const Categories& listed);
