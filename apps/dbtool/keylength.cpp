// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "keylength.h"

#include "recordfile.h"
#include "report.h"
#include "store/indexpage.h"

using namespace Agent;

namespace DbTool
{

namespace
{

// The key lengths for which the file consists of whole pages.
std::vector<int> PossibleKeyLengths(std::int64_t fileSize)
{
    std::vector<int> lengths;
    for (int length = 1; length <= longestKey; ++length)
        if (fileSize > 0 && fileSize % PackedLength(length) == 0)
            lengths.push_back(length);
    return lengths;
}

// Whether the header counts as many pages as the file has. A new index counts none.
bool HeaderAgrees(const DataFileHeader& header, std::int64_t pages)
{
    return header.recordCount == pages || (header.recordCount == 0 && pages == 1);
}

// The lengths that the header confirms; without any, those with which the whole file is
// sound.
std::vector<int> BorneOut(const std::string& path, const std::vector<int>& lengths)
{
    RecordFile file(path, headerLength);
    DataFileHeader header;
    std::vector<int> agreed;
    std::vector<int> sound;
    for (const int length : lengths) {
        if (file.ReadHeader(&header)
            && HeaderAgrees(header, file.fileSize() / PackedLength(length)))
            agreed.push_back(length);
        else if (CheckIndex(path, length, true).empty())
            sound.push_back(length);
    }
    return agreed.empty() ? sound : agreed;
}

} // namespace

int KeyLengthOf(const std::string& path)
{
    const std::vector<int> possible = PossibleKeyLengths(RecordFile(path, headerLength).fileSize());
    const std::vector<int> sure = BorneOut(path, possible);
    if (sure.size() == 1)
        return sure.front();
    std::string text = "the key length cannot be told from " + path + ": give --key-length";
    for (std::size_t i = 0; i < possible.size(); ++i)
        text += (i == 0 ? "; its size would fit " : ", ") + Number(possible[i]);
    throw WrongUsage(text);
}

} // namespace DbTool
