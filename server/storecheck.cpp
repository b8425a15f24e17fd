// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "storecheck.h"

#include "base/text.h"
#include "filesum.h"
#include "personalfiles.h"
#include "pictures.h"
#include "pool.h"
#include "stanza.h"
#include "store.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <set>

using namespace Agent;

namespace
{

class Checker
{
public:
    Checker(const std::string& folder, bool isSigned)
        : m_folder(folder), m_store(folder), m_isSigned(isSigned)
    {
    }
    StoreReport Check();

private:
    template <class Read> void Try(const Read& read);
    void CheckShelves();
    void CheckAisles(const std::set<std::string>& filled);
    void CheckIcons();
    void CheckSources();
    void CheckPool();
    void CheckRepository(const std::string& name);
    void CheckPacked(const std::string& name);
    void CheckArchives(const std::string& name, const std::string& index);
    void CheckArchive(const std::string& name, const Stanza& stanza);
    void LeaveOut(const std::string& file, const std::string& reason)
    {
        m_report.leftOut.push_back(m_folder + '/' + file + ": " + reason);
    }

    const std::string m_folder;
    Store m_store;
    const bool m_isSigned;
    std::set<long> m_serials; // of the products
    std::set<std::string> m_repositories;
    StoreReport m_report;
};

// Notes why a file is refused.
template <class Read> void Checker::Try(const Read& read)
{
    try {
        read();
    } catch (const StoreError& error) {
        m_report.refused.emplace_back(error.what());
    }
}

StoreReport Checker::Check()
{
    CheckShelves();
    CheckIcons();
    Try([this] { m_store.GetUpdates(); });
    if (const PersonalFault fault = PersonalFiles(m_folder).Check())
        m_report.refused.push_back(fault.text);
    CheckPool();
    CheckSources();
    struct stat info = {};
    if (!OpenBelow(m_folder, "registrations", info) && errno != ENOENT)
        LeaveOut("registrations", "this is not a regular file, so no call is recorded");
    return m_report;
}

void Checker::CheckShelves()
{
    std::set<std::string> filled;
    Try([&] {
        for (const auto& [serial, product] : *m_store.GetProducts()) {
            filled.insert(product.category);
            m_serials.insert(serial);
        }
        m_report.products = m_store.GetProducts()->size();
    });
    const bool isKnown = m_report.refused.empty();
    Try([&] {
        for (const auto& [name, category] : *m_store.GetCategories()) {
            if (isKnown && filled.count(name) == 0)
                LeaveOut("categories", "the category " + Quoted(name) + " has no products");
        }
    });
    Try([&] {
        if (m_store.GetAisles() && isKnown)
            CheckAisles(filled);
    });
}

void Checker::CheckAisles(const std::set<std::string>& filled)
{
    for (const Aisle& aisle : *m_store.GetAisles()) {
        for (const std::string& category : aisle.categories) {
            if (filled.count(category) == 0)
                LeaveOut("aisles",
                         "the aisle " + Quoted(aisle.name) + " leads to the category "
                             + Quoted(category) + ", which has no products");
        }
    }
}

void Checker::CheckIcons()
{
    Try([&] {
        for (const auto& [serial, sum] : *m_store.GetIcons()) {
            if (m_report.products != 0 && m_serials.count(serial) == 0)
                LeaveOut("icons",
                         "there is no product with the number " + Quoted(std::to_string(serial)));
            else if (const std::string fault = PictureFault(m_folder, sum); !fault.empty())
                LeaveOut(PictureFile(sum), fault);
        }
    });
}

// An entry for a repository that is not here makes the package tools of all machines fail.
void Checker::CheckSources()
{
    const std::string pool = "@SERVER@/pool/";
    Try([&] {
        const auto lists = m_store.GetSources();
        for (const SourcesList& list : *lists) {
            for (const SourceEntry& source : list.entries) {
                const auto at = source.entry.find(pool);
                if (at == std::string::npos)
                    continue;
                const auto start = at + pool.size();
                const auto end
                    = std::min(source.entry.find_first_of(" /", start), source.entry.size());
                const std::string name = source.entry.substr(start, end - start);
                if (m_repositories.count(name) == 0)
                    LeaveOut("sources", "there is no repository " + Quoted(name));
            }
        }
    });
}

void Checker::CheckPool()
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(m_store.PoolFolder().c_str()),
                                                     closedir);
    if (!folder) {
        m_report.refused.push_back(m_store.PoolFolder() + ": " + std::strerror(errno));
        return;
    }
    std::set<std::string> names;
    while (const dirent* entry = readdir(folder.get()))
        names.insert(entry->d_name);
    for (const char* self : { ".", ".." })
        names.erase(self);
    for (const std::string& name : names) {
        struct stat info = {};
        if (!IsRepositoryName(name))
            LeaveOut("pool/" + name, "a repository's name has letters, digits and '-._' only");
        else if (!OpenBelow(m_store.PoolFolder(), name + "/Packages", info) && errno == ENOENT)
            LeaveOut("pool/" + name, "a repository needs a file Packages");
        else
            CheckRepository(name);
    }
}

void Checker::CheckRepository(const std::string& name)
{
    ++m_report.repositories;
    m_repositories.insert(name);
    const std::string path = name + "/Packages";
    std::string index;
    Try([&] {
        index = ReadStoreFile(m_store.PoolFolder(), path).text;
        const PackageIndex packages = ParsePackageIndex(index, m_store.PoolFolder() + '/' + path);
        if (m_isSigned)
            RequireSums(packages, m_store.PoolFolder() + '/' + path);
        if (m_store.ArchivesOf(name).empty())
            CheckArchives(name, index);
    });
    CheckPacked(name);
}

void Checker::CheckPacked(const std::string& name)
{
    struct stat info = {};
    const Descriptor packed = OpenBelow(m_store.PoolFolder(), name + "/Packages.gz", info);
    const Descriptor plain = OpenBelow(m_store.PoolFolder(), name + "/Packages", info);
    if (packed && UnpackedSumOf(packed).sha256 != SumOf(plain).sha256)
        LeaveOut("pool/" + name + "/Packages.gz", "this is not the packed form of Packages");
}

void Checker::CheckArchives(const std::string& name, const std::string& index)
{
    StanzaReader reader(index, m_store.PoolFolder() + '/' + name + "/Packages");
    Stanza stanza;
    while (reader.Next(stanza))
        CheckArchive(name, stanza);
}

void Checker::CheckArchive(const std::string& name, const Stanza& stanza)
{
    const std::string path = name + '/' + Optional(stanza, "Filename");
    struct stat info = {};
    const Descriptor file = OpenBelow(m_store.PoolFolder(), path, info);
    if (!file) {
        LeaveOut("pool/" + path,
                 "the index has this archive, and it cannot be read: "
                     + std::string(std::strerror(errno)));
        return;
    }
    const FileSum sum = SumOf(file);
    const std::string size = Optional(stanza, "Size"), sha256 = Optional(stanza, "SHA256");
    if (!size.empty() && size != std::to_string(sum.size))
        LeaveOut("pool/" + path,
                 "it has " + std::to_string(sum.size) + " bytes, in the index it has "
                     + Quoted(size));
    else if (!sha256.empty() && sha256 != sum.sha256)
        LeaveOut("pool/" + path, "its SHA256 is not the one in the index");
    else
        ++m_report.archives;
}

} // namespace

StoreReport CheckStore(const std::string& folder, bool isSigned)
{
    return Checker(folder, isSigned).Check();
}
