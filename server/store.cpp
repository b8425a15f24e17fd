// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "server/store.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>

namespace
{

struct Field {
    std::string key, value;
    int line;
};
using Stanza = std::vector<Field>;

[[noreturn]] void Fail(const std::string& file, int line, const std::string& what)
{
    throw StoreError(file + ':' + std::to_string(line) + ": " + what);
}

std::string Trim(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r");
    return first == text.npos ? std::string()
                              : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Stanzas of "Key: value" lines, apart by empty lines; '#' begins a comment line.
std::vector<Stanza> ReadStanzas(const std::string& file)
{
    std::ifstream stream(file);
    if (!stream)
        throw StoreError(file + ": cannot be read: " + std::strerror(errno));
    std::vector<Stanza> stanzas(1);
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (line.find('\0') != line.npos)
            Fail(file, number, "a zero byte");
        const std::string text = Trim(line);
        if (text.empty() && !stanzas.back().empty())
            stanzas.emplace_back();
        if (text.empty() || text[0] == '#')
            continue;
        const auto colon = text.find(':');
        if (colon == text.npos || colon == 0)
            Fail(file, number, "no \"Key: value\"");
        stanzas.back().push_back({ text.substr(0, colon), Trim(text.substr(colon + 1)), number });
    }
    if (stream.bad())
        throw StoreError(file + ": cannot be read");
    if (stanzas.back().empty())
        stanzas.pop_back();
    return stanzas;
}

long SerialNumber(const std::string& file, const Field& field)
{
    char* end = nullptr;
    const long serial = std::strtol(field.value.c_str(), &end, 10);
    if (field.value.empty() || *end || serial <= 0 || serial > 0x7FFFFFFF)
        Fail(file, field.line, "no serial number: " + field.value);
    return serial;
}

// "name | path | small icon | large icon | menu"
Program ReadProgram(const std::string& file, const Field& field)
{
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= field.value.size();) {
        const auto end = std::min(field.value.find('|', start), field.value.size());
        parts.push_back(Trim(field.value.substr(start, end - start)));
        start = end + 1;
    }
    if (parts.size() != 5)
        Fail(file, field.line, "a program has five parts: name | path | icon | icon | menu");
    return { parts[0], parts[1], parts[2], parts[3], parts[4] };
}

Product ReadProduct(const std::string& file, const Stanza& stanza)
{
    Product product;
    for (const Field& field : stanza) {
        if (field.key == "Serial")
            product.serial = SerialNumber(file, field);
        else if (field.key == "Name")
            product.name = field.value;
        else if (field.key == "Package")
            product.package = field.value;
        else if (field.key == "Category")
            product.category = field.value;
        else if (field.key == "Description")
            product.description = field.value;
        else if (field.key == "Program")
            product.programs.push_back(ReadProgram(file, field));
        else
            Fail(file, field.line, "an unknown key: " + field.key);
    }
    if (product.serial == 0 || product.name.empty() || product.package.empty())
        Fail(file, stanza.front().line, "a product needs Serial, Name and Package");
    return product;
}

} // namespace

std::vector<Product> Store::Products() const
{
    const std::string file = m_folder + "/products";
    std::vector<Product> products;
    std::set<long> serials;
    for (const Stanza& stanza : ReadStanzas(file)) {
        products.push_back(ReadProduct(file, stanza));
        if (!serials.insert(products.back().serial).second)
            Fail(file, stanza.front().line, "a serial number that another product has");
    }
    return products;
}

std::vector<Source> Store::Sources() const
{
    const std::string file = m_folder + "/sources";
    std::vector<Source> sources;
    for (const Stanza& stanza : ReadStanzas(file)) {
        Source source;
        for (const Field& field : stanza) {
            if (field.key == "Type" && (field.value == "dep" || field.value == "plain"))
                source.deps = field.value == "dep";
            else if (field.key == "Timestamp")
                source.timestamp = field.value;
            else if (field.key == "Entry")
                source.entry = field.value;
            else
                Fail(file, field.line, "an unknown key or type: " + field.key);
        }
        if (source.entry.empty())
            Fail(file, stanza.front().line, "a source needs an Entry");
        sources.push_back(source);
    }
    return sources;
}
