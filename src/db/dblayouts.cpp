// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/dblayouts.h"

#include "store/indexpage.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Agent
{

namespace
{

// As AddKey cuts it: in the middle of a character if need be.
void CutKey(const DbLayout& layout, int which, char* key)
{
    taxkey(key, layout.indexes[which].keyLength);
}

void CopyText(const std::uint8_t* record, TextField field, char* key)
{
    std::memcpy(key, record + field.offset, std::size_t(field.width));
}

void PadWithBlanks(char* key, std::size_t width)
{
    const std::size_t length = std::strlen(key);
    if (length >= width)
        return;
    std::memset(key + length, ' ', width - length);
    key[width] = 0;
}

// Writes a number behind blanks, as printf does with a width, and returns its end. printf takes
// longer than all else of a key.
char* PutNumber(char* text, int width, std::int32_t number)
{
    char digits[12];
    const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const auto length = int(end - digits);
    const auto blanks = std::size_t(std::max(width - length, 0));
    std::memset(text, ' ', blanks);
    std::memcpy(text + blanks, digits, std::size_t(length));
    text += blanks + std::size_t(length);
    *text = 0;
    return text;
}

} // namespace

std::vector<std::string> PathsIn(const std::string& folder, const DbLayout& layout)
{
    std::vector<std::string> paths{ folder + layout.fileName };
    for (int i = 0; i < layout.indexCount; ++i)
        paths.push_back(folder + layout.indexes[i].fileName);
    return paths;
}

void FormatSerial(std::int32_t serial, char* text)
{
    std::snprintf(text, 21, "%0*ld", 20, static_cast<long>(serial));
}

std::vector<TextField> Catalog::Texts()
{
    std::vector<TextField> texts;
    for (const ProductField& field : fields)
        if (field.kind == Kind::Text)
            texts.push_back(field.place);
    return texts;
}

void Catalog::EndTexts(std::uint8_t* record)
{
    for (const ProductField& field : fields)
        if (field.kind == Kind::Text)
            EndText(record, field.place);
}

void Catalog::CutCategory(std::uint8_t* record)
{
    const std::size_t length = CutLength(GetText(record, category), categoryKeyWidth);
    record[std::size_t(category.offset) + length] = 0;
}

void Catalog::MakeKey(const std::uint8_t* record, int which, char* key)
{
    switch (which) {
    case 0:
        CopyText(record, category, key);
        key[CutLength(key, categoryKeyWidth)] = 0;
        PadWithBlanks(key, categoryKeyWidth);
        CopyText(record, name, key + categoryKeyWidth);
        break;
    case 1:
        CopyText(record, name, key);
        break;
    case 2:
        CopyText(record, packageName, key);
        break;
    default:
        FormatSerial(GetInt32(record + serverSerialNumber.offset), key);
    }
    CutKey(layout, which, key);
}

void Dependency::MakeKey(const std::uint8_t* record, int which, char* key)
{
    const std::int32_t number = GetInt32(record + parent);
    if (which == 0) {
        CopyText(record, name, PutNumber(key, parentKeyWidth, number));
    } else {
        CopyText(record, name, key);
        PadWithBlanks(key, nameKeyWidth);
        PutNumber(key + std::strlen(key), parentKeyWidth, number);
    }
    CutKey(layout, which, key);
}

void Dependency::FormatParent(std::int32_t number, char* key)
{
    PutNumber(key, parentKeyWidth, number);
}

long Dependency::ParentOfKey(const char* key)
{
    char number[parentKeyWidth + 1];
    std::memcpy(number, key, parentKeyWidth);
    number[parentKeyWidth] = 0;
    return std::strtol(number, nullptr, 10);
}

void Recent::MakeKey(const std::uint8_t* record, int which, char* key)
{
    const char* const text = GetText(record, description);
    if (which == 0)
        std::snprintf(key, keyRoom, "%12ld%s", static_cast<long>(GetInt32(record + lastAccessed)),
                      text);
    else if (which == 1)
        CopyText(record, description, key);
    else
        FormatSerial(GetInt32(record + serverSerialNumber), key);
    CutKey(layout, which, key);
}

std::string Recent::WithSerial(const std::string& name, std::int32_t serial)
{
    const std::string end = " (" + std::to_string(serial) + ")";
    const std::size_t room = std::size_t(Recent::description.width) - 1 - end.size();
    return name.substr(0, CutLength(name.c_str(), room)) + end;
}

} // namespace Agent
