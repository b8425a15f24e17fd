// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/rebuild.h"

#include "base/descriptor.h"
#include "db/ccatalogfile.h"
#include "db/dboptions.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "db/heldfiles.h"
#include "db/updatelock.h"
#include "util/eventwait.h"
#include "util/logcatalog.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent
{

namespace
{

// A file that cannot be written must not be replaced; a dangling link may be.
bool MayReplace(const std::string& path)
{
    struct stat status;
    const bool mayReplace = stat(path.c_str(), &status) != 0
        ? errno == ENOENT || errno == ELOOP
        : S_ISREG(status.st_mode) && access(path.c_str(), W_OK) == 0;
    if (!mayReplace)
        qCInfo(logCatalog, "the catalog cannot be updated, %s may not be replaced", path.c_str());
    return mayReplace;
}

bool MayReplaceAll(const std::string& folder)
{
    const std::vector<std::string> names = CatalogFileNames();
    return std::all_of(names.begin(), names.end(),
                       [&folder](const std::string& name) { return MayReplace(folder + name); });
}

// Fills a generation. Its files stay open meanwhile, and failures are remembered.
bool Fill(const NewGeneration& generation, const std::function<void(CCatalogFile&)>& fill)
{
    HeldFiles files(generation.Files(), generation.FolderDescriptor());
    CCatalogFile file(DbOptions{ generation.Folder(), &generation.Files(), &files, true });
    if (!file.Create())
        return false;
    file.AddNew();
    fill(file);
    file.Close();
    files.CloseAll();
    const bool whole = files.NothingFailed() && file.IsWhole();
    if (!whole)
        qCInfo(logCatalog, "the new database is not whole; the old one stays");
    return whole;
}

bool IsLarge(const Descriptor& file)
{
    constexpr off_t large = 1024 * 1024;
    struct stat status;
    return file && fstat(file.Get(), &status) == 0 && status.st_size >= large;
}

// Syncs a file while events are processed. The system reports an error only once, so it
// counts here; a file that cannot be opened is noticed when it is published.
bool WriteOut(const Descriptor& file)
{
    bool written = true;
    PassEventsBeside([&written, &file] { written = fsync(file.Get()) == 0; });
    return written;
}

// Syncs the files that take long; publishing syncs the rest and checks that all succeeded.
// `large` is set if there is such a file.
bool WriteOut(const NewGeneration& generation, bool& large)
{
    for (const std::string& name : CatalogFileNames()) {
        const Descriptor file(
            openat(generation.FolderDescriptor(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        const bool isLarge = IsLarge(file);
        const bool written = !isLarge || WriteOut(file);
        large = large || isLarge;
        if (written)
            continue;
        qCInfo(logCatalog, "the catalog cannot be updated, %s cannot be written out", name.c_str());
        return false;
    }
    return true;
}

// Publishing waits for the disk several times; for a large catalog, events are processed
// meanwhile.
bool Publish(NewGeneration& generation, bool large)
{
    if (!large)
        return generation.Publish();
    bool published = false;
    PassEventsBeside([&published, &generation] { published = generation.Publish(); });
    return published;
}

} // namespace

bool RebuildCatalogDatabase(const DbOptions& options,
                            const std::function<void(CCatalogFile&)>& fill,
                            const std::function<bool()>& wait)
try {
    const IndexLayer layer;
    const std::string folder
        = options.folder.empty() ? CCatalogFile::DescribedFolder() : options.folder;
    if (folder.empty()) {
        qCInfo(logCatalog, "the catalog cannot be updated, its files are not in one folder");
        return false;
    }
    const UpdateLock lock(folder, wait);
    if (!lock || !MayReplaceAll(folder))
        return false;
    RemoveOldGenerations(folder);
    bool published = false;
    {
        NewGeneration generation(folder, options.Files());
        bool large = false;
        const bool filled = generation && Fill(generation, fill) && WriteOut(generation, large);
        published = filled && Publish(generation, large);
        if (published)
            qCDebug(logCatalog, "replaced the catalog by that in %s", generation.Folder().c_str());
        else if (!generation.Reason().empty())
            qCInfo(logCatalog, "the catalog cannot be updated, %s", generation.Reason().c_str());
    }
    RemoveOldGenerations(folder);
    return published;
} catch (const std::bad_alloc&) {
    qCInfo(logCatalog, "the catalog cannot be updated, there is not enough memory");
    return OutOfMemory();
}

} // namespace Agent
