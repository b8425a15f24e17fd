// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Notes.

#include "newindex.h"
#include "recordfile.h"
#include "report.h"
#include "store/notesheap.h"
#include "store/storefiles.h"
#include "subject.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <set>

using namespace Agent;

namespace DbTool
{

namespace
{

using FreeBlock = std::pair<std::int64_t, std::int64_t>; // offset, length
using FreeBlocks = std::set<FreeBlock>;

class NotesSubject : public Subject
{
public:
    explicit NotesSubject(const Options& options)
        : m_options(options), m_heapPath(options.path + ".fil"), m_listPath(options.path + ".k1")
    {
        RequireFile(m_heapPath);
        // A missing list can be rebuilt.
        if (DoesFileExist(0, m_listPath.c_str()))
            RequireFile(m_listPath);
    }

    int Info() override;
    int Dump() override;
    int Check() override { return PrintFindings(m_options.path, CheckNotes(m_options.path)); }
    int Repair() override;

private:
    const Options m_options;
    const std::string m_heapPath;
    const std::string m_listPath;
};

// The blocks in the list of free ones; nothing if the list is damaged.
FreeBlocks ListedBlocks(const std::string& path)
{
    std::vector<IndexEntry> entries;
    FreeBlocks listed;
    if (!CheckIndex(path, freeKeyLength, true, &entries).empty())
        return listed;
    for (const IndexEntry& entry : entries)
        listed.emplace(entry.record,
                       std::strtol(entry.key.c_str(), nullptr, 10) + blockHeaderLength);
    return listed;
}

FreeBlocks FreeBlocksOf(const BlockChain& chain)
{
    FreeBlocks blocks;
    for (const Block& block : chain.blocks)
        if (block.header.status == blockFree)
            blocks.emplace(block.offset, block.header.length);
    return blocks;
}

class Heap
{
public:
    explicit Heap(const std::string& path, int flags = O_RDONLY)
        : m_path(path), m_file(path.c_str(), flags, 0)
    {
        if (!m_file)
            throw Trouble::Because("cannot read " + path);
    }

    OpenStoreFile& File() { return m_file; }
    BlockChain Walk() { return WalkBlocks(m_file); }

    std::string Text(const Block& block)
    {
        std::string text(std::size_t(block.header.length - blockHeaderLength - block.header.slack),
                         '\0');
        if (!m_file.ReadAt(block.offset + blockHeaderLength, text.data(), text.size()))
            throw Trouble::Because("cannot read " + m_path);
        return text;
    }

    // Whether a block from the list had its status overwritten by the header of a block of
    // 7 bytes before it: a header has 8 bytes.
    bool IsHidden(const FreeBlock& listed)
    {
        const auto [offset, length] = listed;
        BlockHeader header, before;
        return offset >= smallestBlock && offset + length <= m_file.Size()
            && ReadBlockHeader(m_file, offset, &header)
            && ReadBlockHeader(m_file, offset - smallestBlock, &before)
            && header.status == blockInUse && header.reserved == 0 && header.slack <= mostSlack
            && header.length == length && before.status == blockFree && before.reserved == 0
            && before.length == smallestBlock;
    }

    void SetStatus(const FreeBlock& block, std::uint8_t status)
    {
        if (!m_file.WriteAt(block.first, &status, 1))
            throw Trouble::Because("cannot write " + m_path);
    }

private:
    const std::string m_path;
    OpenStoreFile m_file;
};

int NotesSubject::Info()
{
    Heap heap(m_heapPath);
    const BlockChain chain = heap.Walk();
    std::int64_t used = 0, usedBytes = 0, freeBytes = 0, slack = 0, smallest = 0, blockBytes = 0;
    for (const Block& block : chain.blocks) {
        const bool isUsed = block.header.status == blockInUse;
        blockBytes += block.header.length;
        used += isUsed;
        (isUsed ? usedBytes : freeBytes) += block.header.length;
        slack += isUsed ? block.header.slack : 0;
        smallest += block.header.length == smallestBlock;
    }
    const auto blocks = std::int64_t(chain.blocks.size());
    PrintField("files", m_heapPath + ", " + m_listPath);
    PrintField("kind", "notes");
    PrintField("size", Count(heap.File().Size(), "byte"));
    PrintField("texts",
               Number(used) + ", " + Count(usedBytes - used * blockHeaderLength - slack, "byte"));
    PrintField("slack", Count(slack, "byte"));
    PrintField("free blocks", Number(blocks - used) + ", " + Count(freeBytes, "byte"));
    PrintField("of 7 bytes", Number(smallest));
    PrintField("stray bytes", Number(chain.end - blockBytes));
    PrintField("listed", Number(std::int64_t(ListedBlocks(m_listPath).size())));
    return PrintCondition(CheckNotes(m_options.path));
}

int NotesSubject::Dump()
{
    Heap heap(m_heapPath);
    const FreeBlocks listed = ListedBlocks(m_listPath);
    for (const Block& block : heap.Walk().blocks) {
        const FreeBlock name(block.offset, block.header.length);
        const bool isFree = block.header.status == blockFree;
        const bool isHidden = !isFree && listed.count(name) > 0 && heap.IsHidden(name);
        std::printf("%lld\t%s\t%d\t%s\n", static_cast<long long>(block.offset),
                    isFree         ? "free"
                        : isHidden ? "hidden"
                                   : "used",
                    block.header.length,
                    isFree || isHidden ? "" : Escaped(heap.Text(block)).c_str());
    }
    return ComplainOfFindings(m_options.path, CheckNotes(m_options.path));
}

void CopyFile(const std::string& from, const std::string& to)
{
    OpenStoreFile source(from.c_str(), O_RDONLY, 0);
    OpenStoreFile target(to.c_str());
    if (!source || !target)
        throw Trouble::Because("cannot copy " + from);
    std::vector<char> piece(1 << 20);
    const off_t size = source.Size();
    for (off_t at = 0; at < size;) {
        const auto more = std::size_t(std::min<off_t>(size - at, off_t(piece.size())));
        if (!source.ReadAt(at, piece.data(), more) || !target.WriteAt(at, piece.data(), more))
            throw Trouble::Because("cannot copy " + from);
        at += off_t(more);
    }
}

// Marks hidden blocks as free again, and undoes that if the whole list does not agree with
// the heap then: a list older than the heap might name a block that holds a text by now.
void RestoreHidden(Heap& heap, const FreeBlocks& listed, RepairReport* report)
{
    std::vector<FreeBlock> hidden;
    for (const FreeBlock& block : listed)
        if (heap.IsHidden(block))
            hidden.push_back(block);
    for (const FreeBlock& block : hidden)
        heap.SetStatus(block, blockFree);
    const FreeBlocks inHeap = FreeBlocksOf(heap.Walk());
    const bool isTrue = std::includes(inHeap.begin(), inHeap.end(), listed.begin(), listed.end());
    for (const FreeBlock& block : hidden) {
        const std::string name = "the hidden block at offset " + Number(block.first);
        report->done.push_back(name
                               + (isTrue ? " is free again"
                                         : " stays in use: the list of "
                                           "free blocks is not to be "
                                           "trusted"));
        if (!isTrue)
            heap.SetStatus(block, blockInUse);
    }
}

// The last block before a break is not listed: its length may be what is wrong.
std::vector<IndexEntry> NewList(const BlockChain& chain)
{
    std::vector<IndexEntry> entries;
    const std::size_t trusted = chain.blocks.size() - (chain.whole || chain.blocks.empty() ? 0 : 1);
    for (std::size_t i = 0; i < trusted; ++i) {
        const Block& block = chain.blocks[i];
        char key[freeKeyLength + 16];
        std::snprintf(key, sizeof key, "%9ld", long(block.header.length) - blockHeaderLength);
        if (block.header.status == blockFree)
            entries.push_back({ key, std::uint32_t(block.offset) });
    }
    return entries;
}

int NotesSubject::Repair()
{
    RepairReport report;
    NewFile heapFile(m_options.output, ".fil");
    NewFile listFile(m_options.output, ".k1");
    report.NoteLink(m_heapPath);
    report.NoteLink(m_listPath);
    CopyFile(m_heapPath, heapFile.Path());
    Heap heap(heapFile.Path(), O_RDWR);
    RestoreHidden(heap, ListedBlocks(m_listPath), &report);
    const BlockChain chain = heap.Walk();
    const std::vector<IndexEntry> entries = NewList(chain);
    FillIndex(listFile.Path(), freeKeyLength, true, entries);
    report.done.push_back(Count(std::int64_t(entries.size()), "free block") + " listed");
    if (!chain.whole)
        report.missing.push_back("the row of blocks breaks off at offset " + Number(chain.end)
                                 + ": all bytes are there, but free blocks from there on are "
                                   "not listed");
    else
        for (const std::string& what : CheckNotes(heapFile.Base()))
            report.missing.push_back("in the new files " + what);
    return report.Finish(m_options.partial, { &heapFile, &listFile });
}

} // namespace

std::unique_ptr<Subject> MakeNotesSubject(const Options& options)
{
    return std::make_unique<NotesSubject>(options);
}

} // namespace DbTool
