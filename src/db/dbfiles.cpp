// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/dbfiles.h"

#include "base/wholefile.h"
#include "db/dblayouts.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/storefiles.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>

namespace Agent
{

namespace
{

using Step = int (*)(IndexFile*, std::uint32_t*, char*);

bool SyncPath(StoreFiles& files, const std::string& path, int flags)
{
    const Descriptor opened(open(path.c_str(), flags | O_CLOEXEC));
    return opened && files.Sync(opened.Get()) == 0;
}

// Looks up an item in an index, from a key if the step takes one.
bool Ask(Step step, IndexFile* index, const char* key, std::int32_t* number, char* found)
{
    char buffer[keyRoom] = {};
    std::strncpy(buffer, key, sizeof buffer - 1);
    std::uint32_t record = 0;
    if (!index || step(index, &record, buffer) != 0)
        return false;
    *number = std::int32_t(record);
    if (found)
        std::memcpy(found, buffer, sizeof buffer);
    return true;
}

// Adds or deletes an item. Deleting could return the record it found, which is not needed.
bool Change(Step step, IndexFile* index, std::int32_t number, const char* key)
{
    char buffer[keyRoom] = {};
    std::strncpy(buffer, key, sizeof buffer - 1);
    auto record = std::uint32_t(number);
    return index && step(index, &record, buffer) == 0;
}

} // namespace

// In the order of FileReplacement, with the databases' file system.
bool PutInPlace(StoreFiles& files, const std::string& made, const std::string& name)
{
    return SyncPath(files, made, O_RDONLY) && files.Rename(made.c_str(), name.c_str()) == 0
        && SyncPath(files, FolderOf(name), O_RDONLY | O_DIRECTORY);
}

DbFiles::~DbFiles()
{
    m_gathered = {};
    Close();
}

template <typename OpenData, typename OpenIndex>
bool DbFiles::OpenAll(const std::vector<std::string>& names, OpenData openData, OpenIndex openIndex)
{
    Close();
    m_data = openData(&m_files, names[0].c_str(), m_layout.recordLength);
    bool open = m_data != nullptr;
    for (int i = 0; open && i < m_layout.indexCount; ++i) {
        const IndexLayout& layout = m_layout.indexes[i];
        IndexFile*& index = m_indexes[std::size_t(i)];
        index = openIndex(&m_files, names[std::size_t(i) + 1].c_str(), layout.keyLength,
                          layout.allowDuplicates);
        open = index != nullptr;
    }
    return open;
}

bool DbFiles::Open(const std::vector<std::string>& names)
{
    return OpenAll(names, OpenOwnDataFile, OpenOwnIndex);
}

bool DbFiles::Create(const std::vector<std::string>& names)
{
    return OpenAll(names, MakeOwnDataFile, MakeOwnIndex);
}

bool DbFiles::Close()
{
    for (int i = 0; i < m_layout.indexCount; ++i)
        Settle(i);
    bool closed = (!m_data || CloseDataFile(m_data) == 0) && !m_lost;
    m_data = nullptr;
    m_lost = false;
    for (IndexFile*& index : m_indexes) {
        if (index && CloseIndex(index) != 0)
            closed = false;
        index = nullptr;
    }
    return closed;
}

void DbFiles::GatherKeys()
{
    for (int i = 0; i < m_layout.indexCount; ++i) {
        const IndexLayout& layout = m_layout.indexes[i];
        m_gathered[std::size_t(i)]
            = std::make_unique<NewKeys>(layout.keyLength, layout.allowDuplicates);
    }
}

// Writes the index if its keys are still gathered.
void DbFiles::Settle(int which, const std::function<void()>& meanwhile) const
{
    const std::unique_ptr<NewKeys> keys = std::move(m_gathered[std::size_t(which)]);
    if (!keys)
        return;
    IndexFile* const index = m_indexes[std::size_t(which)];
    const std::int32_t error = taerror;
    if (!index || keys->Write(index, meanwhile) != 0)
        m_lost = true;
    else
        SetError(error);
}

void DbFiles::WriteGathered(const Beside& beside, const std::function<void()>& meanwhile)
{
    constexpr std::size_t many = 5000; // keys, which take a few milliseconds to sort
    for (int i = 0; i < m_layout.indexCount; ++i) {
        NewKeys* const keys = m_gathered[std::size_t(i)].get();
        if (keys && keys->Count() > many)
            beside([keys] { keys->Sort(); });
        Settle(i, meanwhile);
    }
}

// With flushing each change re-reads the headers first and is written at once, so that
// several processes can take turns.
bool DbFiles::BeginFlushing()
{
    bool done = m_data != nullptr;
    if (done)
        ToggleFlushing(m_data, 1, 0);
    done = done && taerror == taNoError;
    for (int i = 0; done && i < m_layout.indexCount; ++i) {
        done = Index(i) != nullptr;
        if (done)
            ToggleFlushing(Index(i), 1, 1);
        done = done && taerror == taNoError;
    }
    return done;
}

bool DbFiles::Refresh()
{
    bool done = m_data && TaOpenFile(m_data) == 0;
    for (int i = 0; done && i < m_layout.indexCount; ++i)
        done = Refresh(i);
    return done;
}

bool DbFiles::Refresh(int which)
{
    return Index(which) && TaOpenIndex(Index(which)) == 0;
}

bool DbFiles::ReopenIndexes(const std::vector<std::string>& names)
{
    // Read first: outdated content must not be written.
    if (!m_data || TaOpenFile(m_data) != 0)
        return false;
    ToggleFlushing(m_data, 1, 0);
    if (taerror != taNoError)
        return false;
    for (int i = 0; i < m_layout.indexCount; ++i) {
        CloseOne(i);
        Reopen(i, names[std::size_t(i) + 1]);
    }
    return true;
}

void DbFiles::CloseOne(int which)
{
    Settle(which);
    IndexFile*& index = m_indexes[std::size_t(which)];
    if (index)
        CloseIndex(index);
    index = nullptr;
}

bool DbFiles::Reopen(int which, const std::string& name)
{
    const IndexLayout& layout = m_layout.indexes[which];
    IndexFile* const index
        = OpenOwnIndex(&m_files, name.c_str(), layout.keyLength, layout.allowDuplicates);
    m_indexes[std::size_t(which)] = index;
    if (index)
        ToggleFlushing(index, 1, 1);
    if (index && taerror != taNoError)
        CloseOne(which);
    return Index(which) != nullptr;
}

bool DbFiles::ReplaceIndex(int which, const std::string& made, const std::string& name)
{
    // Before the new file gets the name, since closing may write to that name.
    CloseOne(which);
    return PutInPlace(m_files, made, name) && Reopen(which, name);
}

bool DbFiles::Read(std::int32_t number, std::uint8_t* record) const
{
    m_record.resize(std::size_t(m_layout.recordLength));
    if (!m_data || number < 1 || GetRec(m_data, std::uint32_t(number), m_record.data()) != 0
        || !IsLive(m_record.data()))
        return false;
    std::copy(m_record.begin(), m_record.end(), record);
    return true;
}

bool DbFiles::Append(const std::uint8_t* record, std::int32_t* number)
{
    std::uint32_t added = 0;
    if (!m_data || AddRec(m_data, &added, record) != 0)
        return false;
    *number = std::int32_t(added);
    return true;
}

bool DbFiles::AppendAll(const std::vector<std::uint8_t>& records, std::int32_t* first)
{
    const auto count = std::uint32_t(records.size() / std::size_t(m_layout.recordLength));
    std::uint32_t added = 0;
    if (!m_data || FirstRec(m_data) != FileLen(m_data)
        || AddBigRec(m_data, &added, records.data(), count) != 0)
        return false;
    *first = std::int32_t(added);
    return true;
}

bool DbFiles::Write(std::int32_t number, const std::uint8_t* record)
{
    return m_data && number >= 1 && PutRec(m_data, std::uint32_t(number), record) == 0;
}

bool DbFiles::Remove(std::int32_t number)
{
    return m_data && number >= 1 && DeleteRec(m_data, std::uint32_t(number)) == 0;
}

bool DbFiles::AddKey(int which, std::int32_t number, const char* key, bool isNew)
{
    if (NewKeys* const keys = m_gathered[std::size_t(which)].get())
        return keys->Add(key, std::uint32_t(number), isNew) == 0;
    const auto add = [](IndexFile* index, std::uint32_t* record, char* text) {
        return ::AddKey(index, record, text);
    };
    return Change(add, Index(which), number, key);
}

bool DbFiles::DeleteKey(int which, std::int32_t number, const char* key)
{
    return Change(::DeleteKey, Index(which), number, key);
}

bool DbFiles::Search(int which, const char* key, std::int32_t* number, char* found) const
{
    return Ask(SearchKey, Index(which), key, number, found);
}

bool DbFiles::Find(int which, const char* key, std::int32_t* number) const
{
    return Ask(FindKey, Index(which), key, number, nullptr);
}

bool DbFiles::FindBelow(int which, const char* key, std::int32_t* number, char* found) const
{
    return Ask(FindPrevKey, Index(which), key, number, found);
}

bool DbFiles::Next(int which, std::int32_t* number, char* found) const
{
    char unwanted[keyRoom];
    std::uint32_t record = 0;
    if (!Index(which) || NextKey(Index(which), &record, found ? found : unwanted) != 0)
        return false;
    *number = std::int32_t(record);
    return true;
}

} // namespace Agent
