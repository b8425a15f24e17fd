// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How the catalog database is replaced in one step. All files of one database are
// in a folder of their own, a generation, and one link says which generation is
// the current one:
//
//     .VACatalog.gen-7/.VACatalog.fil    a generation: ten files
//     .VACatalog.current                 -> .VACatalog.gen-7
//     .VACatalog.fil                     -> .VACatalog.current/.VACatalog.fil
//
// The ten described names are links through .VACatalog.current, so that replacing
// that one link replaces all. Plain files from before (or put there since) are made
// a generation of their own by hard links before anything is published: whatever
// path is taken, and wherever that is interrupted, it leads to the same files.

#pragma once

#include "store/storefiles.h"

#include <functional>
#include <string>
#include <vector>

namespace Agent
{

// The paths that a catalog database is opened by.
struct CatalogPaths {
    std::vector<std::string> products; // the data file and its indexes
    std::string notes; // without ".fil" and ".k1"
    std::vector<std::string> dependencies;

    bool operator==(const CatalogPaths& other) const
    {
        return products == other.products && notes == other.notes
            && dependencies == other.dependencies;
    }
};

// Those in a folder. Folders end with a slash, here and below.
CatalogPaths CatalogPathsIn(const std::string& folder);

// The names of the ten files.
std::vector<std::string> CatalogFileNames();

// Where the files are that the described names of a folder lead to: the current
// generation, or the folder itself where some name does not lead there.
std::string CurrentCatalogFolder(const std::string& folder);

// Has `open` open the files in the folder where they are now, given to it with its
// slash: again, from the beginning, where others took their place meanwhile, so that
// all that is open belongs together.
bool OpenCurrentCatalog(const std::string& folder,
                        const std::function<bool(const std::string& current)>& open);

// A generation's folder, which is this process's own until it is published and
// goes with the object if it is not.
class NewGeneration
{
public:
    // In the folder where it is to be published. Without one (false) Reason() says why.
    explicit NewGeneration(const std::string& folder);
    ~NewGeneration();
    NewGeneration(const NewGeneration&) = delete;
    NewGeneration& operator=(const NewGeneration&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }
    int Descriptor() const { return m_descriptor; } // of its folder
    std::string Folder() const { return m_folder + m_name + '/'; }
    const std::string& Reason() const { return m_reason; }

    // Makes the ten files, which are closed or only read from now on, the current
    // ones. They get the permissions and, where this process may give files away,
    // the owners of those they replace. False with the old ones as they were.
    bool Publish();
    // The same where there is no database yet. When another process publishes one
    // first the result is false and Exists() true.
    bool PublishFirst();
    bool Exists() const { return m_exists; }

private:
    NewGeneration(const std::string& folder, int descriptor);
    void Make();
    void Remove() const;
    bool Lock();
    void LetReadersIn();
    bool PublishOver(const std::string& current);
    bool Settle();
    bool SettleFile(const std::string& name);
    bool NamesLeadThrough() const;
    bool TakeInPlainFiles();
    bool PutNames();
    bool PutLink(const std::string& target, const std::string& name);
    bool SyncFolder();
    bool Fail(const std::string& what);

    const std::string m_folder;
    std::string m_name;
    std::string m_reason;
    int m_descriptor = -1;
    bool m_published = false;
    bool m_exists = false;
};

// Removes the generations of a folder that are neither current nor being made or
// read at this moment (see PinnedGeneration). What another user's process left
// and this one may not remove, stays.
void RemoveOldGenerations(const std::string& folder);

// Keeps the current generation of a folder from being removed, for a reader that
// opens its files one after the other.
class PinnedGeneration
{
public:
    explicit PinnedGeneration(const std::string& folder);
    ~PinnedGeneration();
    PinnedGeneration(const PinnedGeneration&) = delete;
    PinnedGeneration& operator=(const PinnedGeneration&) = delete;

    // The folder that the files are in.
    const std::string& Folder() const { return m_folder; }

private:
    std::string m_folder;
    int m_descriptor = -1; // -1: of plain files
};

} // namespace Agent
