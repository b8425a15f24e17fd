// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "products.h"

#include "stanza.h"
#include "text.h"

namespace
{

// The place of a product's field in the product; null for a key that is none.
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

// The same for the fields that follow a `Program:` and belong to it.
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

// The element in which the catalog carries a field; null for one that it does not.
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
    if (product.detail(element))
        FailAt(path, field.line, "a second " + field.key + " for the same thing");
    std::string value = field.value;
    if (field.key == "Downloads" && value != "0" && PositiveNumber(value) == 0)
        FailAt(path, field.line, "this is no number of downloads: " + Quoted(value));
    if (field.key == "Hidden" && value != "yes" && value != "no")
        FailAt(path, field.line, "hidden is yes or no, not " + Quoted(value));
    if (field.key == "Hidden")
        value = value == "yes" ? "1" : "0";
    product.details.emplace_back(element, value);
}

// A line of a dot alone stands for an empty one, which a stanza cannot hold.
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

const std::string* Product::detail(const std::string& element) const
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
    while (reader.next(stanza)) {
        Product product = ParseProduct(stanza, path);
        const long serial = product.serial;
        if (!products.emplace(serial, std::move(product)).second)
            FailAt(path, stanza.line,
                   "the serial number " + std::to_string(serial)
                       + " belongs to another product already");
    }
    return products;
}
