// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "applications.h"

#include "base/text.h"
#include "packedfile.h"
#include "stanza.h"
#include "storefile.h"

#include <algorithm>
#include <appstream.h>
#include <cstring>
#include <memory>
#include <strings.h>
#include <utility>

using namespace Agent;

namespace
{

constexpr std::size_t longestName = 100;
constexpr std::size_t longestSummary = 256;

// The main categories of the desktop, and what stores call them.
constexpr std::pair<const char*, const char*> mainCategories[] = {
    { "AudioVideo", "Sound & Video" }, { "Audio", "Sound & Video" }, { "Video", "Sound & Video" },
    { "Development", "Development" },  { "Education", "Education" }, { "Game", "Games" },
    { "Graphics", "Graphics" },        { "Network", "Internet" },    { "Office", "Office" },
    { "Science", "Science" },          { "Settings", "Settings" },   { "System", "System" },
    { "Utility", "Accessories" },
};

struct Unreference {
    void operator()(void* object) const { g_object_unref(object); }
};
struct Free {
    void operator()(char* text) const { g_free(text); }
};
using CatalogPointer = std::unique_ptr<AsMetadata, Unreference>;

std::string InOneLine(const char* text)
{
    std::string line;
    for (const std::string& word : WordsIn(text ? text : ""))
        line += (line.empty() ? "" : " ") + word;
    return line;
}

bool IsXml(std::string file)
{
    for (const char* packed : { ".gz", ".xz", ".lz4", ".zst", ".bz2" }) {
        if (EndsWith(file, packed))
            file.erase(file.size() - std::strlen(packed));
    }
    return EndsWith(file, ".xml");
}

CatalogPointer Parse(const std::string& file)
{
    const std::string text = ReadPackedFile(file, largestStoreFile);
    CatalogPointer catalog(as_metadata_new());
    as_metadata_set_format_style(catalog.get(), AS_FORMAT_STYLE_CATALOG);
    as_metadata_set_locale(catalog.get(), "C");
    const std::unique_ptr<GBytes, void (*)(GBytes*)> bytes(
        g_bytes_new_static(text.data(), text.size()), g_bytes_unref);
    GError* error = nullptr;
    if (!as_metadata_parse_bytes(catalog.get(), bytes.get(),
                                 IsXml(file) ? AS_FORMAT_KIND_XML : AS_FORMAT_KIND_YAML, &error)) {
        const std::string reason = InOneLine(error ? error->message : "it is not a catalog");
        g_clear_error(&error);
        throw StoreError(file + ": " + reason);
    }
    return catalog;
}

// Passes each component of the catalog to `take`.
template <class Take> void ForEachComponent(AsMetadata* catalog, Take take)
{
#if AS_CHECK_VERSION(1, 0, 0)
    AsComponentBox* const all = as_metadata_get_components(catalog);
    for (guint i = 0; i < as_component_box_len(all); ++i)
        take(as_component_box_index(all, i));
#else
    const GPtrArray* const all = as_metadata_get_components(catalog);
    for (guint i = 0; i < all->len; ++i)
        take(static_cast<AsComponent*>(g_ptr_array_index(all, i)));
#endif
}

// A text of one line; empty if it is longer, or not one that a store can have.
std::string Line(const char* text, std::size_t longest)
{
    const std::string line = InOneLine(text);
    return line.size() > longest || TextFault(line) ? std::string() : line;
}

// The paragraphs and lists of a description as lines.
std::string PlainText(const char* markup)
{
    if (!markup || !*markup)
        return {};
#if AS_CHECK_VERSION(1, 0, 0)
    const std::unique_ptr<char, Free> plain(
        as_markup_convert(markup, AS_MARKUP_KIND_TEXT, nullptr));
#else
    const std::unique_ptr<char, Free> plain(as_markup_convert_simple(markup, nullptr));
#endif
    const std::string text = Trimmed(plain ? plain.get() : "");
    if (text.size() > longestDescription || TextFault(text))
        return {};
    std::string lines;
    for (const char c : text)
        lines += c == '\n' && EndsWith(lines, "\n") ? ".\n" : std::string(1, c);
    return lines;
}

// That of the first of the component's categories that is a main one.
std::string CategoryOf(AsComponent* component)
{
    const GPtrArray* const own = as_component_get_categories(component);
    for (guint i = 0; i < own->len; ++i) {
        const char* const name = static_cast<const char*>(g_ptr_array_index(own, i));
        for (const auto& [known, words] : mainCategories) {
            if (std::strcmp(name, known) == 0)
                return words;
        }
    }
    return {};
}

// The icon that the archive has for it, which has one name in all sizes.
std::string IconOf(AsComponent* component)
{
    const GPtrArray* const icons = as_component_get_icons(component);
    for (guint i = 0; i < icons->len; ++i) {
        AsIcon* const icon = static_cast<AsIcon*>(g_ptr_array_index(icons, i));
        if (as_icon_get_kind(icon) == AS_ICON_KIND_CACHED && as_icon_get_name(icon))
            return as_icon_get_name(icon);
    }
    return {};
}

bool IsApplication(AsComponent* component)
{
    const AsComponentKind kind = as_component_get_kind(component);
    return as_component_get_merge_kind(component) == AS_MERGE_KIND_NONE
        && (kind == AS_COMPONENT_KIND_DESKTOP_APP || kind == AS_COMPONENT_KIND_CONSOLE_APP);
}

// Which of a package's applications speaks for it: a smaller one first. One that has a window
// comes before others, and one that is named like its package before those that come with it.
std::string Rank(AsComponent* component, const std::string& package)
{
    const std::string id = as_component_get_id(component);
    const bool hasWindow = as_component_get_kind(component) == AS_COMPONENT_KIND_DESKTOP_APP;
    const bool isNamesake
        = id == package || id == package + ".desktop" || EndsWith(id, '.' + package);
    return std::string(hasWindow ? "1" : "2") + (isNamesake ? "1" : "2") + id;
}

// A category of packages that is one of applications, too, has their spelling: agents do not
// distinguish large and small letters.
std::string InWords(const std::string& section)
{
    for (const auto& [known, words] : mainCategories) {
        if (strcasecmp(section.c_str(), words) == 0)
            return words;
    }
    return section;
}

// Gives the package the texts of the application, and its category if it has one.
void SpeakFor(ArchivePackage& package, const ArchiveApplication& application)
{
    const auto end = std::min(package.description.find('\n'), package.description.size());
    const std::string rest = application.description.empty() ? package.description.substr(end)
                                                             : '\n' + application.description;
    package.title = application.name;
    package.icon = application.icon;
    package.description = application.summary
        + (application.summary.size() + rest.size() <= longestDescription ? rest : "");
    if (!application.category.empty())
        package.category = application.category;
}

} // namespace

ArchiveApplications ReadApplications(const std::string& file)
{
    const CatalogPointer catalog = Parse(file);
    ArchiveApplications applications;
    std::map<std::string, std::string> ranks;
    ForEachComponent(catalog.get(), [&](AsComponent* component) {
        char** const packages = as_component_get_pkgnames(component);
        ArchiveApplication found{ Line(as_component_get_name(component), longestName),
                                  Line(as_component_get_summary(component), longestSummary),
                                  PlainText(as_component_get_description(component)),
                                  CategoryOf(component), IconOf(component) };
        if (!packages || !packages[0] || !IsApplication(component) || found.name.empty()
            || found.summary.empty())
            return;
        const std::string rank = Rank(component, packages[0]);
        std::string& known = ranks[packages[0]];
        if (known.empty() || rank < known) {
            known = rank;
            applications[packages[0]] = std::move(found);
        }
    });
    if (applications.empty())
        throw StoreError(file + ": no application found in this catalog");
    return applications;
}

std::size_t AddApplications(DebianIndex& index, const ArchiveApplications& applications)
{
    std::size_t count = 0;
    for (auto& [name, package] : index.packages) {
        package.category = InWords(package.category);
        const auto found = applications.find(name);
        if (found != applications.end()) {
            SpeakFor(package, found->second);
            ++count;
        }
    }
    return count;
}
