// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shared by the models of the databases: an index as an ordered map.

#pragma once

#include "tests/db/dbtest.h"

#include <cstdio>
#include <map>
#include <string>

inline std::string Folded(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return text;
}

inline std::string Formatted(const char* format, int number)
{
    char text[40];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

// An index without pages: keys in order of their folded text and, if equal keys are
// allowed, of their record.
class ModelIndex
{
public:
    ModelIndex(int keyLength, bool duplicates)
        : m_keyLength(keyLength), m_duplicates(duplicates) { }

    bool add(const std::string& key, int record)
    {
        const std::string cut = key.substr(0, std::size_t(m_keyLength));
        return m_items.emplace(place(cut, record), Entry{ cut, record }).second;
    }
    // If keys are unique, the record does not matter.
    bool erase(const std::string& key, int record)
    {
        return m_items.erase(place(key.substr(0, std::size_t(m_keyLength)), record)) > 0;
    }
    bool has(const std::string& key, int record) const
    {
        return m_items.count(place(key, record)) > 0;
    }
    // The record of the first item not below a key, or 0.
    int search(const std::string& key) const
    {
        const auto at = m_items.lower_bound(place(key, 0));
        return at == m_items.end() ? 0 : at->second.record;
    }
    Items all() const
    {
        Items items;
        for (const auto& item : m_items)
            items.emplace_back(item.second.key, item.second.record);
        return items;
    }
    Items inFile(const std::string& path) const { return ItemsOf(path, m_keyLength, m_duplicates); }

private:
    using PlaceInOrder = std::pair<std::string, int>;
    struct Entry {
        std::string key;
        int record;
    };

    PlaceInOrder place(const std::string& key, int record) const
    {
        return { Folded(key), m_duplicates ? record : 0 };
    }

    const int m_keyLength;
    const bool m_duplicates;
    std::map<PlaceInOrder, Entry> m_items;
};
