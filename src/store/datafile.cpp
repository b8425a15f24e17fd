// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/datafile.h"

#include "store/bytes.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/storefiles.h"
#include "store/writepolicy.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <strings.h>

using namespace Agent;

std::int32_t taerror = taNoError;
std::uint8_t tarecbuf[maxRecordLength];
std::int32_t lOldestDate = 0;

namespace
{

constexpr std::uint32_t bulkFailed = 65535;

off_t Position(const DataFile* file, std::uint32_t number)
{
    return off_t(number) * file->recordLength;
}

// Seeks to a record of a file that was just opened.
int Reach(DataFile* file, const OpenStoreFile& open, std::uint32_t number)
{
    if (!open)
        return SetError(taOpenFailed);
    file->fd = open.Descriptor();
    return SetError(open.SeekTo(Position(file, number)) ? taNoError : taSeekFailed);
}

void StampVersion(DataFileHeader& header)
{
    std::memset(header.version, 0, sizeof header.version);
    std::memcpy(header.version, VERSION, sizeof VERSION);
}

void NoteOldestDate(std::int32_t date)
{
    if (date != 0 && (lOldestDate == 0 || date < lOldestDate))
        lOldestDate = date;
}

// The rest of record 0 is written as zeros, so that the same calls produce the same file.
int WriteHeader(DataFile* file)
{
    std::memset(tarecbuf, 0, std::size_t(file->recordLength));
    WriteDataFileHeader(file->header, tarecbuf);
    return PutRec(file, 0, tarecbuf);
}

// An empty handle for a path, or null with the error in taerror. `refused` is the error
// code for anything that cannot be a data file.
std::unique_ptr<DataFile> NewHandle(StoreFiles* files, const char* path, int recordLength,
                                    std::int32_t refused)
{
    if (!path || std::strlen(path) >= sizeof DataFile::fileName || recordLength > maxRecordLength) {
        SetError(refused);
        return nullptr;
    }
    std::unique_ptr<DataFile> file(new (std::nothrow) DataFile{});
    if (!file) {
        SetError(taNoMemory);
        return nullptr;
    }
    std::strcpy(file->fileName, path);
    file->recordLength = std::max(recordLength, headerLength);
    file->openCount = 1;
    file->header.firstFree = -1;
    file->files = files;
    return file;
}

bool IsRegularFile(StoreFiles* files, const char* path)
{
    const OpenStoreFile open(path, files);
    struct stat status;
    return open && open.Status(&status) == 0 && S_ISREG(status.st_mode);
}

// Fills in the header's count from the size of the file.
int CountRecords(const DataFile* file, std::int32_t openFailed, DataFileHeader* header)
{
    const OpenStoreFile open(file->fileName, file->files);
    if (!open)
        return SetError(openFailed);
    const std::int64_t size = open.Size();
    if (size < 0)
        return SetError(taNoStatus);
    const std::int64_t count = size / file->recordLength;
    if (count > INT32_MAX)
        return SetError(taDamaged);
    header->recordCount = std::int32_t(count);
    return SetError(taNoError);
}

// Overwrites a version text in the file that differs in more than letter case.
int RenewVersion(DataFile* file)
{
    DataFileHeader header = ReadDataFileHeader(tarecbuf);
    if (strncasecmp(header.version, VERSION, sizeof header.version) == 0)
        return SetError(taNoError);
    StampVersion(header);
    WriteDataFileHeader(header, tarecbuf);
    return PutRec(file, 0, tarecbuf);
}

// Begins each change of the file.
int BeginChange(DataFile* file)
{
    return PolicyOf(file) == WritePolicy::EachCall ? TaOpenFile(file) : SetError(taNoError);
}

int EndChange(DataFile* file)
{
    if (PolicyOf(file) == WritePolicy::AtClose)
        return SetError(taNoError);
    TaCloseFile(file);
    return taerror == taNoError ? 0 : -1;
}

// Returns the bytes written, or -1 with the error in taerror, which is `failed` for the
// write itself.
ssize_t WriteRecs(DataFile* file, std::uint32_t first, const void* records, std::uint32_t count,
                  std::int32_t failed)
{
    file->headerDirty = 1;
    const OpenStoreFile open(file->fileName, file->files);
    if (Reach(file, open, first) != 0)
        return -1;
    const std::size_t size = std::size_t(count) * std::size_t(file->recordLength);
    const ssize_t put = open.Write(records, size);
    SetError(put < 0 ? failed : taNoError);
    return put;
}

// Makes record `number` the head of the chain of deleted ones.
int LinkDeleted(DataFile* file, std::uint32_t number)
{
    std::memset(tarecbuf, 0, std::size_t(file->recordLength));
    PutInt32(tarecbuf, file->header.firstFree);
    return PutRec(file, number, tarecbuf);
}

// NextDeleted's result for a record that is in no chain.
constexpr std::int32_t notLinked = 0;

// The number that follows a deleted record in the chain, -1 at its end.
std::int32_t NextDeleted(DataFile* file, std::uint32_t number)
{
    SetError(taNoError);
    const auto count = std::uint32_t(file->header.recordCount);
    if (number == 0 || number >= count || GetRec(file, number, tarecbuf) != 0)
        return notLinked;
    const std::int32_t next = GetInt32(tarecbuf);
    return next == -1 || std::uint32_t(next) < count ? next : notLinked;
}

} // namespace

DataFileHeader ReadDataFileHeader(const std::uint8_t* bytes)
{
    DataFileHeader header;
    header.firstFree = GetInt32(bytes);
    header.deletedCount = GetInt32(bytes + 4);
    header.rootPage = GetInt32(bytes + 8);
    header.storedCount = GetInt32(bytes + 12);
    header.recordCount = GetInt32(bytes + 16);
    std::memcpy(header.version, bytes + 20, sizeof header.version);
    header.oldestDate = bytes[28] | bytes[29] << 8 | bytes[30] << 16;
    return header;
}

void WriteDataFileHeader(const DataFileHeader& header, std::uint8_t* bytes)
{
    PutInt32(bytes, header.firstFree);
    PutInt32(bytes + 4, header.deletedCount);
    PutInt32(bytes + 8, header.rootPage);
    PutInt32(bytes + 12, header.storedCount);
    PutInt32(bytes + 16, header.recordCount);
    std::memcpy(bytes + 20, header.version, sizeof header.version);
    for (int i = 0; i < 3; ++i)
        bytes[28 + i] = std::uint8_t(std::uint32_t(header.oldestDate) >> (8 * i));
}

DataFile* MakeDataFile(std::int32_t, const char* path, std::int16_t recordLength)
{
    return MakeOwnDataFile(nullptr, path, recordLength);
}

DataFile* Agent::MakeOwnDataFile(StoreFiles* files, const char* path, std::int16_t recordLength)
{
    std::unique_ptr<DataFile> file = NewHandle(files, path, recordLength, taNotCreated);
    if (!file)
        return nullptr;
    if (!OpenStoreFile(path, O_RDWR | O_CREAT | O_TRUNC, 0777, files)) {
        SetError(taNotCreated);
        return nullptr;
    }
    StampVersion(file->header);
    NoteOldestDate(file->header.oldestDate);
    if (WriteHeader(file.get()) != 0)
        return nullptr;
    file->header.recordCount = 1;
    file->isOpen = 1;
    file->headerDirty = 1;
    return file.release();
}

DataFile* OpenDataFile(std::int32_t, const char* path, std::int16_t recordLength)
{
    return OpenOwnDataFile(nullptr, path, recordLength);
}

DataFile* Agent::OpenOwnDataFile(StoreFiles* files, const char* path, std::int16_t recordLength)
{
    std::unique_ptr<DataFile> file = NewHandle(files, path, recordLength, taNotOpened);
    if (!file)
        return nullptr;
    if (!IsRegularFile(files, path)) {
        SetError(taNotOpened);
        return nullptr;
    }
    if (GetRec(file.get(), 0, tarecbuf) != 0 || RenewVersion(file.get()) != 0)
        return nullptr;
    file->header = ReadDataFileHeader(tarecbuf);
    NoteOldestDate(file->header.oldestDate);
    if (CountRecords(file.get(), taNotOpened, &file->header) != 0)
        return nullptr;
    file->headerDirty = 0;
    file->isOpen = 1;
    return file.release();
}

bool DoesFileExist(std::int32_t, const char* path)
{
    return path && MachineFiles().Exists(path);
}

int CloseDataFile(DataFile* file)
{
    if (!file)
        return SetError(taNullHandle);
    if (file->openCount > 0 && --file->openCount > 0)
        return SetError(taNoError);
    const std::unique_ptr<DataFile> owned(file);
    file->isOpen = 0;
    if (PolicyOf(file) != WritePolicy::AtClose || !file->headerDirty)
        return SetError(taNoError);
    file->header.storedCount = file->header.recordCount;
    StampVersion(file->header);
    return WriteHeader(file);
}

int newrec(DataFile* file, std::uint32_t* number)
{
    DataFileHeader& header = file->header;
    if (header.firstFree != -1) {
        *number = std::uint32_t(header.firstFree);
        const int next = NextDeleted(file, *number);
        if (taerror != taNoError)
            return -1;
        if (next != notLinked) {
            header.firstFree = next;
            header.deletedCount = std::max(header.deletedCount, 1) - 1;
            return 0;
        }
        header.firstFree = -1;
        header.deletedCount = 0;
    }
    if (header.recordCount == INT32_MAX)
        return SetError(taDamaged);
    *number = std::uint32_t(header.recordCount++);
    return SetError(taNoError);
}

int AddRec(DataFile* file, std::uint32_t* number, const void* record)
{
    if (BeginChange(file) != 0)
        return -1;
    const DataFileHeader before = file->header;
    if (newrec(file, number) != 0 || PutRec(file, *number, record) != 0) {
        file->header = before;
        return -1;
    }
    return EndChange(file);
}

int DeleteRec(DataFile* file, std::uint32_t number)
{
    if (BeginChange(file) != 0 || LinkDeleted(file, number) != 0)
        return -1;
    file->header.firstFree = std::int32_t(number);
    file->header.deletedCount = std::min(file->header.deletedCount, INT32_MAX - 1) + 1;
    return EndChange(file);
}

int GetRec(DataFile* file, std::uint32_t number, void* record)
{
    const OpenStoreFile open(file->fileName, file->files);
    if (Reach(file, open, number) != 0)
        return -1;
    const ssize_t got = open.Read(record, std::size_t(file->recordLength));
    return SetError(got == file->recordLength ? taNoError : taReadFailed);
}

int PutRec(DataFile* file, std::uint32_t number, const void* record)
{
    return PutAllRecs(file, number, record, 1);
}

std::uint32_t GetBigRec(DataFile* file, std::uint32_t first, void* records, std::uint32_t count)
{
    const OpenStoreFile open(file->fileName, file->files);
    if (Reach(file, open, first) != 0)
        return bulkFailed;
    const std::size_t size = std::size_t(count) * std::size_t(file->recordLength);
    const ssize_t got = open.Read(records, size);
    if (got < 0) {
        SetError(taReadFailed);
        return bulkFailed;
    }
    return std::uint32_t(got / file->recordLength);
}

int PutBigRec(DataFile* file, std::uint32_t first, const void* records, std::uint32_t count)
{
    return WriteRecs(file, first, records, count, taBulkWriteFailed) < 0 ? -1 : 0;
}

int PutAllRecs(DataFile* file, std::uint32_t first, const void* records, std::uint32_t count)
{
    const ssize_t put = WriteRecs(file, first, records, count, taWriteFailed);
    if (put < 0)
        return -1;
    return SetError(put == ssize_t(count) * file->recordLength ? taNoError : taWriteFailed);
}

int AddBigRec(DataFile* file, std::uint32_t* first, const void* records, std::uint32_t count)
{
    if (BeginChange(file) != 0)
        return -1;
    DataFileHeader& header = file->header;
    if (count > std::uint32_t(INT32_MAX - header.recordCount))
        return SetError(taDamaged);
    *first = std::uint32_t(header.recordCount);
    if (PutAllRecs(file, *first, records, count) != 0)
        return -1;
    header.recordCount += std::int32_t(count);
    return EndChange(file);
}

std::uint32_t FileLen(DataFile* file)
{
    if (BeginChange(file) != 0)
        return 0;
    return std::uint32_t(file->header.recordCount);
}

std::uint32_t UsedRecs(DataFile* file)
{
    if (BeginChange(file) != 0)
        return 0;
    return std::uint32_t(file->header.recordCount) - std::uint32_t(file->header.deletedCount) - 1;
}

std::uint32_t FirstRec(const DataFile* file)
{
    return std::uint32_t(file->header.firstFree != -1 ? file->header.firstFree
                                                      : file->header.recordCount);
}

bool FixHeader(DataFile* file)
{
    constexpr int longestRecord = 2508;
    const std::uint32_t length = FileLen(file);
    if (taerror != taNoError || length == 0 || file->recordLength > longestRecord)
        return true;
    std::uint8_t record[longestRecord];
    DataFileHeader& header = file->header;
    header.firstFree = -1;
    header.deletedCount = 0;
    for (std::uint32_t number = 1; number < length; ++number) {
        if (GetRec(file, number, record) != 0)
            return true;
        if (GetInt32(record) == 0)
            continue;
        PutInt32(record, header.firstFree);
        if (PutRec(file, number, record) != 0)
            return true;
        header.firstFree = std::int32_t(number);
        ++header.deletedCount;
    }
    header.rootPage = 0;
    header.storedCount = 0;
    header.recordCount = std::int32_t(length);
    file->headerDirty = 1;
    TaCloseFile(file);
    return true;
}

void ToggleFlushing(void* handle, std::uint8_t on, std::uint8_t isIndex)
{
    if (isIndex) {
        auto* index = static_cast<IndexFile*>(handle);
        std::swap(index->dataFile->flushing, on);
        // Pages that could not be written stay in memory, and the mode is not changed.
        if (TaCloseIndex(index) != 0)
            index->dataFile->flushing = on;
        else
            TaOpenIndex(index);
        return;
    }
    auto* file = static_cast<DataFile*>(handle);
    file->flushing = on;
    TaCloseFile(file);
    TaOpenFile(file);
}

int TaOpenFile(DataFile* file)
{
    if (GetRec(file, 0, tarecbuf) != 0)
        return -1;
    DataFileHeader header = ReadDataFileHeader(tarecbuf);
    StampVersion(header);
    // The stored count may be outdated; trusting it would overwrite records.
    if (CountRecords(file, taOpenFailed, &header) != 0)
        return -1;
    file->header = header;
    return 0;
}

void TaCloseFile(DataFile* file)
{
    SetError(taNoError);
    if (!file->headerDirty)
        return;
    file->header.storedCount = file->header.recordCount;
    StampVersion(file->header);
    if (WriteHeader(file) == 0 && !file->isIndexFile)
        file->headerDirty = 0;
}

std::time_t GetLastWriteTime(DataFile* file)
{
    SetError(taNoError);
    const OpenStoreFile open(file->fileName, file->files);
    if (!open) {
        SetError(taOpenFailed);
        return 0;
    }
    struct stat status;
    if (open.Status(&status) != 0) {
        SetError(taNoStatus);
        return 0;
    }
    return status.st_mtime;
}

std::int64_t GetFileSize(std::int32_t descriptor, void*)
{
    struct stat status;
    return MachineFiles().Status(descriptor, &status) == 0 ? std::int64_t(status.st_size) : -1;
}

int SetError(std::int32_t code)
{
    taerror = code;
    return code == taNoError ? 0 : -1;
}

std::int32_t GetAccessError()
{
    return taerror;
}
