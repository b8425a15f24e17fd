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
// A smaller remainder stays in its block as slack. One of exactly this size gets a
// header, of which the last byte is the first byte of the next block.
constexpr std::int32_t smallestBlock = 7;
constexpr int mostSlack = smallestBlock - 1;
// Key length of the index of free blocks.
constexpr std::int16_t freeKeyLength = 9;
// The maximum length of a note's block, in bytes.
constexpr std::int32_t longestNoteBlock = 500000;

enum BlockStatus : std::uint8_t { blockInUse = 0, blockFree = 1 };

struct BlockHeader {
    std::uint8_t status;
    std::uint8_t slack; // bytes at the block's end that are not text
    std::uint16_t reserved; // 0
    std::int32_t length; // of the block, header included
};

// False if the 8 bytes cannot be read or written.
bool ReadBlockHeader(OpenStoreFile& heap, std::int64_t offset, BlockHeader* header);
bool WriteBlockHeader(OpenStoreFile& heap, std::int64_t offset, const BlockHeader& header);
BlockHeader UnpackBlockHeader(const std::uint8_t* bytes);
void PackBlockHeader(const BlockHeader& header, std::uint8_t* bytes);

inline std::int64_t EndOf(std::int64_t offset, const BlockHeader& header)
{
    return offset + header.length;
}

// The length of a block's text; negative only with a damaged header.
inline std::int64_t TextLength(const BlockHeader& header)
{
    return std::int64_t(header.length) - blockHeaderLength - header.slack;
}

// A block in use that is longer than any note: damage, or a free block with its status
// overwritten by the header of a 7-byte block.
inline bool IsTooLong(const BlockHeader& header)
{
    return header.status == blockInUse && header.length > longestNoteBlock;
}

// Whether such a block is possible at this offset of a heap.
bool CanBeBlock(const BlockHeader& header, std::int64_t offset, std::int64_t fileSize);
// The same for a block that is not too long.
bool IsSoundBlock(const BlockHeader& header, std::int64_t offset, std::int64_t fileSize);

// Whether this may be the header of a block of 7 bytes with its last byte replaced by the
// status of the free block after it.
bool IsOverlapped(const BlockHeader& header);

struct Block {
    std::int64_t offset;
    BlockHeader header;
};

// The blocks of a heap, in order. There is a stray zero byte between two blocks where the
// header of a 7-byte block was once written at the end of the file.
struct BlockChain {
    std::vector<Block> blocks;
    // The end of the file if the chain is whole, else where it breaks off.
    std::int64_t end;
    bool whole;
};

BlockChain WalkBlocks(OpenStoreFile& heap);

} // namespace Agent
