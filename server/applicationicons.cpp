// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "applicationicons.h"

#include "base/text.h"
#include "memoryfile.h"
#include "packedfile.h"
#include "png.h"
#include "storefile.h"

#include <apt-pkg/dirstream.h>
#include <apt-pkg/error.h>
#include <apt-pkg/extracttar.h>
#include <apt-pkg/fileutl.h>
#include <climits>
#include <unistd.h>

using namespace Agent;

namespace
{

using Owners = std::multimap<std::string, ArchivePackage*>; // by the names of their icons

// What apt calls for each entry of the archive. Nothing is written to a disk.
class IconStream : public pkgDirStream
{
public:
    IconStream(DebianIndex& index, const std::string& file, const Owners& owners)
        : m_index(index), m_file(file), m_owners(owners)
    {
    }
    bool DoItem(Item& item, int& descriptor) override;
    bool Process(Item&, const unsigned char* data, unsigned long long size,
                 unsigned long long) override
    {
        m_bytes.append(reinterpret_cast<const char*>(data), size);
        return true;
    }
    bool FinishedFile(Item&, int) override;

    std::size_t Count() const { return m_count; }

private:
    void Refuse(const std::string& name, const char* reason)
    {
        LeaveOut(m_index, m_file + ": " + Quoted(name) + ": " + reason);
    }

    DebianIndex& m_index;
    const std::string m_file;
    const Owners& m_owners;
    std::string m_name; // of the icon that is being read; empty for none
    std::string m_bytes;
    std::size_t m_count = 0;
};

// Chooses what happens to the entry: with -1 it is skipped, with -2 Process() gets its bytes.
bool IconStream::DoItem(Item& item, int& descriptor)
{
    descriptor = -1;
    m_name.clear();
    m_bytes.clear();
    const std::string name = item.Name; // without "./"
    if (item.Type == Item::Directory)
        return true;
    if (item.Type != Item::File)
        Refuse(name, "this is not a regular file");
    else if (name.find('/') != std::string::npos)
        Refuse(name, "this is not in the archive's own folder");
    else if (m_owners.count(name) != 0) {
        m_name = name;
        descriptor = -2;
    }
    return true;
}

bool IconStream::FinishedFile(Item&, int)
{
    if (m_name.empty())
        return true;
    if (const char* const fault = PngFault(m_bytes)) {
        Refuse(m_name, fault);
        return true;
    }
    const auto [first, last] = m_owners.equal_range(m_name);
    for (auto owner = first; owner != last; ++owner) {
        m_count += owner->second->picture.empty() ? 1 : 0;
        owner->second->picture = m_bytes;
    }
    return true;
}

} // namespace

// It is unpacked first, so that one that is cut short, or far too large, is noticed at once.
std::size_t AddPictures(DebianIndex& index, const std::string& file)
{
    Owners owners;
    for (auto& [name, package] : index.packages) {
        if (!package.icon.empty())
            owners.emplace(package.icon, &package);
    }
    const Descriptor plain = MemoryFile(ReadPackedFile(file, largestStoreFile));
    FileFd archive;
    IconStream stream(index, file, owners);
    const bool isRead
        = archive.OpenDescriptor(dup(plain.Get()), FileFd::ReadOnly, FileFd::None, true)
        && ExtractTar(archive, ULLONG_MAX, {}).Go(stream);
    std::string reason = "this is not a tar archive";
    while (!_error->empty()) // warnings, too
        _error->PopMessage(reason);
    if (!isRead)
        throw StoreError(file + ": " + reason);
    return stream.Count();
}
