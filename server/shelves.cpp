// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "shelves.h"

#include "base/packagename.h"
#include "base/text.h"
#include "stanza.h"

#include <algorithm>
#include <set>

using namespace Agent;

namespace
{

// The member for a product's field; null for an unknown key.
std::string* ProductField(Product& product, const std::string& key)
{
    if (key == "Name")
        return &product.name;
    if (key == "Category")
        return &product.category;
    if (key == "Package")
        return &product.package;
    return key == "Description" ? &product.description : nullptr;
}

// The same for the fields after a `Program:`, which belong to that program.
std::string* ProgramField(Product& product, const std::string& key)
{
    if (product.programs.empty())
        return nullptr;
    Program& program = product.programs.back();
    if (key == "Path")
        return &program.path;
    if (key == "Small-Icon")
        return &program.smallIcon;
    if (key == "Large-Icon")
        return &program.largeIcon;
    return key == "Menu" ? &program.menu : nullptr;
}

// The catalog's element for a field; null for a field that is not in the catalog.
const char* CatalogElement(const std::string& key)
{
    static const std::map<std::string, const char*> elements{
        { "Vendor", "vendor" },
        { "Copyright", "copyright" },
        { "Price", "price" },
        { "Hidden", "hidden" },
        { "Release-Date", "releasedate" },
        { "Review-Score", "reviewscore" },
        { "Category-Ranking", "categoryranking" },
        { "Subcategory-Ranking", "subcategoryranking" },
        { "Ranking", "vantrelranking" },
        { "Downloads", "downloads" },
        { "Download-URL", "downloadURL" },
        { "Detail-URL", "applicationdetailURL" },
        { "Author-URL", "authorpageURL" },
    };
    const auto element = elements.find(key);
    return element == elements.end() ? nullptr : element->second;
}

void SetDetail(Product& product, const char* element, const Field& field, const std::string& path)
{
    if (product.Detail(element))
        FailAt(path, field.line, "a second " + field.key + " for the same thing");
    std::string value = field.value;
    if (field.key == "Downloads" && value != "0" && PositiveNumber(value) == 0)
        FailAt(path, field.line, "invalid number of downloads: " + Quoted(value));
    if (field.key == "Hidden" && value != "yes" && value != "no")
        FailAt(path, field.line, "hidden is yes or no, not " + Quoted(value));
    if (field.key == "Hidden")
        value = value == "yes" ? "1" : "0";
    product.details.emplace_back(element, value);
}

// A line with only a dot means an empty line, which a stanza cannot contain.
std::string WithEmptyLines(std::string text)
{
    for (auto at = text.find("\n.\n"); at != std::string::npos; at = text.find("\n.\n", at + 1))
        text.erase(at + 1, 1);
    return text;
}

void SetField(Product& product, const Field& field, const std::string& path)
{
    if (field.value.empty())
        FailAt(path, field.line, field.key + " has no value");
    if (field.key == "Serial") {
        if (product.serial != 0)
            FailAt(path, field.line, "a second Serial in one product");
        product.serial = SerialOf(field, path);
    } else if (field.key == "Program") {
        product.programs.push_back({ field.value, {}, {}, {}, {} });
    } else if (const char* element = CatalogElement(field.key)) {
        SetDetail(product, element, field, path);
    } else {
        std::string* place = ProductField(product, field.key);
        place = place ? place : ProgramField(product, field.key);
        if (!place)
            FailAt(path, field.line, "a product has no field " + field.key + " here");
        if (!place->empty())
            FailAt(path, field.line, "a second " + field.key + " for the same thing");
        *place = field.key == "Description" ? WithEmptyLines(field.value) : field.value;
    }
}

Product ParseProduct(const Stanza& stanza, const std::string& path)
{
    for (const char* key : { "Serial", "Name", "Category", "Package", "Description" })
        Required(stanza, key, path);
    Product product;
    for (const Field& field : stanza.fields)
        SetField(product, field, path);
    for (const Program& program : product.programs) {
        if (program.path.empty())
            FailAt(path, stanza.line, "the program " + Quoted(program.name) + " has no Path");
    }
    return product;
}

} // namespace

const std::string* Product::Detail(const std::string& element) const
{
    for (const auto& [known, value] : details) {
        if (known == element)
            return &value;
    }
    return nullptr;
}

Products ParseProducts(const std::string& text, const std::string& path)
{
    Products products;
    StanzaReader reader(text, path);
    Stanza stanza;
    while (reader.Next(stanza)) {
        Product product = ParseProduct(stanza, path);
        const long serial = product.serial;
        if (!products.emplace(serial, std::move(product)).second)
            FailAt(path, stanza.line,
                   "the serial number " + std::to_string(serial)
                       + " belongs to another product already");
    }
    return products;
}

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

// Categories without a number get the smallest unused ones in the order of their names, so
// that the same store always has the same numbers.
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

Aisles ParseAisles(const std::string& text, const std::string& path)
{
    Aisles aisles;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        CheckKeys(stanza, "an aisle", { "Name", "Description", "Category*" }, path);
        Aisle aisle{ Required(stanza, "Name", path), Optional(stanza, "Description"), {} };
        Required(stanza, "Category", path);
        for (const Field& field : stanza.fields) {
            if (field.key == "Category")
                aisle.categories.push_back(field.value);
        }
        aisles.push_back(aisle);
    }
    return aisles;
}

Profile ParseProfile(const std::string& text, const std::string& path)
{
    Profile profile;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        CheckKeys(stanza, "an application", { "Serial", "Name", "Package" }, path);
        profile.push_back({ RequiredSerial(stanza, path), Required(stanza, "Name", path),
                            Required(stanza, "Package", path) });
    }
    return profile;
}

std::string ProfileText(const Profile& profile)
{
    std::string text;
    for (const Application& application : profile) {
        text += text.empty() ? "" : "\n";
        text += "Serial: " + std::to_string(application.serial) + "\nName: "
            + Continued(application.name) + "\nPackage: " + Continued(application.package) + '\n';
    }
    return text;
}

namespace
{

// The client stores the entry, two blanks, '#' and the timestamp as one line of at most
// 1023 bytes, including the server's address, and splits it at the first '#'. It refuses
// options in brackets from a server, since they could switch off checks of apt.
const std::size_t longestEntry = 512;
const std::size_t longestTimestamp = 20;

SourceEntry ParseEntry(const Stanza& stanza, const std::string& path)
{
    SourceEntry entry{ Required(stanza, "Entry", path), Required(stanza, "Timestamp", path) };
    const int line = stanza.Find("Entry")->line;
    if (entry.entry.find_first_of("#[\n\t") != std::string::npos)
        FailAt(path, line, "an entry is one line without '#', '[' and tabs");
    if (entry.entry.size() > longestEntry)
        FailAt(path, line, "the entry is longer than 512 bytes");
    if (entry.timestamp.find_first_not_of("0123456789") != std::string::npos
        || entry.timestamp.size() > longestTimestamp)
        FailAt(path, stanza.Find("Timestamp")->line,
               "a timestamp is at most 20 digits, not " + Quoted(entry.timestamp));
    return entry;
}

std::string ParseType(const Stanza& stanza, const std::string& path)
{
    const std::string& type = Required(stanza, "Type", path);
    if (type != "dep" && type != "plain")
        FailAt(path, stanza.Find("Type")->line, "a type is dep or plain, not " + Quoted(type));
    return type;
}

} // namespace

std::vector<SourcesList> ParseSources(const std::string& text, const std::string& path)
{
    std::vector<SourcesList> lists;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        for (const Field& field : stanza.fields) {
            if (field.key != "Type" && field.key != "Entry" && field.key != "Timestamp")
                FailAt(path, field.line, "a source has no field " + field.key);
        }
        const std::string type = ParseType(stanza, path);
        auto list = std::find_if(lists.begin(), lists.end(),
                                 [&](const SourcesList& one) { return one.type == type; });
        if (list == lists.end())
            list = lists.insert(lists.end(), { type, {} });
        list->entries.push_back(ParseEntry(stanza, path));
    }
    return lists;
}

Updates ParseUpdates(const std::string& text, const std::string& path)
{
    Updates updates;
    std::set<std::string> seen;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        for (const Field& field : stanza.fields) {
            if (field.key != "Package")
                FailAt(path, field.line, "an update has no field " + field.key);
            if (!Agent::IsPackageName(field.value))
                FailAt(path, field.line, "invalid package name: " + Quoted(field.value));
            if (!seen.insert(field.value).second)
                FailAt(path, field.line, "a second update of " + Quoted(field.value));
            updates.push_back(field.value);
        }
    }
    return updates;
}
