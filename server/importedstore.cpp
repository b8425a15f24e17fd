// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "importedstore.h"

#include "base/text.h"
#include "content.h"
#include "pictures.h"
#include "pool.h"
#include "stanza.h"
#include "storefile.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <set>

using namespace Agent;

namespace
{

const char* const markFile = importMark;

// Whether a folder is empty, or contains only the beginning of a killed import.
bool IsUnused(const std::string& path)
{
    const std::set<std::string> nothing{ ".", "..", std::string(markFile) + ".new" };
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    const dirent* entry = nullptr;
    do {
        entry = folder ? readdir(folder.get()) : nullptr;
    } while (entry && nothing.count(entry->d_name) != 0);
    return folder && !entry;
}

bool Exists(const std::string& path)
{
    struct stat info = {};
    return lstat(path.c_str(), &info) == 0;
}

std::string MarkText(const std::string& repository, long nextSerial)
{
    return "# Made by `pakmart-storeserver import`, which replaces products, sources and\n# pool/"
        + repository + " when it is run again.\nRepository: " + repository
        + "\nNext-Serial: " + std::to_string(nextSerial) + '\n';
}

void AddProduct(std::string& text, const ArchivePackage& package, long serial)
{
    text += "Serial: " + std::to_string(serial) + "\nName: " + package.title
        + "\nCategory: " + package.category + "\nPackage: " + package.name
        + "\nDescription: " + Continued(package.description) + "\n\n";
}

std::string PackagesText(const DebianIndex& index)
{
    std::string text;
    for (const auto& [name, package] : index.packages)
        text += package.stanza + '\n';
    return text;
}

std::string SourcesText(const std::string& repository, const std::string& timestamp)
{
    return "Type: dep\nEntry: deb @SERVER@/pool/" + repository + " ./\nTimestamp: " + timestamp
        + '\n';
}

} // namespace

ImportedStore::ImportedStore(const std::string& folder, const std::string& repository)
    : m_folder(folder), m_repository(repository)
{
    Take();
    ReadMark();
}

void ImportedStore::Take()
{
    if (mkdir(m_folder.c_str(), 0755) != 0 && errno != EEXIST)
        throw StoreError(m_folder + ": " + std::strerror(errno));
    m_handle = LockStore(m_folder);
}

void ImportedStore::ReadMark()
{
    const std::string path = m_folder + '/' + markFile;
    if (IsUnused(m_folder)) {
        // Written first, so that an unfinished store is recognised as such.
        Replacement(m_folder, markFile, MarkText(m_repository, m_nextSerial)).Commit();
        return;
    }
    if (!Exists(path))
        throw StoreError(m_folder + ": this store was not made by an import, and is left alone");
    const std::vector<Stanza> stanzas = ParseStanzas(ReadStoreFile(m_folder, markFile).text, path);
    if (stanzas.size() != 1)
        throw StoreError(path + ": this is not what an import has written");
    if (Required(stanzas[0], "Repository", path) != m_repository)
        throw StoreError(m_folder + ": the repository of this store is "
                         + Quoted(stanzas[0].Find("Repository")->value));
    m_nextSerial = PositiveNumber(Required(stanzas[0], "Next-Serial", path));
    if (m_nextSerial == 0)
        FailAt(path, stanzas[0].line, "Next-Serial is invalid");
}

Products ImportedStore::OldProducts() const
{
    const std::string path = m_folder + "/products";
    return Exists(path) ? ParseProducts(ReadStoreFile(m_folder, "products").text, path)
                        : Products();
}

std::map<std::string, std::string> ImportedStore::OldVersions() const
{
    std::map<std::string, std::string> versions;
    const std::string name = "pool/" + m_repository + "/Packages", path = m_folder + '/' + name;
    if (!Exists(path))
        return versions;
    const std::string text = ReadStoreFile(m_folder, name).text;
    StanzaReader reader(text, path);
    for (Stanza stanza; reader.Next(stanza);)
        versions[Required(stanza, "Package", path)] = Required(stanza, "Version", path);
    return versions;
}

// Known packages keep their serial numbers and new ones get the next, since hosts identify
// products by them. Numbers of packages that are gone are not used again: the next number is
// stored in the mark, and only grows.
ImportResult ImportedStore::Replace(const DebianIndex& index, const std::string& archives)
{
    ImportResult result;
    std::map<std::string, long> known; // the serial numbers of known packages
    for (const auto& [serial, product] : OldProducts()) {
        known[product.package] = serial;
        m_nextSerial = std::max(m_nextSerial, serial + 1);
    }
    const std::map<std::string, std::string> versions = OldVersions();
    std::map<long, const ArchivePackage*> numbered;
    std::set<std::string> categories;
    for (const auto& [name, package] : index.packages) {
        const auto old = known.find(name);
        const auto version = versions.find(name);
        const bool isNew = old == known.end();
        result.added += isNew ? 1 : 0;
        if (!isNew && version != versions.end() && version->second != package.version)
            ++result.updated;
        numbered[isNew ? m_nextSerial++ : old->second] = &package;
        categories.insert(package.category);
    }
    if (m_nextSerial > INT_MAX)
        throw StoreError(m_folder + ": there are no numbers left for new products");
    result.products = numbered.size();
    result.categories = categories.size();
    result.gone = known.size() + result.added - result.products;
    Write(index, numbered, archives);
    return result;
}

// Pictures take their places at once: nothing leads to them before `icons` does, and there are
// more of them than a process may have open. Those of products that are gone stay for clients
// with an older list. Without pictures the store keeps those that it has.
void ImportedStore::WritePictures(const std::map<long, const ArchivePackage*>& numbered,
                                  std::vector<Replacement>& files) const
{
    std::string icons;
    for (const auto& [serial, package] : numbered) {
        if (package->picture.empty())
            continue;
        const std::string sum = Sha256Of(package->picture);
        Replacement(m_folder, PictureFile(sum), package->picture).Commit();
        icons += "Serial: " + std::to_string(serial) + "\nPicture: " + sum + "\n\n";
    }
    if (!icons.empty())
        files.emplace_back(m_folder, "icons", icons);
}

// All files are written under temporary names before the first is renamed, so a full disk or
// a fault in the index leaves the old store unchanged. The renames follow each other quickly.
void ImportedStore::Write(const DebianIndex& index,
                          const std::map<long, const ArchivePackage*>& numbered,
                          const std::string& archives)
{
    const std::string pool = "pool/" + m_repository;
    std::vector<Replacement> files;
    {
        const std::string packages = PackagesText(index);
        files.emplace_back(m_folder, pool + "/Packages", packages);
        files.emplace_back(m_folder, "sources", SourcesText(m_repository, TimestampOf(packages)));
    }
    files.emplace_back(m_folder, pool + "/Location", "Archives: " + archives + '\n');
    files.emplace_back(m_folder, markFile, MarkText(m_repository, m_nextSerial));
    std::string products;
    for (const auto& [serial, package] : numbered)
        AddProduct(products, *package, serial);
    files.emplace_back(m_folder, "products", products);
    WritePictures(numbered, files);
    // The products are last: a store without them is not served.
    for (Replacement& file : files)
        file.Commit();
}
