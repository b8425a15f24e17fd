// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/generations.h"

#include "db/dblayouts.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/file.h>
#include <unistd.h>

namespace Agent
{

namespace
{

constexpr char pointerName[] = ".VACatalog.current";
constexpr char generationPrefix[] = ".VACatalog.gen-";
constexpr char removedPrefix[] = ".VACatalog.old-"; // a generation that is being removed
constexpr char linkName[] = ".link"; // in a generation: a new link before its rename
constexpr int mostDigits = 9; // of a generation's number
constexpr int mostTries = 100;

// ---- names ----

// The number after a prefix, or -1.
long NumberAfter(const char* prefix, const std::string& name)
{
    const std::size_t length = std::strlen(prefix);
    const bool digits = name.size() > length && name.size() <= length + mostDigits
        && name.find_first_not_of("0123456789", length) == std::string::npos;
    return digits && name.compare(0, length, prefix) == 0
        ? std::strtol(name.c_str() + length, nullptr, 10)
        : -1;
}

std::string LinkTo(const std::string& name)
{
    return std::string(pointerName) + '/' + name;
}

// Empty for anything but a link.
std::string ReadLink(const std::string& path)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, std::size_t(length)) : std::string();
}

// The generation that the pointer of a folder names; empty without one.
std::string CurrentName(const std::string& folder)
{
    const std::string name = ReadLink(folder + pointerName);
    return NumberAfter(generationPrefix, name) >= 0 ? name : std::string();
}

bool IsThere(const std::string& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

bool IsSameFile(const std::string& a, const std::string& b)
{
    struct stat first, second;
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0
        && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool LeadsThrough(const std::string& folder, const std::string& name)
{
    return ReadLink(folder + name) == LinkTo(name);
}

// The generation named `current`, if the described names lead there; else the folder itself.
std::string FolderThrough(const std::string& folder, const std::string& current)
{
    struct stat status;
    if (current.empty() || lstat((folder + current).c_str(), &status) != 0
        || !S_ISDIR(status.st_mode))
        return folder;
    const std::string generation = folder + current + '/';
    for (const std::string& name : CatalogFileNames()) {
        const bool leadsThere = LeadsThrough(folder, name)
            || IsSameFile(folder + name, generation + name)
            || (!IsThere(folder + name) && !IsThere(generation + name));
        if (!leadsThere)
            return folder;
    }
    return generation;
}

// ---- folders ----

std::vector<std::string> NamesIn(const std::string& folder)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(folder.c_str()), closedir);
    while (listing) {
        const dirent* const entry = readdir(listing.get());
        if (!entry)
            break;
        names.emplace_back(entry->d_name);
    }
    return names;
}

Descriptor OpenFolder(const std::string& path)
{
    return Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Whether a path still leads to an open folder.
bool IsStill(int descriptor, const std::string& path)
{
    struct stat held, there;
    return fstat(descriptor, &held) == 0 && lstat(path.c_str(), &there) == 0
        && held.st_ino == there.st_ino && held.st_dev == there.st_dev;
}

// Gives an open file or folder the permissions of another one and, where this
// process may, its owner.
bool TakeAfter(int descriptor, const struct stat& other)
{
    if (fchown(descriptor, other.st_uid, other.st_gid) != 0)
        errno = 0;
    return fchmod(descriptor, other.st_mode & 07777) == 0;
}

// Removes a generation's folder: its files and nothing else, then the folder.
void RemoveFolder(int descriptor, const std::string& path)
{
    unlinkat(descriptor, linkName, 0);
    for (const std::string& name : CatalogFileNames())
        unlinkat(descriptor, name.c_str(), 0);
    rmdir(path.c_str());
}

// Removes a generation unless somebody uses it: its maker and its readers hold a lock on the
// folder. The folder is renamed first, so that nobody can open one of its files when the
// others are already gone.
void RemoveGeneration(const std::string& folder, const std::string& name)
{
    const std::string path = folder + name;
    const Descriptor opened = OpenFolder(path);
    if (!opened)
        return;
    const std::string removed
        = folder + removedPrefix + std::to_string(NumberAfter(generationPrefix, name));
    // Its maker may have published it before this process got the lock.
    if (flock(opened.Get(), LOCK_EX | LOCK_NB) == 0 && CurrentName(folder) != name
        && IsStill(opened.Get(), path) && std::rename(path.c_str(), removed.c_str()) == 0)
        RemoveFolder(opened.Get(), removed);
}

void RemoveEachOldGeneration(const std::string& folder)
{
    for (const std::string& name : NamesIn(folder)) {
        if (NumberAfter(generationPrefix, name) >= 0 && name != CurrentName(folder)) {
            RemoveGeneration(folder, name);
        } else if (NumberAfter(removedPrefix, name) >= 0) {
            const Descriptor opened = OpenFolder(folder + name);
            if (opened)
                RemoveFolder(opened.Get(), folder + name);
        }
    }
}

} // namespace

CatalogPaths CatalogPathsIn(const std::string& folder)
{
    return { PathsIn(folder, Catalog::layout), folder + Catalog::notesName,
             PathsIn(folder, Dependency::layout) };
}

std::vector<std::string> CatalogFileNames()
{
    const CatalogPaths paths = CatalogPathsIn(std::string());
    std::vector<std::string> names = paths.products;
    names.insert(names.end(), { paths.notes + ".fil", paths.notes + ".k1" });
    names.insert(names.end(), paths.dependencies.begin(), paths.dependencies.end());
    return names;
}

// An update may replace and remove the generation between two looks at it, which would then
// be taken for missing: what was found counts if the pointer is still the same.
std::string CurrentCatalogFolder(const std::string& folder)
{
    std::string found;
    for (int tries = 0; tries < mostTries; ++tries) {
        const std::string current = CurrentName(folder);
        found = FolderThrough(folder, current);
        if (CurrentName(folder) == current)
            break;
    }
    return found;
}

// A lock-free consistent read: ten files cannot be opened at once, so after opening them it
// checks that the generation is still the current one. If so, all are of one generation.
bool OpenCurrentCatalog(const std::string& folder,
                        const std::function<bool(const std::string& current)>& open)
{
    std::string current = CurrentCatalogFolder(folder);
    for (int tries = 0; tries < mostTries; ++tries) {
        const bool isOpen = open(current);
        const std::string before = current;
        current = CurrentCatalogFolder(folder);
        if (current == before)
            return isOpen;
    }
    return false;
}

// ---- a new generation ----

NewGeneration::NewGeneration(const std::string& folder, StoreFiles& files)
    : NewGeneration(folder, files, Descriptor())
{
    Make(); // may fail for want of memory: the destructor is called then
}

NewGeneration::NewGeneration(const std::string& folder, StoreFiles& files, Descriptor opened)
    : m_folder(folder), m_files(files), m_opened(std::move(opened))
{
}

NewGeneration::~NewGeneration()
{
    if (!m_opened)
        return;
    // Readers may still use one that is no longer current.
    if (!m_published && flock(m_opened.Get(), LOCK_EX | LOCK_NB) == 0)
        Remove();
}

// If memory runs out, the next update removes the rest.
void NewGeneration::Remove() const
try {
    RemoveFolder(m_opened.Get(), m_folder + m_name);
} catch (const std::bad_alloc&) {
    return;
}

// An unused name, so that nothing that already exists is used.
void NewGeneration::Make()
{
    long number = NumberAfter(generationPrefix, CurrentName(m_folder));
    for (const std::string& name : NamesIn(m_folder))
        number = std::max(
            { number, NumberAfter(generationPrefix, name), NumberAfter(removedPrefix, name) });
    if (std::to_string(number + mostTries).size() > mostDigits)
        number = -1;
    for (int tries = 0; tries < mostTries; ++tries) {
        m_name = generationPrefix + std::to_string(++number);
        if (m_files.MakeFolder((m_folder + m_name).c_str(), 0700) == 0) {
            if (Lock())
                return;
        } else if (errno != EEXIST) {
            break;
        }
    }
    Fail("cannot make the folder " + m_folder + m_name);
}

// The folder is locked as long as the object lives, so that no process takes it for the
// leftover of a killed one. The lock is shared: readers can pin the folder from the moment
// the pointer names it, however late this process runs again.
bool NewGeneration::Lock()
{
    const std::string path = m_folder + m_name;
    struct stat status;
    m_opened = OpenFolder(path);
    if (m_opened && fstat(m_opened.Get(), &status) == 0 && status.st_uid == geteuid()
        && flock(m_opened.Get(), LOCK_SH | LOCK_NB) == 0 && IsStill(m_opened.Get(), path))
        return true;
    m_opened = Descriptor();
    return false;
}

bool NewGeneration::Fail(const std::string& what)
{
    m_reason = what + ": " + std::strerror(errno);
    return false;
}

// Everything that can fail comes before the one rename that counts. The files are synced
// first; then the described names are made links through the pointer, which changes nothing
// yet, since the pointer still names the old generation; then the pointer is replaced. A
// crash at any moment leaves either the old or the new database.
bool NewGeneration::Publish()
{
    if (!Settle() || (!NamesLeadThrough() && !TakeInPlainFiles()))
        return false;
    return PublishOver(CurrentName(m_folder));
}

bool NewGeneration::PublishFirst()
{
    const auto leadsSomewhere
        = [this](const std::string& name) { return access((m_folder + name).c_str(), F_OK) == 0; };
    m_exists = leadsSomewhere(Catalog::layout.fileName);
    if (m_exists)
        return false;
    const std::vector<std::string> names = CatalogFileNames();
    if (IsThere(m_folder + pointerName) || std::any_of(names.begin(), names.end(), leadsSomewhere))
        return Publish();
    if (!Settle() || !PutNames() || !SyncFolder())
        return false;
    // Not by renaming, which would replace a pointer that another process has just made.
    if (m_files.Symlink(m_name.c_str(), (m_folder + pointerName).c_str()) != 0) {
        m_exists = errno == EEXIST;
        return Fail("cannot make " + m_folder + pointerName);
    }
    m_published = SyncFolder();
    if (!m_published)
        unlink((m_folder + pointerName).c_str());
    return m_published;
}

bool NewGeneration::PublishOver(const std::string& current)
{
    if (!PutNames() || !SyncFolder() || !PutLink(m_name, pointerName))
        return false;
    m_published = true;
    if (SyncFolder())
        return true;
    // It may not be on the disk; the old one is, so that becomes current again.
    const std::string reason = m_reason;
    const bool back = current.empty() ? unlink((m_folder + pointerName).c_str()) == 0
                                      : PutLink(current, pointerName);
    m_published = !back;
    m_reason = reason;
    return false;
}

// ---- its files ----

// Gives the files the permissions of those that they replace, and syncs them and their
// folder.
bool NewGeneration::Settle()
{
    for (const std::string& name : CatalogFileNames())
        if (!SettleFile(name))
            return Fail("cannot write " + Folder() + name);
    struct stat folder;
    if (stat(m_folder.c_str(), &folder) != 0 || !TakeAfter(m_opened.Get(), folder)
        || m_files.Sync(m_opened.Get()) != 0)
        return Fail("cannot write " + Folder());
    return true;
}

bool NewGeneration::SettleFile(const std::string& name)
{
    const std::string replaced = m_folder + name;
    const int file = m_files.OpenAt(m_opened.Get(), name.c_str(), O_RDONLY | O_NOFOLLOW, 0);
    if (file < 0)
        return false;
    struct stat old;
    const bool settled
        = (stat(replaced.c_str(), &old) != 0 || TakeAfter(file, old)) && m_files.Sync(file) == 0;
    m_files.Close(file);
    return settled;
}

// ---- the links ----

// Whether none of the described names is a plain file.
bool NewGeneration::NamesLeadThrough() const
{
    const std::vector<std::string> names = CatalogFileNames();
    return std::all_of(names.begin(), names.end(), [this](const std::string& name) {
        return LeadsThrough(m_folder, name) || !IsThere(m_folder + name);
    });
}

// Turns the files that the described names lead to into a generation, and makes it current.
// They are hard links to the same files, so that the names lead to the same data before and
// after, one by one, as they are replaced by links through the pointer.
bool NewGeneration::TakeInPlainFiles()
{
    NewGeneration plain(m_folder, m_files);
    if (!plain)
        return m_reason = plain.Reason(), false;
    for (const std::string& name : CatalogFileNames()) {
        const std::string from = m_folder + name, to = plain.Folder() + name;
        if (access(from.c_str(), F_OK) == 0 && m_files.Link(from.c_str(), to.c_str()) != 0)
            return Fail("cannot link " + from + " to " + to);
    }
    struct stat folder;
    if (stat(m_folder.c_str(), &folder) != 0 || !TakeAfter(plain.m_opened.Get(), folder)
        || m_files.Sync(plain.m_opened.Get()) != 0 || !SyncFolder())
        return Fail("cannot write " + plain.Folder());
    if (!PutLink(plain.m_name, pointerName))
        return false;
    plain.m_published = true;
    return true;
}

// Replaces each described name that is not a link yet by one.
bool NewGeneration::PutNames()
{
    for (const std::string& name : CatalogFileNames())
        if (!LeadsThrough(m_folder, name) && !PutLink(LinkTo(name), name))
            return false;
    return true;
}

bool NewGeneration::PutLink(const std::string& target, const std::string& name)
{
    const std::string fresh = Folder() + linkName, path = m_folder + name;
    unlink(fresh.c_str());
    if (m_files.Symlink(target.c_str(), fresh.c_str()) != 0)
        return Fail("cannot make the link " + fresh);
    return m_files.Rename(fresh.c_str(), path.c_str()) == 0 || Fail("cannot replace " + path);
}

bool NewGeneration::SyncFolder()
{
    const Descriptor folder(open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return (folder && m_files.Sync(folder.Get()) == 0) || Fail("cannot write " + m_folder);
}

// ---- old generations ----

void RemoveOldGenerations(const std::string& folder)
try {
    RemoveEachOldGeneration(folder);
} catch (const std::bad_alloc&) {
    return; // the next update removes them
}

// A shared lock on the folder keeps it from being removed. Between finding and locking it an
// update may have removed it, so it checks that the path still leads to the locked folder.
PinnedGeneration::PinnedGeneration(const std::string& folder)
{
    for (int tries = 0; tries < mostTries; ++tries) {
        m_folder = CurrentCatalogFolder(folder);
        if (m_folder == folder)
            return;
        const std::string path = m_folder.substr(0, m_folder.size() - 1);
        m_opened = OpenFolder(path);
        if (m_opened && flock(m_opened.Get(), LOCK_SH | LOCK_NB) == 0
            && IsStill(m_opened.Get(), path))
            return;
        m_opened = Descriptor();
    }
}

} // namespace Agent
