// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Replaces the catalog database in one step. All files of one database are in a
// folder of their own, a generation, and one link says which generation is current:
//
//     .VACatalog.gen-7/.VACatalog.fil    a generation: ten files
//     .VACatalog.current                 -> .VACatalog.gen-7
//     .VACatalog.fil                     -> .VACatalog.current/.VACatalog.fil
//
// The ten described names are links through .VACatalog.current, so that replacing
// that one link replaces all. Plain files from before (or put there since) are turned
// into a generation with hard links before anything is published: all paths lead to the
// same files at any moment, even after an interruption.

#pragma once

#include "base/descriptor.h"
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

// The paths in a folder. Folders end with a slash, here and below.
CatalogPaths CatalogPathsIn(const std::string& folder);

// The names of the ten files.
std::vector<std::string> CatalogFileNames();

// The folder that the described names of a folder lead to: the current generation, or
// the folder itself if any name does not lead there.
std::string CurrentCatalogFolder(const std::string& folder);

// Calls `open` with the folder that the files are in now, ending with a slash, to open
// them. If they were replaced meanwhile it starts over, so that all open files belong
// together.
bool OpenCurrentCatalog(const std::string& folder,
                        const std::function<bool(const std::string& current)>& open);

// A generation's folder, private to this process until it is published. If it is never
// published, it is removed with the object.
class NewGeneration
{
public:
    // Makes it in the folder where it will be published, with a file system that must
    // outlive the object. On failure (false), Reason() says why.
    NewGeneration(const std::string& folder, StoreFiles& files);
    ~NewGeneration();
    NewGeneration(const NewGeneration&) = delete;
    NewGeneration& operator=(const NewGeneration&) = delete;

    explicit operator bool() const { return bool(m_opened); }
    int FolderDescriptor() const { return m_opened.Get(); }
    StoreFiles& Files() const { return m_files; }
    std::string Folder() const { return m_folder + m_name + '/'; }
    const std::string& Reason() const { return m_reason; }

    // Makes the ten files, which must be closed or only read from now on, the current
    // ones. They get the permissions and, if this process may change owners, the owners
    // of the files that they replace. False with the old ones unchanged.
    bool Publish();
    // The same if there is no database yet. If another process publishes one first,
    // the result is false and Exists() true.
    bool PublishFirst();
    bool Exists() const { return m_exists; }

private:
    NewGeneration(const std::string& folder, StoreFiles& files, Descriptor opened);
    void Make();
    void Remove() const;
    bool Lock();
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
    StoreFiles& m_files;
    std::string m_name;
    std::string m_reason;
    Descriptor m_opened; // the generation's folder
    bool m_published = false;
    bool m_exists = false;
};

// Removes the generations of a folder that are neither current nor being made or
// read at this moment (see PinnedGeneration). Those of other users stay if this process
// may not remove them.
void RemoveOldGenerations(const std::string& folder);

// Protects the current generation of a folder from removal, for a reader that opens
// its files one after the other.
class PinnedGeneration
{
public:
    explicit PinnedGeneration(const std::string& folder);

    // The folder that the files are in.
    const std::string& Folder() const { return m_folder; }

private:
    std::string m_folder;
    Descriptor m_opened; // none for plain files
};

} // namespace Agent
