// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "categories.h"

#include "stanza.h"
#include "text.h"

#include <set>

Categories ParseCategories(const std::string& text, const std::string& path)
{
    Categories categories;
    std::set<long> serials;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        CheckKeys(stanza, "a category", { "Name", "Serial", "Home-Page" }, path);
        const std::string& name = Required(stanza, "Name", path);
        const Category category{ RequiredSerial(stanza, path), Optional(stanza, "Home-Page") };
        if (!serials.insert(category.serial).second)
            FailAt(path, stanza.line, "a second category has this serial number");
        if (!categories.emplace(name, category).second)
            FailAt(path, stanza.line, "a second category " + Quoted(name));
    }
    return categories;
}

Categories CategoriesOf(const Products& products, const Categories& listed)
{
    std::set<long> taken;
    for (const auto& [name, category] : listed)
        taken.insert(category.serial);
    Categories result;
    for (const auto& [serial, product] : products) {
        const auto known = listed.find(product.category);
        result.emplace(product.category, known == listed.end() ? Category{} : known->second);
    }
    long next = 1;
    for (auto& [name, category] : result) {
        if (category.serial != 0)
            continue;
        while (taken.count(next) != 0)
            ++next;
        category.serial = next++;
    }
    return result;
}
