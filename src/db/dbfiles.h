// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The files of one database, open together: its data file and the indexes over it. An
// operation fails if a file that it needs is not open.

#pragma once

#include "store/newkeys.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct DataFile;
struct IndexFile;

namespace Agent
{

struct DbLayout;
class StoreFiles;

// Renames a new file over the one that it replaces, and has both on the disk. False if a step
// fails; the old file is still there unless that is the last one.
bool PutInPlace(StoreFiles& files, const std::string& made, const std::string& name);

class DbFiles
{
public:
    // The file system, in which all files are opened, must outlive the object.
    DbFiles(const DbLayout& layout, StoreFiles& files) : m_layout(layout), m_files(files) { }
    // Gathered keys are dropped.
    ~DbFiles();
    DbFiles(const DbFiles&) = delete;
    DbFiles& operator=(const DbFiles&) = delete;

    // `names`: those of the data file and of the indexes, in their order. Ends at the
    // first one that fails, and those before it stay open.
    bool Open(const std::vector<std::string>& names);
    // The same with new, empty files, which replace existing ones.
    bool Create(const std::vector<std::string>& names);
    // False when something could not be written.
    bool Close();

    // For new files that nobody else uses until they are closed: added keys are gathered in
    // memory, and an index is written at once, as soon as anything else needs it, but on
    // closing at the latest.
    void GatherKeys();
    bool IsGathering(int which) const { return m_gathered[std::size_t(which)] != nullptr; }
    // Writes all of them. `beside` runs work that touches nothing else, such as in a thread, and
    // returns when it is done; `meanwhile` is called now and then.
    using Beside = std::function<void(const std::function<void()>& work)>;
    void WriteGathered(const Beside& beside, const std::function<void()>& meanwhile);

    // For files that others may change: each change first re-reads the files, and is
    // written at once. False unless all are open.
    bool BeginFlushing();
    // Re-reads what another handle may have changed, in all files or in one index. An
    // index forgets its position. False when a file is not open.
    bool Refresh();
    bool Refresh(int which);
    // Reopens the indexes and switches flushing on; those that do not open stay closed.
    // False when the data file is not open or cannot be read.
    bool ReopenIndexes(const std::vector<std::string>& names);
    // Closes an index, replaces it by the index file `made` and opens that.
    bool ReplaceIndex(int which, const std::string& made, const std::string& name);

    StoreFiles& Files() const { return m_files; }
    // Null while it is not open.
    DataFile* Data() const { return m_data; }
    IndexFile* Index(int which) const
    {
        Settle(which);
        return m_indexes[std::size_t(which)];
    }

    // Reads a live record; `record` stays as it is on failure.
    bool Read(std::int32_t number, std::uint8_t* record) const;
    // Store a new record, overwrite an existing one, and remove one.
    bool Append(const std::uint8_t* record, std::int32_t* number);
    // Several new ones in one transfer, with numbers from *first on. False, with
    // nothing stored, when there are deleted records, which must be reused first.
    bool AppendAll(const std::vector<std::uint8_t>& records, std::int32_t* first);
    bool Write(std::int32_t number, const std::uint8_t* record);
    bool Remove(std::int32_t number);

    // `isNew`: no item with this key is there, which makes gathering it cheaper.
    bool AddKey(int which, std::int32_t number, const char* key, bool isNew = false);
    bool DeleteKey(int which, std::int32_t number, const char* key);
    // The first item not below `key`; the item itself; the last item below it.
    // `found` has keyRoom bytes and becomes the item's key; it may be null.
    bool Search(int which, const char* key, std::int32_t* number, char* found = nullptr) const;
    bool Find(int which, const char* key, std::int32_t* number) const;
    bool FindBelow(int which, const char* key, std::int32_t* number, char* found) const;
    // One item further than the last lookup in that index.
    bool Next(int which, std::int32_t* number, char* found = nullptr) const;

private:
    void Settle(int which, const std::function<void()>& meanwhile = {}) const;
    void CloseOne(int which);
    bool Reopen(int which, const std::string& name);
    template <typename OpenData, typename OpenIndex>
    bool OpenAll(const std::vector<std::string>& names, OpenData openData, OpenIndex openIndex);

    const DbLayout& m_layout;
    StoreFiles& m_files;
    DataFile* m_data = nullptr;
    std::array<IndexFile*, 4> m_indexes{}; // as many as the layout names
    // Keys that are not in their index yet, and whether some could not be written.
    mutable std::array<std::unique_ptr<NewKeys>, 4> m_gathered;
    mutable bool m_lost = false;
    mutable std::vector<std::uint8_t> m_record; // read last, or being read
};

} // namespace Agent
