// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products that every contender stores: four keys, similar to those of the catalog, and
// a record of 2,012 bytes.

#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

constexpr int productKeyLength = 40;
constexpr int recordLength = 2012;

// All texts are lower case, so that comparing with and without regard to case gives the same
// order.
struct Product {
    char name[productKeyLength + 1]; // 22 to 38 characters, no two alike
    char category[12];
    char shelf[productKeyLength + 1]; // category and name, cut
    char serial[21];
    char rank[9]; // by downloads; about ten products share one
    std::uint32_t number;
};

// The keys. Names are unique; the other indexes allow duplicates.
enum KeyKind { byName, byShelf, bySerial, byRank, keyKinds };
std::string_view Key(const Product& product, int kind);

// Makes them in random order of every key, or in ascending order of every key.
std::vector<Product> MakeProducts(int count, bool ascending);

// The offsets of the fields in a record. The text fields are padded with zeros, the first
// four bytes are zero, and the long text fills the record from textOffset to the end.
constexpr int nameOffset = 4;
constexpr int categoryOffset = nameOffset + int(sizeof Product::name);
constexpr int serialOffset = categoryOffset + int(sizeof Product::category);
constexpr int rankOffset = serialOffset + int(sizeof Product::serial);
constexpr int textOffset = rankOffset + int(sizeof Product::rank);
constexpr int textLength = recordLength - textOffset;

using Record = std::uint8_t[recordLength];
void MakeRecord(const Product& product, std::uint8_t* record);

// The textLength bytes at the end of its record.
const char* TextOf(const Product& product);
