// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Items of an index whose keys are the numbers of their records.

#pragma once

#include "store/indexfile.h"

#include <cstdint>
#include <cstdio>

constexpr int keyLength = 12;

struct Key {
    explicit Key(std::uint32_t number) { std::snprintf(text, sizeof text, "%08u", number); }
    char text[keyLength + 1];
};

inline int Add(IndexFile* index, std::uint32_t number)
{
    return AddKey(index, &number, Key(number).text);
}

inline int Delete(IndexFile* index, std::uint32_t number)
{
    return DeleteKey(index, &number, Key(number).text);
}

inline bool Find(IndexFile* index, std::uint32_t number)
{
    std::uint32_t record = 0;
    return FindKey(index, &record, Key(number).text) == 0 && record == number;
}
