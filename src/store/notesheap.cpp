// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/notesheap.h"

#include "store/bytes.h"

#include <algorithm>
#include <unordered_set>

namespace Agent
{

namespace
{

// Finds the chain of blocks from the beginning of the heap to its end.
//
// A zero byte where a block should begin is either the first byte of its header or a
// stray byte before it. Which one it is shows only later: a wrong choice leads to a dead
// end before the end of the file. So the walk goes back to the last choice, and remembers
// dead ends, so that no block is tried twice. If both give a possible block, the one
// after the stray byte is tried first: a false match there is very unlikely (it needs a
// block with a length that is a multiple of 256 bytes, and a text that begins with a zero
// byte), but the other one is often a false match.
class BlockWalk
{
public:
    BlockWalk(OpenStoreFile& heap, std::int64_t size) : m_heap(heap), m_size(size) { }

    BlockChain Run()
    {
        while (!AtTheEnd()) {
            Block block;
            if (FindNext(&block)) {
                m_blocks.push_back(block);
                continue;
            }
            KeepIfLongest();
            if (m_blocks.empty())
                return { m_longest, EndOfBlocks(m_longest), false };
            m_deadEnds.insert(m_blocks.back().offset);
            m_blocks.pop_back();
            m_common = std::min(m_common, m_blocks.size());
        }
        return { std::move(m_blocks), m_size, true };
    }

private:
    static std::int64_t EndOfBlocks(const std::vector<Block>& blocks)
    {
        return blocks.empty() ? 0 : EndOf(blocks.back().offset, blocks.back().header);
    }

    void KeepIfLongest()
    {
        if (m_blocks.size() <= m_longest.size())
            return;
        const auto common = std::ptrdiff_t(m_common);
        m_longest.erase(m_longest.begin() + common, m_longest.end());
        m_longest.insert(m_longest.end(), m_blocks.begin() + common, m_blocks.end());
        m_common = m_blocks.size();
    }

    bool AtTheEnd()
    {
        const std::int64_t at = EndOfBlocks(m_blocks);
        return at == m_size || (at + 1 == m_size && at > 0 && IsZero(at));
    }

    bool FindNext(Block* block)
    {
        const std::int64_t at = EndOfBlocks(m_blocks);
        return (at > 0 && IsZero(at) && ReadBlock(at + 1, block)) || ReadBlock(at, block);
    }

    bool IsZero(std::int64_t at)
    {
        std::uint8_t byte;
        return m_heap.ReadAt(at, &byte, 1) && byte == 0;
    }

    bool ReadBlock(std::int64_t offset, Block* block)
    {
        block->offset = offset;
        if (m_deadEnds.count(offset) > 0 || !ReadBlockHeader(m_heap, offset, &block->header))
            return false;
        BlockHeader behind;
        if (IsOverlapped(block->header) && ReadBlockHeader(m_heap, offset + smallestBlock, &behind)
            && IsSoundBlock(behind, offset + smallestBlock, m_size))
            block->header.length = smallestBlock;
        return CanBeBlock(block->header, offset, m_size);
    }

    OpenStoreFile& m_heap;
    const std::int64_t m_size;
    std::vector<Block> m_blocks;
    std::vector<Block> m_longest;
    std::size_t m_common = 0; // blocks that both begin with
    std::unordered_set<std::int64_t> m_deadEnds;
};

} // namespace

bool ReadBlockHeader(OpenStoreFile& heap, std::int64_t offset, BlockHeader* header)
{
    std::uint8_t bytes[blockHeaderLength];
    if (!heap.ReadAt(offset, bytes, sizeof bytes))
        return false;
    *header = UnpackBlockHeader(bytes);
    return true;
}

BlockHeader UnpackBlockHeader(const std::uint8_t* bytes)
{
    return { bytes[0], bytes[1], std::uint16_t(bytes[2] | bytes[3] << 8), GetInt32(bytes + 4) };
}

void PackBlockHeader(const BlockHeader& header, std::uint8_t* bytes)
{
    bytes[0] = header.status;
    bytes[1] = header.slack;
    bytes[2] = std::uint8_t(header.reserved);
    bytes[3] = std::uint8_t(header.reserved >> 8);
    PutInt32(bytes + 4, header.length);
}

bool WriteBlockHeader(OpenStoreFile& heap, std::int64_t offset, const BlockHeader& header)
{
    std::uint8_t bytes[blockHeaderLength];
    PackBlockHeader(header, bytes);
    return heap.WriteAt(offset, bytes, sizeof bytes);
}

bool CanBeBlock(const BlockHeader& header, std::int64_t offset, std::int64_t fileSize)
{
    // Offsets have 31 bits, whatever the size of the file.
    const std::int64_t end = std::min(fileSize, std::int64_t(INT32_MAX));
    if (header.reserved != 0 || header.slack > mostSlack || EndOf(offset, header) > end)
        return false;
    if (header.status == blockInUse)
        return TextLength(header) >= 0;
    return header.status == blockFree && header.length >= smallestBlock;
}

bool IsSoundBlock(const BlockHeader& header, std::int64_t offset, std::int64_t fileSize)
{
    return CanBeBlock(header, offset, fileSize) && !IsTooLong(header);
}

bool IsOverlapped(const BlockHeader& header)
{
    return header.status == blockFree && header.length == (smallestBlock | blockFree << 24);
}

BlockChain WalkBlocks(OpenStoreFile& heap)
{
    return BlockWalk(heap, heap.Size()).Run();
}

} // namespace Agent
