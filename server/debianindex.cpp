// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debianindex.h"

#include "base/packagename.h"
#include "base/text.h"
#include "options.h"
#include "packedfile.h"
#include "stanza.h"
#include "storefile.h"

#include <algorithm>
#include <apt-pkg/deblistparser.h>
#include <apt-pkg/debversion.h>
#include <strings.h>
#include <unordered_map>
#include <unordered_set>

using namespace Agent;

namespace
{

const std::size_t mostFields = 200;
const std::size_t longestSection = 60;
const std::size_t longestHomepage = 256;
const std::size_t reasonsKept = 10;

// The value of a field; empty for a missing one.
std::string Value(const Stanza& stanza, const char* key)
{
    const Field* field = stanza.Find(key);
    return field ? field->value : std::string();
}

// The package tools ignore the case of keys, and use only one of two equal ones.
void RefuseRepeatedFields(const Stanza& stanza, const std::string& file)
{
    const std::vector<Field>& fields = stanza.fields;
    if (fields.size() > mostFields)
        FailAt(file, stanza.line, "too many fields for a package");
    for (auto one = fields.begin(); one != fields.end(); ++one) {
        const auto same = [&](const Field& other) {
            return strcasecmp(one->key.c_str(), other.key.c_str()) == 0;
        };
        if (std::any_of(fields.begin(), one, same))
            FailAt(file, one->line, "a second " + one->key + " for one package");
    }
}

bool IsArchiveName(std::string_view name)
{
    const std::string path = '/' + std::string(name);
    return name.size() > 4 && name.size() < 512 && name.compare(name.size() - 4, 4, ".deb") == 0
        && IsMadeOf(name, IsLetterOrDigit, "-+._~%:/") && path.find("//") == std::string::npos
        && path.find("/../") == std::string::npos && path.find("/.deb") == std::string::npos;
}

bool IsSum(std::string_view text)
{
    return text.size() == 64
        && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

bool IsSize(std::string_view text)
{
    return !text.empty() && text.size() <= 15
        && text.find_first_not_of("0123456789") == std::string::npos;
}

// The value of a required field, which must satisfy `isOne`.
std::string Checked(const Stanza& stanza, const char* key, bool (*isOne)(std::string_view),
                    const std::string& file)
{
    const std::string& value = Required(stanza, key, file);
    if (!isOne(value))
        FailAt(file, stanza.Find(key)->line, "invalid " + std::string(key) + ": " + Quoted(value));
    return value;
}

std::string SectionOf(const Stanza& stanza)
{
    const std::string section = Value(stanza, "Section");
    return section.size() <= longestSection && IsMadeOf(section, IsLetterOrDigit, "-+./_")
        ? section
        : "unknown";
}

bool IsHomepage(const std::string& page)
{
    static const char* const schemes[] = { "http://", "https://", "ftp://", "gopher://" };
    const bool known
        = std::any_of(std::begin(schemes), std::end(schemes),
                      [&page](const char* scheme) { return BeginsWith(page, scheme); });
    const bool plain
        = std::all_of(page.begin(), page.end(), [](char c) { return c > ' ' && c < 127; });
    return known && plain && page.size() <= longestHomepage;
}

// The text of the stanza, without an invalid homepage.
std::string TextOf(Stanza& stanza)
{
    const Field* page = stanza.Find("Homepage");
    if (!page || IsHomepage(page->value))
        return std::move(stanza.text);
    std::string text;
    for (const Field& field : stanza.fields) {
        if (&field != page)
            text += field.key + ": " + Continued(field.value) + '\n';
    }
    return text;
}

bool IsRelation(const std::string& key)
{
    static const char* const keys[]
        = { "Depends",   "Pre-Depends", "Recommends", "Suggests", "Enhances",
            "Conflicts", "Breaks",      "Replaces",   "Provides" };
    return std::any_of(std::begin(keys), std::end(keys),
                       [&key](const char* known) { return strcasecmp(key.c_str(), known) == 0; });
}

// A single relation that apt cannot read would make it refuse the whole index.
void CheckRelations(const Stanza& stanza, const std::string& file)
{
    for (const Field& field : stanza.fields) {
        if (!IsRelation(field.key))
            continue;
        std::string name, version;
        unsigned int comparison = 0;
        const char* at = field.value.c_str();
        const char* const end = at + field.value.size();
        while (at && at != end) {
            at = debListParser::ParseDepends(at, end, name, version, comparison);
            if (!at || !Agent::IsPackageName(name.substr(0, name.find(':'))))
                FailAt(file, field.line, "invalid " + field.key + ": " + Quoted(name));
        }
    }
}

// The description in a stanza of a translation file, which has a single language.
std::string Translated(const Stanza& stanza)
{
    for (const Field& field : stanza.fields) {
        if (BeginsWith(field.key, "Description-") && field.key != "Description-md5")
            return field.value;
    }
    return {};
}

// `text` if it is valid as a product's description, otherwise `other`.
std::string FitDescription(const std::string& text, const std::string& other)
{
    if (text.size() <= longestDescription)
        return text.empty() ? other : text;
    const std::string line = text.substr(0, text.find('\n'));
    return line.size() <= longestDescription ? line : other;
}

ArchivePackage ReadPackage(Stanza& stanza, const std::string& file)
{
    RefuseRepeatedFields(stanza, file);
    ArchivePackage package;
    package.name = Checked(stanza, "Package", Agent::IsPackageName, file);
    package.version = Checked(stanza, "Version", Agent::IsPackageVersion, file);
    package.archive = Checked(stanza, "Filename", IsArchiveName, file);
    package.archive.erase(0, package.archive.rfind('/') + 1);
    // Without a checksum the package tools would accept any archive.
    Checked(stanza, "SHA256", IsSum, file);
    Checked(stanza, "Size", IsSize, file);
    CheckRelations(stanza, file);
    package.title = package.name;
    package.category = SectionOf(stanza);
    package.description = FitDescription(Value(stanza, "Description"), package.name);
    package.descriptionMd5 = Value(stanza, "Description-md5");
    package.stanza = TextOf(stanza);
    return package;
}

} // namespace

void LeaveOut(DebianIndex& index, const std::string& reason)
{
    ++index.leftOutCount;
    if (index.leftOut.size() < reasonsKept)
        index.leftOut.push_back(reason);
}

namespace
{

// Passes each stanza of a file to `take`. A malformed or refused one is left out and noted.
template <class Take> void ReadStanzas(DebianIndex& index, const std::string& file, Take take)
{
    const std::string text = ReadPackedFile(file, largestStoreFile);
    StanzaReader reader(text, file);
    Stanza stanza;
    for (bool more = true; more;) {
        try {
            more = reader.Next(stanza);
            if (more)
                take(stanza);
        } catch (const StoreError& error) {
            LeaveOut(index, error.what());
        }
    }
}

// Adds a package if it is the newest with its name so far.
void Keep(DebianIndex& index, ArchivePackage&& package)
{
    const auto known = index.packages.find(package.name);
    if (known == index.packages.end()) {
        const std::string name = package.name;
        index.packages.emplace(name, std::move(package));
        return;
    }
    ++index.older;
    if (debVS.CmpVersion(package.version, known->second.version) > 0)
        known->second = std::move(package);
}

// A server finds a package by the name of its archive, so two packages cannot share one.
void LeaveOutSharedArchives(DebianIndex& index, const std::string& file)
{
    std::unordered_set<std::string> archives;
    for (auto at = index.packages.begin(); at != index.packages.end();) {
        if (archives.insert(at->second.archive).second) {
            ++at;
            continue;
        }
        LeaveOut(index, file + ": another package has the archive of " + at->first);
        at = index.packages.erase(at);
    }
}

} // namespace

DebianIndex ReadDebianIndex(const std::string& file)
{
    DebianIndex index;
    ReadStanzas(index, file, [&](Stanza& stanza) { Keep(index, ReadPackage(stanza, file)); });
    LeaveOutSharedArchives(index, file);
    if (index.packages.empty())
        throw StoreError(index.leftOut.empty() ? file + ": no package found in this index"
                                               : index.leftOut.front());
    return index;
}

// A stanza of a translation file belongs to the packages with the MD5 sum of its
// description; several packages may share one.
std::size_t AddLongDescriptions(DebianIndex& index, const std::string& file)
{
    std::unordered_multimap<std::string, ArchivePackage*> wanted;
    for (auto& [name, package] : index.packages) {
        if (!package.descriptionMd5.empty())
            wanted.emplace(package.descriptionMd5, &package);
    }
    std::size_t count = 0;
    ReadStanzas(index, file, [&](Stanza& stanza) {
        const auto takers = wanted.equal_range(Value(stanza, "Description-md5"));
        for (auto taker = takers.first; taker != takers.second; ++taker) {
            ArchivePackage& package = *taker->second;
            package.description = FitDescription(Translated(stanza), package.description);
            ++count;
        }
        wanted.erase(takers.first, takers.second);
    });
    return count;
}

// apt names the file of http://deb.debian.org/debian/dists/... as
// deb.debian.org_debian_dists_..., with %5f for a '_' in the address.
std::string ArchiveOf(const std::string& file)
{
    const std::string name = file.substr(file.rfind('/') + 1);
    const auto end = name.find("_dists_");
    if (end == std::string::npos)
        return {};
    std::string path = name.substr(0, end);
    std::replace(path.begin(), path.end(), '_', '/');
    std::string decoded;
    const bool whole = DecodePercent(path, decoded);
    return whole && IsServerUrl("http://" + decoded) ? "http://" + decoded : std::string();
}
