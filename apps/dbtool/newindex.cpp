// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "newindex.h"

#include "report.h"
#include "store/indexfile.h"
#include "store/indexpage.h"

#include <memory>

using namespace Agent;

namespace DbTool
{

namespace
{

// A new index. The page cache exists as long as the object.
class NewIndex
{
public:
    NewIndex(const std::string& path, int keyLength, bool duplicates) : m_path(path)
    {
        if (InitIndex() == 0)
            m_index = MakeIndex(0, path.c_str(), std::int16_t(keyLength), duplicates);
        if (!m_index)
            throw Trouble::Because("cannot write " + path);
    }
    ~NewIndex()
    {
        if (m_index)
            CloseIndex(m_index);
        UnInitIndex();
    }
    NewIndex(const NewIndex&) = delete;
    NewIndex& operator=(const NewIndex&) = delete;

    // False if the index refuses an equal item.
    bool Add(const IndexEntry& entry)
    {
        char key[longestKey + 1];
        const int added = AddKey(m_index, &entry.record, Buffer(entry, key));
        if (added != 0 && GetAccessError() != taNoError)
            throw Trouble::Because("cannot write " + m_path);
        return added == 0;
    }

    std::uint32_t RecordOf(const IndexEntry& entry)
    {
        char key[longestKey + 1];
        std::uint32_t record = 0;
        FindKey(m_index, &record, Buffer(entry, key));
        return record;
    }

    void Close()
    {
        IndexFile* const index = m_index;
        m_index = nullptr;
        if (CloseIndex(index) != 0)
            throw Trouble::Because("cannot write " + m_path);
    }

private:
    static char* Buffer(const IndexEntry& entry, char (&key)[longestKey + 1])
    {
        key[entry.key.copy(key, longestKey)] = 0;
        return key;
    }

    const std::string m_path;
    IndexFile* m_index = nullptr;
};

} // namespace

Findings FillIndex(const std::string& path, int keyLength, bool duplicates,
                   const std::vector<IndexEntry>& entries)
{
    Findings refused;
    NewIndex index(path, keyLength, duplicates);
    for (const IndexEntry& entry : entries)
        if (!index.Add(entry) && refused.size() < mostFindings)
            refused.push_back("the key " + Escaped(entry.key) + " of record " + Number(entry.record)
                              + ", which is that of record " + Number(index.RecordOf(entry))
                              + " too");
    index.Close();
    return refused;
}

} // namespace DbTool
