// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/dbdump.h"

#include "db/dblayouts.h"
#include "db/dbrecord.h"
#include "db/generations.h"
#include "store/notesheap.h"
#include "store/storecheck.h"

#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <ostream>
#include <set>

namespace Agent
{

namespace
{

// The text without characters that move the cursor.
std::string Printable(const char* text)
{
    std::string clean = text;
    std::replace_if(
        clean.begin(), clean.end(), [](unsigned char c) { return c < 32 || c == 127; }, '?');
    return clean;
}

void Line(std::ostream& out, const char* label, const std::string& value)
{
    std::string padded = label;
    padded.resize(14, ' ');
    if (!value.empty())
        out << "  " << padded << value << '\n';
}

// The records that an index leads to, in its order.
std::vector<std::int32_t> InOrder(const std::string& folder, const IndexLayout& layout)
{
    std::vector<IndexEntry> entries;
    CheckIndex(folder + layout.fileName, layout.keyLength, layout.allowDuplicates, &entries);
    std::vector<std::int32_t> numbers;
    numbers.reserve(entries.size());
    for (const IndexEntry& entry : entries)
        numbers.push_back(std::int32_t(entry.record));
    return numbers;
}

using NamesOfProducts = std::map<std::int32_t, std::string>;

NamesOfProducts ReadDependencies(const std::string& folder)
{
    RecordReader records(folder, Dependency::layout, { Dependency::name });
    NamesOfProducts names;
    for (const std::int32_t number : InOrder(folder, Dependency::layout.indexes[0])) {
        const std::uint8_t* const record = records.Live(number);
        if (!record)
            continue;
        std::string& list = names[GetInt32(record + Dependency::parent)];
        list += (list.empty() ? "" : ", ") + Printable(GetText(record, Dependency::name));
    }
    return names;
}

std::string ReadNote(OpenStoreFile& heap, std::int32_t offset)
{
    BlockHeader header;
    if (offset < 0 || !heap || !ReadBlockHeader(heap, offset, &header)
        || header.status != blockInUse || !IsSoundBlock(header, offset, heap.Size()))
        return std::string();
    std::string text(std::size_t(header.length - blockHeaderLength - header.slack), '\0');
    return heap.ReadAt(offset + blockHeaderLength, text.data(), text.size()) ? text : std::string();
}

void Description(std::ostream& out, const std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        out << "  | " << Printable(text.substr(at, end - at).c_str()) << '\n';
        at = end + 1;
    }
}

std::string FieldText(const std::uint8_t* record, const ProductField& field)
{
    switch (field.kind) {
    case ProductRecord::Kind::Text:
        return Printable(GetText(record, field.place));
    case ProductRecord::Kind::Flag:
        return record[field.place.offset] ? "yes" : "no";
    default:
        return std::to_string(GetInt32(record + field.place.offset));
    }
}

void Product(std::ostream& out, std::int32_t number, const std::uint8_t* record)
{
    out << "product " << number << ": " << Printable(GetText(record, Catalog::name)) << '\n';
    for (const ProductField& field : Catalog::fields)
        if (field.label)
            Line(out, field.label, FieldText(record, field));
}

std::string Time(std::int32_t seconds)
{
    const std::time_t time = seconds;
    std::tm parts;
    char text[40];
    const bool known = localtime_r(&time, &parts)
        && std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) > 0;
    return known ? text : std::to_string(seconds);
}

void Application(std::ostream& out, std::int32_t number, const std::uint8_t* record)
{
    const auto text = [&](const char* label, TextField field) {
        Line(out, label, Printable(GetText(record, field)));
    };
    out << "item " << number << ": " << Printable(GetText(record, Recent::description)) << '\n';
    Line(out, "used", Time(GetInt32(record + Recent::lastAccessed)));
    Line(out, "serial", std::to_string(GetInt32(record + Recent::serverSerialNumber)));
    text("program", Recent::executablePath);
    text("icon", Recent::iconPath);
    text("small icon", Recent::smallIconPath);
}

} // namespace

bool DumpCatalog(const std::string& described, std::ostream& out)
{
    const PinnedGeneration current(described);
    const std::string& folder = current.Folder();
    RecordReader records(folder, Catalog::layout, Catalog::Texts());
    if (!records)
        return false;
    const NamesOfProducts names = ReadDependencies(folder);
    OpenStoreFile heap((folder + Catalog::notesName + ".fil").c_str(), O_RDONLY, 0);
    for (std::int32_t number = 1; number < records.Count(); ++number) {
        const std::uint8_t* const record = records.Live(number);
        if (!record)
            continue;
        Product(out, number, record);
        const auto needs = names.find(number);
        Line(out, "needs", needs != names.end() ? needs->second : std::string());
        Description(out, ReadNote(heap, GetInt32(record + Catalog::noteOffset)));
    }
    return true;
}

bool DumpRecent(const std::string& folder, std::ostream& out)
{
    RecordReader records(folder, Recent::layout,
                         { std::begin(Recent::texts), std::end(Recent::texts) });
    if (!records)
        return false;
    std::vector<std::int32_t> numbers = InOrder(folder, Recent::layout.indexes[0]);
    std::reverse(numbers.begin(), numbers.end());
    const std::set<std::int32_t> listed(numbers.begin(), numbers.end());
    for (std::int32_t number = 1; number < records.Count(); ++number)
        if (listed.count(number) == 0)
            numbers.push_back(number);
    for (const std::int32_t number : numbers)
        if (const std::uint8_t* const record = records.Live(number))
            Application(out, number, record);
    return true;
}

} // namespace Agent
