// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/cnote.h"

#include "store/indexpage.h"
#include "store/notesheap.h"
#include "store/ownfiles.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>

using namespace Agent;

namespace
{

constexpr std::int32_t pieceLength = 32000;

// Shows the descriptor of a transfer during it.
class Transfer
{
public:
    Transfer(std::int32_t* descriptor, const OpenStoreFile& heap) : m_descriptor(descriptor)
    {
        *descriptor = heap ? heap.Descriptor() : 0;
    }
    ~Transfer() { *m_descriptor = 0; }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

private:
    std::int32_t* const m_descriptor;
};

// Right-aligned in nine characters, so that text order is that of the numbers.
struct FreeKey {
    explicit FreeKey(std::int32_t capacity)
    {
        std::snprintf(text, sizeof text, "%9ld", static_cast<long>(capacity));
    }
    std::int32_t Capacity() const { return std::int32_t(std::strtol(text, nullptr, 10)); }

    char text[24];
};

bool FormatPath(char (&path)[PATH_MAX], const char* format, const char* name)
{
    const int length = name ? std::snprintf(path, sizeof path, format, name) : -1;
    if (length >= 0 && std::size_t(length) < sizeof path)
        return true;
    path[0] = 0; // a part of the name might name another file
    return false;
}

// Whether an index has no complete header: the process that was making or rebuilding it
// died before it could write one.
bool IsHalfMade(StoreFiles* files, const char* indexPath)
{
    const OpenStoreFile index(indexPath, files);
    const off_t size = index ? index.Size() : -1;
    return size >= 0 && size < PackedLength(freeKeyLength);
}

// Writes a note's block except its slack: the header with the beginning of the text in
// one piece, then the rest piece by piece.
bool WriteNote(OpenStoreFile& heap, std::int64_t offset, const BlockHeader& header,
               const char* text, std::int32_t length)
{
    static std::uint8_t piece[pieceLength];
    PackBlockHeader(header, piece);
    std::int32_t filled = blockHeaderLength;
    std::int32_t taken = 0;
    do {
        const std::int32_t more = std::min(length - taken, pieceLength - filled);
        std::copy_n(text + taken, more, piece + filled);
        filled += more;
        if (!heap.WriteAt(offset, piece, std::size_t(filled)))
            return false;
        offset += filled;
        taken += more;
        filled = 0;
    } while (taken < length);
    return true;
}

bool ReadText(OpenStoreFile& heap, std::int64_t offset, char* text, std::int32_t length)
{
    for (std::int32_t done = 0; done < length;) {
        const std::int32_t more = std::min(length - done, pieceLength);
        if (!heap.ReadAt(offset + done, text + done, std::size_t(more)))
            return false;
        done += more;
    }
    return true;
}

} // namespace

CNote::CNote() : CNote(nullptr) { }

CNote::CNote(StoreFiles* files)
    : m_descriptor(0), m_freeSpace(nullptr), m_files(files), m_heapPath(), m_indexPath()
{
}

CNote::~CNote()
{
    Close();
}

bool CNote::SetPaths(const char* name)
{
    return FormatPath(m_heapPath, "%s.fil", name) && FormatPath(m_indexPath, "%s.k1", name);
}

bool CNote::MakeFreeSpace()
{
    m_freeSpace = MakeOwnIndex(m_files, m_indexPath, freeKeyLength, true);
    return m_freeSpace != nullptr;
}

bool CNote::BeginFlushing()
{
    SetIndexFlushing();
    if (taerror == taNoError)
        return true;
    Close();
    return false;
}

bool CNote::Open(const char* name)
{
    Close();
    if (!SetPaths(name) || !OpenStoreFile(m_heapPath, O_RDWR | O_CREAT, 0777, m_files))
        return false;
    if (!(m_files ? *m_files : MachineFiles()).Exists(m_indexPath))
        MakeFreeSpace();
    else if (IsHalfMade(m_files, m_indexPath))
        return Reindex();
    else
        m_freeSpace = OpenOwnIndex(m_files, m_indexPath, freeKeyLength, true);
    return m_freeSpace && BeginFlushing();
}

bool CNote::Create(const char* name)
{
    Close();
    if (!SetPaths(name) || !OpenStoreFile(m_heapPath, O_RDWR | O_CREAT | O_TRUNC, 0777, m_files)
        || !MakeFreeSpace())
        return false;
    return BeginFlushing();
}

void CNote::Close()
{
    if (m_freeSpace)
        CloseIndex(m_freeSpace);
    m_freeSpace = nullptr;
    m_descriptor = 0;
}

void CNote::SetIndexFlushing()
{
    if (m_freeSpace)
        ToggleFlushing(m_freeSpace, 1, 1);
    else
        SetError(taNullHandle);
}

int CNote::UnlistFree(std::int32_t length, std::int64_t offset)
{
    FreeKey key(length - blockHeaderLength);
    auto record = std::uint32_t(offset);
    return DeleteKey(m_freeSpace, &record, key.text);
}

int CNote::ListFree(std::int32_t length, std::int64_t offset)
{
    FreeKey key(length - blockHeaderLength);
    const auto record = std::uint32_t(offset);
    return AddKey(m_freeSpace, &record, key.text);
}

// Finds the smallest free block that holds a text: the first key that is not below its
// length.
int CNote::FindFree(std::int32_t length, std::uint32_t* offset)
{
    FreeKey key(length);
    int found = SearchKey(m_freeSpace, offset, key.text);
    // The capacity of a block of 7 bytes, -1, sorts between 9 and 10.
    if (found == 0 && key.Capacity() < length) {
        key = FreeKey(10);
        found = SearchKey(m_freeSpace, offset, key.text);
    }
    if (found == 0 && m_avoidsOverlaps && key.Capacity() == length + smallestBlock) {
        key = FreeKey(length + smallestBlock + 1);
        found = SearchKey(m_freeSpace, offset, key.text);
    }
    return found;
}

std::int32_t CNote::SaveNote(const char* text, std::int32_t length)
{
    if (!m_freeSpace || length < 0 || (!text && length > 0)
        || length > longestNoteBlock - blockHeaderLength)
        return -1;
    OpenStoreFile heap(m_heapPath, m_files);
    if (!heap)
        return -1;
    const Transfer transfer(&m_descriptor, heap);
    std::uint32_t offset;
    if (FindFree(length, &offset) != 0)
        return taerror == taNoError ? Append(heap, text, length) : -1;
    return Reuse(heap, text, length, offset);
}

// The block is removed from the list first and its remainder added last, so that every
// listed block is free at any moment.
std::int32_t CNote::Reuse(OpenStoreFile& heap, const char* text, std::int32_t length,
                          std::int64_t offset)
{
    BlockHeader found;
    if (!ReadBlockHeader(heap, offset, &found) || found.status != blockFree
        || !IsSoundBlock(found, offset, heap.Size()))
        return -1;
    const std::int32_t remainder = found.length - length - blockHeaderLength;
    const bool splits = remainder >= smallestBlock;
    const std::int32_t slack = splits ? 0 : remainder;
    const std::int32_t blockLength = length + blockHeaderLength + slack;
    if (remainder < 0)
        return -1;
    if (blockLength > longestNoteBlock)
        return Append(heap, text, length);

    const std::int64_t behind = offset + blockLength;
    if (UnlistFree(found.length, offset) != 0)
        return -1;
    if (splits && !WriteBlockHeader(heap, behind, { blockFree, 0, 0, remainder }))
        return -1;
    if (!WriteNote(heap, offset, { blockInUse, std::uint8_t(slack), 0, blockLength }, text, length))
        return -1;
    if (splits)
        ListFree(remainder, behind);
    return std::int32_t(offset);
}

// An append that fails halfway is truncated again.
std::int32_t CNote::Append(OpenStoreFile& heap, const char* text, std::int32_t length)
{
    const std::int32_t blockLength = length + blockHeaderLength;
    const std::int64_t offset = heap.Size();
    if (offset < 0 || offset + blockLength > INT32_MAX)
        return -1;
    // For a text of several pieces the file is extended before the header with its length
    // is written.
    const bool hasRoom = blockLength <= pieceLength || heap.Resize(offset + blockLength) == 0;
    if (!hasRoom || !WriteNote(heap, offset, { blockInUse, 0, 0, blockLength }, text, length)) {
        heap.Resize(offset);
        return -1;
    }
    return std::int32_t(offset);
}

char* CNote::ReadNote(std::int32_t offset)
{
    if (offset < 0)
        return nullptr;
    OpenStoreFile heap(m_heapPath, m_files);
    if (!heap)
        return nullptr;
    const Transfer transfer(&m_descriptor, heap);
    // Most texts are this short, and come with their header.
    std::uint8_t piece[512];
    const ssize_t got = heap.SeekTo(offset) ? heap.Read(piece, sizeof piece) : -1;
    if (got < blockHeaderLength)
        return nullptr;
    const BlockHeader header = UnpackBlockHeader(piece);
    if (header.status != blockInUse || header.length > longestNoteBlock)
        return nullptr;
    const auto length = std::int32_t(std::max(TextLength(header), std::int64_t(-1)));
    const bool isHere = header.length <= got;
    if (length < 0 || (!isHere && EndOf(offset, header) > heap.Size()))
        return nullptr;
    auto* const text = static_cast<char*>(std::calloc(std::size_t(length) + 10, 1));
    if (text && isHere) {
        std::memcpy(text, piece + blockHeaderLength, std::size_t(length));
    } else if (text && !ReadText(heap, offset + blockHeaderLength, text, length)) {
        std::free(text);
        return nullptr;
    }
    return text;
}

std::int32_t CNote::NoteLength(std::int32_t offset)
{
    OpenStoreFile heap(m_heapPath, m_files);
    BlockHeader header;
    if (offset < 0 || !heap || !ReadBlockHeader(heap, offset, &header))
        return 0;
    // Free blocks may have been joined to any length.
    const bool mayBe = header.status == blockFree || header.length <= longestNoteBlock;
    const bool sound = mayBe && EndOf(offset, header) <= heap.Size();
    return sound ? std::int32_t(std::max(TextLength(header), std::int64_t(0))) : 0;
}

// Joins this block with the next one if that is free.
int CNote::MergeNext(OpenStoreFile& heap, std::int64_t fileSize, std::int64_t offset,
                     BlockHeader* header)
{
    const std::int64_t next = EndOf(offset, *header);
    BlockHeader behind;
    if (next + blockHeaderLength > fileSize)
        return 0;
    if (!ReadBlockHeader(heap, next, &behind))
        return -1;
    if (behind.status != blockFree)
        return 0;
    if (IsOverlapped(behind)) {
        if (UnlistFree(smallestBlock, next) == 0)
            return header->length += smallestBlock, 0;
        if (taerror != taNoError)
            return -1;
    }
    if (!IsSoundBlock(behind, next, fileSize))
        return 0;
    if (UnlistFree(behind.length, next) != 0 && taerror != taNoError)
        return -1;
    header->length += behind.length;
    return 0;
}

int CNote::DeleteNote(std::int32_t offset)
{
    OpenStoreFile heap(m_heapPath, m_files);
    if (!m_freeSpace || !heap || offset < 0)
        return -1;
    const Transfer transfer(&m_descriptor, heap);
    const std::int64_t size = heap.Size();
    BlockHeader header;
    if (!ReadBlockHeader(heap, offset, &header) || !IsSoundBlock(header, offset, size))
        return -1;
    if (header.status == blockFree)
        return 0;
    if (MergeNext(heap, size, offset, &header) != 0)
        return -1;
    header.status = blockFree;
    if (!WriteBlockHeader(heap, offset, header))
        return -1;
    ListFree(header.length, offset);
    return 0;
}

std::vector<std::int32_t> CNote::TextOffsets()
{
    std::vector<std::int32_t> offsets;
    OpenStoreFile heap(m_heapPath, m_files);
    if (!m_freeSpace || !heap)
        return offsets;
    const Transfer transfer(&m_descriptor, heap);
    try {
        const BlockChain chain = WalkBlocks(heap);
        bool hidden = false;
        for (const auto& [offset, header] : chain.blocks) {
            if (chain.whole && header.status == blockInUse && !hidden && !IsTooLong(header))
                offsets.push_back(std::int32_t(offset));
            hidden = header.status == blockFree && header.length == smallestBlock;
        }
    } catch (const std::bad_alloc&) {
        SetError(taNoMemory);
        offsets.clear();
    }
    return offsets;
}

bool CNote::Reindex()
{
    Close();
    if (!MakeFreeSpace() || !BeginFlushing())
        return false;
    OpenStoreFile heap(m_heapPath, m_files);
    if (!heap)
        return false;
    const Transfer transfer(&m_descriptor, heap);
    BlockChain chain{};
    try {
        chain = WalkBlocks(heap);
    } catch (const std::bad_alloc&) {
        SetError(taNoMemory);
        return false;
    }
    // The length of the last block before a break may be wrong.
    if (!chain.whole && !chain.blocks.empty())
        chain.blocks.pop_back();
    for (const Block& block : chain.blocks)
        if (block.header.status == blockFree && ListFree(block.header.length, block.offset) != 0)
            return false;
    return chain.whole;
}
