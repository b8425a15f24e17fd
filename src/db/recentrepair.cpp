// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/recentrepair.h"

#include "db/dbfiles.h"
#include "db/dblayouts.h"
#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/ownfiles.h"
#include "store/storecheck.h"
#include "util/logdb.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

namespace Agent
{

namespace
{

constexpr int indexCount = Recent::layout.indexCount;
enum KeyNumber { byTime, byDescription, bySerial };

struct Below {
    bool operator()(const std::string& a, const std::string& b) const
    {
        return tacompkeys(a.c_str(), b.c_str(), 0, 0, 0) < 0;
    }
};

using Record = std::vector<std::uint8_t>;
using Numbers = std::vector<std::int32_t>;
// The keys of an index, each with the records that have it. There is more than one only
// after a refused update.
using Wanted = std::map<std::string, Numbers, Below>;

std::string KeyOf(const Record& record, int which)
{
    char key[keyRoom];
    Recent::MakeKey(record.data(), which, key);
    return key;
}

std::int32_t SerialOf(const Record& record)
{
    return GetInt32(record.data() + Recent::serverSerialNumber);
}

std::int32_t TimeOf(const Record& record)
{
    return GetInt32(record.data() + Recent::lastAccessed);
}

// The records are the truth. First they are made unambiguous: each product keeps only the
// item used last, and of several items with one name all but one get their serial number
// appended. Then each index is compared with the keys that the records should have, and
// rebuilt in a new file if anything differs. Each step is written before the next begins, so
// an interrupted repair can simply be repeated.
class ListRepair
{
public:
    ListRepair(DbFiles& files, const std::vector<std::string>& names)
        : m_files(files), m_names(names)
    {
    }

    bool Run()
    {
        // An interrupted removal leaves a record whose number is not reused.
        if (!CheckDataFile(m_names[0], Recent::layout.recordLength, &m_files.Files()).empty())
            FixHeader(m_files.Data());
        if (!ReadItems())
            return false;
        ReadIndexes();
        if (!RemoveCopies() || !RenameTwins())
            return false;
        for (int which = 0; which < indexCount; ++which) {
            const Wanted wanted = WantedKeys(which);
            if (!Agrees(which, wanted) && !MakeAgain(which, wanted))
                return false;
        }
        return true;
    }

private:
    struct Index {
        bool sound = false;
        std::vector<IndexEntry> entries;
    };

    bool ReadItems()
    {
        const std::uint32_t count = FileLen(m_files.Data());
        if (count == 0)
            return false;
        Record record(std::size_t(Recent::layout.recordLength));
        for (std::uint32_t number = 1; number < count; ++number) {
            if (GetRec(m_files.Data(), number, record.data()) != 0)
                return false;
            for (const TextField text : Recent::texts)
                EndText(record.data(), text);
            if (IsLive(record.data()))
                m_items[std::int32_t(number)] = record;
        }
        return true;
    }

    void ReadIndexes()
    {
        for (int which = 0; which < indexCount; ++which) {
            Index& index = m_indexes[which];
            index.sound = m_files.Index(which)
                && CheckIndex(m_names[std::size_t(which) + 1],
                              Recent::layout.indexes[which].keyLength, false, &index.entries,
                              &m_files.Files())
                       .empty();
        }
    }

    // The record that an index has under a key, or 0.
    std::int32_t Holder(int which, const std::string& key) const
    {
        for (const IndexEntry& entry : m_indexes[which].entries)
            if (SameText(entry.key.c_str(), key.c_str()))
                return std::int32_t(entry.record);
        return 0;
    }

    // Of several records with one key, the one in the index, or else the first.
    std::int32_t Rightful(int which, const std::string& key, const Numbers& numbers) const
    {
        const std::int32_t holder = numbers.size() > 1 ? Holder(which, key) : 0;
        const bool isOne = std::find(numbers.begin(), numbers.end(), holder) != numbers.end();
        return isOne ? holder : numbers.front();
    }

    Wanted WantedKeys(int which) const
    {
        Wanted wanted;
        for (const auto& [number, record] : m_items)
            wanted[KeyOf(record, which)].push_back(number);
        return wanted;
    }

    // A second item of one product was left by refused recordings.
    bool RemoveCopies()
    {
        for (const auto& [key, numbers] : WantedKeys(bySerial)) {
            const auto isNewer = [this](std::int32_t a, std::int32_t b) {
                return TimeOf(m_items[a]) < TimeOf(m_items[b]);
            };
            const std::int32_t last = *std::max_element(numbers.rbegin(), numbers.rend(), isNewer);
            for (const std::int32_t number : numbers) {
                if (number == last || SerialOf(m_items[number]) <= 0)
                    continue;
                if (!m_files.Remove(number))
                    return false;
                m_items.erase(number);
            }
        }
        return true;
    }

    bool RenameTwins()
    {
        const Wanted wanted = WantedKeys(byDescription);
        for (const auto& [key, numbers] : wanted) {
            const std::int32_t rightful = Rightful(byDescription, key, numbers);
            for (const std::int32_t number : numbers)
                if (number != rightful && !Rename(number, wanted))
                    return false;
        }
        return true;
    }

    bool Rename(std::int32_t number, const Wanted& taken)
    {
        Record& record = m_items[number];
        const std::string name
            = Recent::WithSerial(GetText(record.data(), Recent::description), SerialOf(record));
        if (SerialOf(record) <= 0 || taken.count(name) > 0)
            return true;
        SetText(record.data(), Recent::description, name.c_str());
        return m_files.Write(number, record.data());
    }

    bool Agrees(int which, const Wanted& wanted) const
    {
        const Index& index = m_indexes[which];
        const auto belongs = [&wanted](const IndexEntry& entry) {
            const auto at = wanted.find(entry.key);
            return at != wanted.end()
                && std::count(at->second.begin(), at->second.end(), std::int32_t(entry.record)) > 0;
        };
        return index.sound && index.entries.size() == wanted.size()
            && std::all_of(index.entries.begin(), index.entries.end(), belongs);
    }

    bool MakeAgain(int which, const Wanted& wanted)
    {
        const std::string& name = m_names[std::size_t(which) + 1];
        const std::string made = name + ".new";
        qCInfo(logDb, "making %s again", name.c_str());
        const bool done = Make(which, wanted, made) && m_files.ReplaceIndex(which, made, name);
        std::remove(made.c_str());
        if (!done)
            qCInfo(logDb, "cannot make %s again, error %d", name.c_str(), int(taerror));
        return done;
    }

    bool Make(int which, const Wanted& wanted, const std::string& path) const
    {
        IndexFile* const index = MakeOwnIndex(&m_files.Files(), path.c_str(),
                                              Recent::layout.indexes[which].keyLength, false);
        bool done = index != nullptr;
        for (const auto& [key, numbers] : wanted) {
            const auto number = std::uint32_t(Rightful(which, key, numbers));
            char text[keyRoom];
            std::strcpy(text, key.c_str());
            done = done && AddKey(index, &number, text) == 0;
        }
        return index && CloseIndex(index) == 0 && done;
    }

    DbFiles& m_files;
    const std::vector<std::string>& m_names;
    std::map<std::int32_t, Record> m_items;
    Index m_indexes[indexCount];
};

} // namespace

bool RepairRecentList(DbFiles& files, const std::vector<std::string>& names)
{
    return ListRepair(files, names).Run();
}

} // namespace Agent
