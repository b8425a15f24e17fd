// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The heap file of a notes store: blocks of any length, each followed by the
// next. docs/file-formats.md draws it.

#pragma once

#include "store/storefiles.h"

#include <cstdint>
#include <vector>

namespace Agent
{

constexpr std::int32_t blockHeaderLength = 8;
// A remainder of fewer bytes stays with its block as slack. One of exactly so
// many gets a header whose last byte is the first byte of the block behind it.
constexpr std::int32_t smallestBlock = 7;
constexpr int mostSlack = smallestBlock - 1;
// Key length of the index of free blocks.
constexpr std::int16_t freeKeyLength = 9;
// A note's block may not be longer, in bytes.
constexpr std::int32_t longestNoteBlock = 500000;

enum BlockStatus : std::uint8_t { blockInUse = 0, blockFree = 1 };

struct BlockHeader {
    std::uint8_t status;
    std::uint8_t slack; // bytes at the block's end that are not text
    std::uint16_t reserved; // 0
    std::int32_t length; // of the block, header included
};

// False if there are not 8 bytes to read, or not to be written.
bool ReadBlockHeader(OpenStoreFile& heap, std::int64_t offset, BlockHeader* header);
bool WriteBlockHeader(OpenStoreFile& heap, std::int64_t offset, const BlockHeader& header);
void PackBlockHeader(const BlockHeader& header, std::uint8_t* bytes);

inline std::int64_t EndOf(std::int64_t offset, const BlockHeader& header)
{
    return offset + header.length;
}

// Bytes of a block's text; below 0 only in a damaged header.
inline std::int64_t TextLength(const BlockHeader& header)
{
    return std::int64_t(header.length) - blockHeaderLength - header.slack;
}

// A block in use that is longer than notes are: damage, or a free block whose
// status became the last byte of a 7-byte block's header.
inline bool IsTooLong(const BlockHeader& header)
{
    return header.status == blockInUse && header.length > longestNoteBlock;
}

// Whether a block like this can stand at an offset of a heap.
bool CanBeBlock(const BlockHeader& header, std::int64_t offset, std::int64_t fileSize);
// The same for a block that is not too long.
bool IsSoundBlock(const BlockHeader& header, std::int64_t offset, std::int64_t fileSize);

// Whether this may be the header of a block of 7 bytes whose last byte has
// become the status of a free block behind it.
bool IsOverlapped(const BlockHeader& header);

struct Block {
    std::int64_t offset;
    BlockHeader header;
};

// The blocks of a heap, in order. Where the header of a block of 7 bytes was
// written at the end of the file, one zero byte lies between two blocks.
struct BlockChain {
    std::vector<Block> blocks;
    // The end of the file if the chain is whole, else where it breaks off.
    std::int64_t end;
    bool whole;
};

BlockChain WalkBlocks(OpenStoreFile& heap);

} // namespace Agent
