// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/storecheck.h"

#include "store/bytes.h"
#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/notesheap.h"
#include "store/recordblocks.h"
#include "store/storefiles.h"

#include <algorithm>
#include <fcntl.h>
#include <set>
#include <strings.h>

namespace Agent
{

namespace
{

constexpr std::size_t mostFindings = 100;

std::string Number(std::int64_t number)
{
    return std::to_string(number);
}

// The findings so far.
class Report
{
public:
    void Add(const std::string& what)
    {
        if (m_findings.size() < mostFindings)
            m_findings.push_back(what);
    }
    void AddAll(const Findings& findings)
    {
        for (const std::string& what : findings)
            Add(what);
    }
    Findings Take() { return std::move(m_findings); }

private:
    Findings m_findings;
};

// Reads the header; false with the reason in the report.
bool CheckHeader(RecordBlocks& records, Report* report, DataFileHeader* header)
{
    const std::uint8_t* const record = records.Read(0);
    if (!record) {
        report->Add("the file has no header that can be read");
        return false;
    }
    *header = ReadDataFileHeader(record);
    if (strncasecmp(header->version, VERSION, sizeof header->version) != 0)
        report->Add(std::string("the header's version is not ") + VERSION);
    // Records are written before the header that counts them.
    else if (header->recordCount > records.Count())
        report->Add("the header counts " + Number(header->recordCount)
                    + " records, the file has only " + Number(records.Count()));
    return true;
}

// The records in the chain of deleted ones. Stops at the first record that cannot be part of
// it, so a circular chain ends as well.
std::vector<bool> CheckFreeChain(RecordBlocks& records, const DataFileHeader& header,
                                 Report* report)
{
    std::vector<bool> isFree(std::size_t(records.Count()));
    std::int64_t links = 0;
    std::int32_t before = 0;
    for (std::int32_t at = header.firstFree; at != -1; ++links) {
        const std::string from = before == 0 ? "the header" : "deleted record " + Number(before);
        if (at <= 0 || at >= records.Count()) {
            report->Add("the chain of deleted records leads from " + from + " to record "
                        + Number(at) + ", which is not in the file");
            return isFree;
        }
        if (isFree[std::size_t(at)]) {
            report->Add("the chain of deleted records leads from " + from + " back to record "
                        + Number(at));
            return isFree;
        }
        const std::uint8_t* const record = records.Read(at);
        if (!record) {
            report->Add("record " + Number(at) + " cannot be read");
            return isFree;
        }
        const std::int32_t next = GetInt32(record);
        if (next == 0) {
            report->Add("the chain of deleted records leads from " + from + " to record "
                        + Number(at) + ", which is not deleted");
            return isFree;
        }
        isFree[std::size_t(at)] = true;
        before = at;
        at = next;
    }
    if (links != header.deletedCount)
        report->Add("the header counts " + Number(header.deletedCount)
                    + " deleted records, their chain has " + Number(links));
    return isFree;
}

// Checks the pages of one index from the root down. It visits each page at most once, so it
// ends for any damage. The order of items is checked along the whole walk and not page by
// page: pages that are sound by themselves may contradict each other.
class TreeCheck
{
public:
    TreeCheck(RecordBlocks& records, int keyLength, bool allowDuplicates, std::vector<bool> isFree,
              std::vector<IndexEntry>* entries, Report* report)
        : m_records(records), m_keyLength(keyLength), m_allowDuplicates(allowDuplicates),
          m_isFree(std::move(isFree)), m_isReached(m_isFree.size()), m_entries(entries),
          m_report(report)
    {
    }

    void Run(std::uint32_t root)
    {
        if (root != 0)
            Visit(root, 1, "the header");
        for (std::size_t number = 1; number < m_isReached.size(); ++number)
            if (!m_isReached[number] && !m_isFree[number])
                m_report->Add("page " + Number(std::int64_t(number))
                              + " is neither in the tree nor free");
    }

private:
    void Visit(std::uint32_t number, int depth, const std::string& from)
    {
        const std::string name = "page " + Number(number);
        IndexPage page;
        if (!Enter(number, depth, from) || !ReadPage(number, &page))
            return;
        if (depth > 1 && page.count < pageOrder)
            m_report->Add(name + " has only " + Number(page.count) + " items");
        if (page.leftmost == 0)
            CheckLeafDepth(name, depth);
        for (int i = 0; i <= page.count; ++i) {
            if (i > 0)
                VisitItem(name, i, page.items[i]);
            if (page.leftmost != 0)
                Visit(page.Child(i), depth + 1, name);
        }
    }

    bool Enter(std::uint32_t number, int depth, const std::string& from)
    {
        const std::string way = from + " leads to page " + Number(number);
        if (number == 0 || number >= m_isReached.size())
            return Refuse(way + ", which is not in the file");
        if (m_isReached[number])
            return Refuse(way + ", which is in the tree already");
        m_isReached[number] = true;
        if (m_isFree[number])
            return Refuse(way + ", which is free");
        if (depth > deepestTree)
            return Refuse(way + ", which is too deep");
        return true;
    }

    bool ReadPage(std::uint32_t number, IndexPage* page)
    {
        const std::string name = "page " + Number(number);
        const std::uint8_t* const bytes = m_records.Read(number);
        if (!bytes)
            return Refuse(name + " cannot be read");
        if (bytes[0] == 0 || bytes[0] > pageItems)
            return Refuse(name + " says that it has " + Number(bytes[0]) + " items");
        const auto pages = std::uint32_t(m_isReached.size());
        if (!UnpackPage(bytes, m_keyLength, pages, page))
            return Refuse(name
                          + " has a child outside the file, children on some sides only, "
                            "or a key without an end");
        return true;
    }

    void CheckLeafDepth(const std::string& name, int depth)
    {
        if (m_leafDepth == 0)
            m_leafDepth = depth;
        if (depth != m_leafDepth)
            m_report->Add(name + " is a leaf at depth " + Number(depth) + ", others are at depth "
                          + Number(m_leafDepth));
    }

    void VisitItem(const std::string& page, int position, const IndexItem& item)
    {
        if (m_hasBefore
            && tacompkeys(m_before.key, item.key, m_before.record, item.record, m_allowDuplicates)
                >= 0)
            m_report->Add("item " + Number(position) + " of " + page
                          + " does not come after the one before it in the tree");
        m_before = item;
        m_hasBefore = true;
        if (m_entries)
            m_entries->push_back({ item.key, item.record });
    }

    bool Refuse(const std::string& why)
    {
        m_report->Add(why);
        return false;
    }

    RecordBlocks& m_records;
    const int m_keyLength;
    const bool m_allowDuplicates;
    const std::vector<bool> m_isFree;
    std::vector<bool> m_isReached;
    std::vector<IndexEntry>* const m_entries;
    Report* const m_report;
    int m_leafDepth = 0;
    bool m_hasBefore = false;
    IndexItem m_before{};
};

using FreeList = std::set<std::pair<std::int64_t, std::int64_t>>; // capacity, offset

FreeList FreeBlocks(const BlockChain& chain)
{
    FreeList blocks;
    for (const Block& block : chain.blocks)
        if (block.header.status == blockFree)
            blocks.emplace(block.header.length - blockHeaderLength, block.offset);
    return blocks;
}

// Whether a listed block's first byte, its status, was overwritten by the last byte of
// the header of the 7-byte block before it.
bool IsHidden(const BlockChain& chain, std::int64_t offset)
{
    const std::int64_t before = offset - smallestBlock;
    const auto at = std::lower_bound(
        chain.blocks.begin(), chain.blocks.end(), before,
        [](const Block& block, std::int64_t where) { return block.offset < where; });
    return at != chain.blocks.end() && at->offset == before && at->header.length == smallestBlock;
}

std::string BlockName(const FreeList::value_type& block)
{
    return "the block of capacity " + Number(block.first) + " at offset " + Number(block.second);
}

void CompareFreeSpace(const BlockChain& chain, const FreeList& listed, Report* report)
{
    const FreeList inHeap = FreeBlocks(chain);
    for (const auto& block : listed) {
        if (inHeap.count(block) > 0)
            continue;
        if (IsHidden(chain, block.second))
            report->Add(BlockName(block)
                        + " is free, but the header of the 7-byte block before "
                          "it has made it look in use");
        else
            report->Add(BlockName(block) + " is listed as free and is not");
    }
    for (const auto& block : inHeap)
        if (listed.count(block) == 0)
            report->Add(BlockName(block) + " is free and not listed");
}

} // namespace

Findings CheckDataFile(const std::string& path, int recordLength, StoreFiles* files)
{
    Report report;
    RecordBlocks records(path, recordLength, files);
    DataFileHeader header;
    if (!CheckHeader(records, &report, &header))
        return report.Take();
    const std::vector<bool> isFree = CheckFreeChain(records, header, &report);
    for (std::int64_t number = 1; number < records.Count(); ++number) {
        const std::uint8_t* const record = records.Read(number);
        if (!record)
            report.Add("record " + Number(number) + " cannot be read");
        else if (!isFree[std::size_t(number)] && GetInt32(record) != 0)
            report.Add("record " + Number(number) + " is deleted, but in no chain");
    }
    return report.Take();
}

Findings CheckIndex(const std::string& path, int keyLength, bool allowDuplicates,
                    std::vector<IndexEntry>* entries, StoreFiles* files)
{
    Report report;
    RecordBlocks records(path, PackedLength(keyLength), files);
    DataFileHeader header;
    if (!CheckHeader(records, &report, &header))
        return report.Take();
    const std::vector<bool> isFree = CheckFreeChain(records, header, &report);
    TreeCheck(records, keyLength, allowDuplicates, isFree, entries, &report)
        .Run(std::uint32_t(header.rootPage));
    return report.Take();
}

Findings CheckNotes(const std::string& name)
{
    Report report;
    OpenStoreFile heap((name + ".fil").c_str(), O_RDONLY | O_NONBLOCK, 0);
    if (!heap) {
        report.Add("the heap file cannot be opened");
        return report.Take();
    }
    const BlockChain chain = WalkBlocks(heap);
    if (!chain.whole)
        report.Add("there is no sound block at offset " + Number(chain.end));
    for (const Block& block : chain.blocks)
        if (IsTooLong(block.header))
            report.Add("the block at offset " + Number(block.offset) + " has "
                       + Number(block.header.length) + " bytes, more than a note may have");
    std::vector<IndexEntry> entries;
    report.AddAll(CheckIndex(name + ".k1", freeKeyLength, true, &entries));
    FreeList listed;
    for (const IndexEntry& entry : entries)
        listed.emplace(std::strtol(entry.key.c_str(), nullptr, 10), entry.record);
    CompareFreeSpace(chain, listed, &report);
    return report.Take();
}

} // namespace Agent
