// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexfile.h"

#include "store/ownfiles.h"
#include "store/pagecache.h"
#include "store/pagetransfer.h"

#include <memory>
#include <new>

using namespace Agent;

namespace
{

using OpenFunction = DataFile* (*)(StoreFiles*, const char*, std::int16_t);

// `refused` is the error code for anything that cannot be an index.
IndexFile* NewIndex(OpenFunction open, StoreFiles* files, std::int32_t refused, const char* path,
                    std::int16_t keyLength, bool allowDuplicates)
{
    if (keyLength < 1 || keyLength > longestKey) {
        SetError(refused);
        return nullptr;
    }
    std::unique_ptr<IndexFile> index(new (std::nothrow) IndexFile{});
    if (!index || !HasPageCache()) {
        SetError(taNoMemory);
        return nullptr;
    }
    index->dataFile = open(files, path, std::int16_t(PackedLength(keyLength)));
    if (!index->dataFile)
        return nullptr;
    index->dataFile->isIndexFile = 1;
    index->current = index->dataFile;
    index->allowDuplicates = allowDuplicates;
    index->keyLength = keyLength;
    index->rootPage = std::uint32_t(index->dataFile->header.rootPage);
    return index.release();
}

} // namespace

IndexFile* MakeIndex(std::int32_t, const char* path, std::int16_t keyLength,
                     std::int32_t allowDuplicates)
{
    return MakeOwnIndex(nullptr, path, keyLength, allowDuplicates != 0);
}

IndexFile* OpenIndex(std::int32_t, const char* path, std::int16_t keyLength,
                     std::int32_t allowDuplicates)
{
    return OpenOwnIndex(nullptr, path, keyLength, allowDuplicates != 0);
}

IndexFile* Agent::MakeOwnIndex(StoreFiles* files, const char* path, std::int16_t keyLength,
                               bool allowDuplicates)
{
    IndexFile* const index
        = NewIndex(MakeOwnDataFile, files, taNotCreated, path, keyLength, allowDuplicates);
    // Writes the final header of an empty index, so that closing it writes nothing:
    // another process may have filled the file by then.
    if (index && TaCloseIndex(index) != 0) {
        const std::int32_t error = taerror;
        index->dataFile->headerDirty = 0;
        CloseIndex(index);
        SetError(error);
        return nullptr;
    }
    return index;
}

IndexFile* Agent::OpenOwnIndex(StoreFiles* files, const char* path, std::int16_t keyLength,
                               bool allowDuplicates)
{
    return NewIndex(OpenOwnDataFile, files, taNotOpened, path, keyLength, allowDuplicates);
}

int CloseIndex(IndexFile* index)
{
    if (!index)
        return SetError(taNullHandle);
    DataFile* const file = index->dataFile;
    if (file->openCount > 0 && --file->openCount > 0)
        return SetError(taNoError);
    const std::unique_ptr<IndexFile> owned(index);
    // A second attempt after a failure: anything not written now is lost.
    if (TaCloseIndex(index) != 0)
        TaCloseIndex(index);
    const std::int32_t error = taerror;
    DropPages(index);
    FreePageMemory();
    const int closed = CloseDataFile(file);
    return error != taNoError ? SetError(error) : closed;
}

int TaOpenIndex(IndexFile* index)
{
    DropPages(index);
    if (TaOpenFile(index->dataFile) != 0)
        return -1;
    index->current = index->dataFile;
    index->rootPage = std::uint32_t(index->dataFile->header.rootPage);
    index->dataFile->headerDirty = 0;
    ClearKey(index);
    return 0;
}

int TaCloseIndex(IndexFile* index)
{
    if (WriteBackPages(index) != 0)
        return -1;
    DataFile* const file = index->dataFile;
    file->header.rootPage = std::int32_t(index->rootPage);
    TaCloseFile(file);
    if (taerror != taNoError)
        return -1;
    DropPages(index);
    file->headerDirty = 0;
    return 0;
}
