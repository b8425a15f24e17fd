// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/product.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

namespace
{

const char* const words[]
    = { "amber",  "archive",  "atlas",   "binary",  "bridge", "canvas",  "cedar",    "chart",
        "cellar", "cottage",  "corner",  "eleven",  "eagle",  "enough",  "family",   "farmer",
        "garden", "harbour",  "horizon", "kernel",  "ledger", "library", "magnet",   "maple",
        "mirror", "notebook", "office",  "planner", "player", "quartz",  "recorder", "studio" };
constexpr int categories = 40;

// The texts of records begin at different places of one long text.
constexpr int textStarts = 4096;

std::string MakeTexts()
{
    std::mt19937 random(7);
    std::string texts;
    while (texts.size() < textStarts + textLength)
        texts.append(words[random() % std::size(words)]).append(" ");
    return texts;
}

template <std::size_t size> void SetText(char (&field)[size], const std::string& text)
{
    std::strncpy(field, text.c_str(), size - 1); // the last byte is zero already
}

std::string Digits(std::size_t width, int number)
{
    const std::string digits = std::to_string(number);
    return std::string(width - digits.size(), '0') + digits;
}

// Fills the products in place, without temporary copies: free memory left in the heap would
// distort the measured memory of the stores.
std::vector<Product> MakeNamed(int count, std::mt19937& random)
{
    std::vector<Product> products(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        std::string name;
        for (int word = 0; word < 3; ++word)
            name.append(words[random() % std::size(words)]).append(" ");
        SetText(products[std::size_t(i)].name, name + std::to_string(1000000 + i));
    }
    return products;
}

// A permutation of 0 to count - 1: the ranks of the products by one of their keys.
std::vector<int> Places(int count, bool ascending, std::mt19937& random)
{
    std::vector<int> places(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        places[std::size_t(i)] = i;
    if (!ascending)
        std::shuffle(places.begin(), places.end(), random);
    return places;
}

} // namespace

std::string_view Key(const Product& product, int kind)
{
    const char* const keys[] = { product.name, product.shelf, product.serial, product.rank };
    return keys[kind];
}

std::vector<Product> MakeProducts(int count, bool ascending)
{
    std::mt19937 random(1);
    std::vector<Product> products = MakeNamed(count, random);
    if (ascending)
        std::sort(products.begin(), products.end(), [](const Product& a, const Product& b) {
            return std::strcmp(a.name, b.name) < 0;
        });
    const std::vector<int> shelves = Places(count, ascending, random);
    const std::vector<int> serials = Places(count, ascending, random);
    const std::vector<int> ranks = Places(count, ascending, random);
    for (std::size_t i = 0; i < products.size(); ++i) {
        Product& p = products[i];
        const auto category = int(std::int64_t(shelves[i]) * categories / count);
        SetText(p.category, "aisle " + Digits(2, category));
        SetText(p.shelf, p.category + (" " + std::string(p.name)));
        SetText(p.serial, Digits(sizeof p.serial - 1, serials[i]));
        SetText(p.rank, Digits(sizeof p.rank - 1, ranks[i] / 10));
        p.number = std::uint32_t(i) + 1;
    }
    return products;
}

void MakeRecord(const Product& product, std::uint8_t* record)
{
    std::memset(record, 0, textOffset);
    std::strcpy(reinterpret_cast<char*>(record + nameOffset), product.name);
    std::strcpy(reinterpret_cast<char*>(record + categoryOffset), product.category);
    std::strcpy(reinterpret_cast<char*>(record + serialOffset), product.serial);
    std::strcpy(reinterpret_cast<char*>(record + rankOffset), product.rank);
    std::memcpy(record + textOffset, TextOf(product), textLength);
}

const char* TextOf(const Product& product)
{
    static const std::string texts = MakeTexts();
    return texts.data() + product.number * 37 % textStarts;
}
