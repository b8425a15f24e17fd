// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Data files: flat files of records of one length, addressed by number. Record 0 is the
/// file's header; deleted records form a chain and are reused before the file grows. No
/// file stays open: each transfer opens it by its name and closes it again. One thread at
/// a time.
///
/// Unless it says otherwise a function returns 0 on success and -1 on failure,
/// with the reason in taerror. Record numbers are unsigned. The first four
/// bytes of a live record must be zero; those of a deleted one hold the number
/// of the next (-1 at the end of the chain).
///
/// docs/file-formats.md draws the file.

#pragma once

#include <climits>
#include <cstdint>
#include <ctime>
#include <vantrelagent/export.h>

namespace Agent
{
class StoreFiles;
}

/// Why the last call failed.
enum TaError : std::int32_t {
    taNoError = 0, ///< the call succeeded, or its answer is no
    taOpenFailed = 1, ///< the file could not be opened for a transfer
    taSeekFailed = 2, ///< no such position
    taWriteFailed = 3, ///< a write failed or was short
    taBulkWriteFailed = 4, ///< a write of several records failed
    taReadFailed = 5, ///< the read failed or was short
    taNoMemory = 6, ///< no memory, or no page cache (see InitIndex)
    taNotCreated = 7, ///< the file could not be made
    taNotOpened = 8, ///< the file could not be opened
    taNullHandle = 9, ///< the handle or a required text is null
    taDamaged = 10, ///< the data read cannot be part of a sound file
    taNoStatus = -1, ///< the file's size or time could not be read
};

/// The code of the last call, a TaError; of the whole process.
extern VANTRELAGENT_EXPORT std::int32_t taerror;

/// The version text in every header.
constexpr char VERSION[] = "4.2a";

/// Several programs at once on held files: never switched on.
constexpr std::uint8_t MULTIUSER = 0;

/// The longest record, which is also the size of the scratch record.
constexpr int maxRecordLength = 10712;
/// The scratch record; calls of the store may write it.
extern VANTRELAGENT_EXPORT std::uint8_t tarecbuf[maxRecordLength];

/// The smallest oldestDate of all files made or opened; 0 before the first one.
extern VANTRELAGENT_EXPORT std::int32_t lOldestDate;

/// Bytes of record 0 that a header takes.
constexpr int headerLength = 31;
/// The content of these bytes.
struct DataFileHeader {
    std::int32_t firstFree; ///< head of the chain of deleted records, -1 if empty
    std::int32_t deletedCount; ///< records in that chain
    std::int32_t rootPage; ///< of an index; 0 in other files
    std::int32_t storedCount; ///< recordCount at the last write of the header
    std::int32_t recordCount; ///< records in the file, header included
    char version[8]; ///< VERSION, ended by a zero byte
    std::int32_t oldestDate; ///< only its low three bytes are in the file
};

/// An open data file. Callers pass it on and leave its fields alone.
struct DataFile {
    std::int32_t fd; ///< of the current transfer
    DataFileHeader header; ///< the header in memory
    std::uint8_t isOpen; ///< 1 between open and close
    char fileName[PATH_MAX]; ///< opened again for each transfer
    std::uint8_t isIndexFile; ///< its records are pages of an index
    std::uint8_t held; ///< always 0
    std::uint8_t headerDirty; ///< record 0 must be written again
    std::uint8_t flushing; ///< each change begins and ends at the file
    std::uint16_t openCount; ///< references to the handle
    std::int32_t recordLength; ///< bytes, 31 to maxRecordLength
    Agent::StoreFiles* files; ///< its own file system; null: the machine's
};

/// Makes an empty file, replacing an existing one. Null on failure. The caller owns the
/// handle until CloseDataFile. The leading argument is ignored.
VANTRELAGENT_EXPORT DataFile* MakeDataFile(std::int32_t, const char* path,
                                           std::int16_t recordLength);
/// Opens a file. The record length is not in the file and must be known. A version text
/// other than VERSION is overwritten. Null on failure. The caller owns the handle until
/// CloseDataFile. The leading argument is ignored.
VANTRELAGENT_EXPORT DataFile* OpenDataFile(std::int32_t, const char* path,
                                           std::int16_t recordLength);
/// Whether there is a file of that name. The leading argument is ignored.
VANTRELAGENT_EXPORT bool DoesFileExist(std::int32_t, const char* path);

/// Drops one reference; with the last, the handle is gone, whatever the result.
VANTRELAGENT_EXPORT int CloseDataFile(DataFile* file);

/// Stores recordLength bytes under a free number, preferably the one deleted last, and
/// returns it in *number.
VANTRELAGENT_EXPORT int AddRec(DataFile* file, std::uint32_t* number, const void* record);
/// Puts a record into the chain of deleted ones. The number must be that of a live
/// record, which is not checked.
VANTRELAGENT_EXPORT int DeleteRec(DataFile* file, std::uint32_t number);
/// Reads or writes one whole record of recordLength bytes.
/// @{
VANTRELAGENT_EXPORT int GetRec(DataFile* file, std::uint32_t number, void* record);
VANTRELAGENT_EXPORT int PutRec(DataFile* file, std::uint32_t number, const void* record);
/// @}
/// `count` records in one transfer. Returns the number of whole records that
/// were there, or 65535 on failure.
VANTRELAGENT_EXPORT std::uint32_t GetBigRec(DataFile* file, std::uint32_t first, void* records,
                                            std::uint32_t count);
/// A short write is not noticed.
VANTRELAGENT_EXPORT int PutBigRec(DataFile* file, std::uint32_t first, const void* records,
                                  std::uint32_t count);
/// The same, but fails unless all are written.
VANTRELAGENT_EXPORT int PutAllRecs(DataFile* file, std::uint32_t first, const void* records,
                                   std::uint32_t count);
/// Stores `count` records at the end of the file in one transfer, under the numbers from
/// *first on. Numbers of deleted records are not reused. If the write fails or is short,
/// none is stored.
VANTRELAGENT_EXPORT int AddBigRec(DataFile* file, std::uint32_t* first, const void* records,
                                  std::uint32_t count);

/// Records in the file, the header and deleted ones included; 0 on failure.
VANTRELAGENT_EXPORT std::uint32_t FileLen(DataFile* file);
/// Live records; 0 on failure.
VANTRELAGENT_EXPORT std::uint32_t UsedRecs(DataFile* file);
/// The number that the next AddRec will take.
VANTRELAGENT_EXPORT std::uint32_t FirstRec(const DataFile* file);

/// Rebuilds the chain of deleted records from the records themselves. Only for data files
/// with records of up to 2,508 bytes, not for indexes. Always returns true.
VANTRELAGENT_EXPORT bool FixHeader(DataFile* file);

/// Switches flushing: with it each change starts from the header in the file
/// and ends with everything written. `handle` is an IndexFile if isIndex is set,
/// else a DataFile.
VANTRELAGENT_EXPORT void ToggleFlushing(void* handle, std::uint8_t on, std::uint8_t isIndex);

/// Reads the header from the file, and counts the records.
VANTRELAGENT_EXPORT int TaOpenFile(DataFile* file);
/// Writes the header if it is dirty.
VANTRELAGENT_EXPORT void TaCloseFile(DataFile* file);

/// Seconds since 1970, or 0 on failure.
VANTRELAGENT_EXPORT std::time_t GetLastWriteTime(DataFile* file);
/// Bytes of an open file, or -1; the second argument is ignored.
VANTRELAGENT_EXPORT std::int64_t GetFileSize(std::int32_t descriptor, void* = nullptr);

/// Sets taerror. Returns 0 for code 0, else -1.
VANTRELAGENT_EXPORT int SetError(std::int32_t code);
/// The value of taerror.
VANTRELAGENT_EXPORT std::int32_t GetAccessError();

/// The number for a new record: from the chain of deleted ones, or a new one at the end.
/// Part of AddRec. A damaged chain is abandoned, so that the number of a live record is
/// never returned.
VANTRELAGENT_EXPORT int newrec(DataFile* file, std::uint32_t* number);

/// Read and write the first 31 bytes of a header record.
/// @{
VANTRELAGENT_EXPORT DataFileHeader ReadDataFileHeader(const std::uint8_t* bytes);
VANTRELAGENT_EXPORT void WriteDataFileHeader(const DataFileHeader& header, std::uint8_t* bytes);
/// @}
