// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CRUFile
/// The applications that the user used last, in the user's home: a record for
/// each with what is needed to start it again.
///
///     InitIndex();
///     CRUFile list;
///     if (list.Open())
///         for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem())
///             puts(list.Description()); // newest first
///     list.Close();
///     UnInitIndex();
///
/// The object is its own record. Texts are UTF-8; one that is longer than its
/// field is cut before the character that does not fit. InitIndex comes first,
/// and the object closes before UnInitIndex. One thread at a time.
///
/// Several objects and processes may have the list open and change it. Each change
/// is made on the files as they are then, under a lock (a file beside them), and
/// is in the files when the call returns; each lookup sees the changes made before
/// it.

#pragma once

#include "../util/export.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace Agent
{
class DbFiles;
}

class VANTRELAGENT_EXPORT CRUFile
{
public:
    CRUFile();
    ~CRUFile();
    CRUFile(const CRUFile&) = delete;
    CRUFile& operator=(const CRUFile&) = delete;

    /// The files, in ~/.kde/share/apps/vantrelagent, which the first object sets
    /// and whose folder it makes.
    /// Paths as they are opened.
    /// @{
    static std::string RUDATAFILE; ///< the data file
    static std::string RUDATAIDX1; ///< by time of the last use and description
    static std::string RUDATAIDX2; ///< by description
    static std::string RUDATAIDX3; ///< by serial number
    /// @}
    /// Sets the paths and makes the folder; the constructor does it.
    static void InitStaticMembers();

    /// Whether the data file is open: after an Open that failed it may be so.
    bool IsOpen() const;
    /// Opens the files, or makes them when the data file is not there. The first
    /// one that does not open ends it, false.
    bool Open();
    /// Makes new ones, in place of those that are there.
    bool Create();
    /// Closes all files; the destructor does, too. False when something that should
    /// be in them could not be written.
    bool Close();

    /// Empties the object, for a new item.
    void AddNew();
    /// Stores the item. The first thing that fails ends it, and what was stored
    /// stays: an item with the description of another one leaves its record and
    /// its place in the order of use. Refused with nothing stored when the loaded
    /// item was removed meanwhile, or another process has kept the list for ten
    /// seconds.
    bool Update();
    /// Opens the files, and puts right what keeps them from being opened: an index that
    /// is missing or cut off is made again from the records, and so is a list without
    /// any. False when the data file cannot be read or the folder cannot be written.
    bool OpenOrRepair();
    /// Brings the indexes in step with the records, after a failure or damage left
    /// them apart: an item that an index lacks gets into it, a key without an item
    /// goes. Of several items of one product the one used last stays. Where two
    /// products have one description, that of the second gets its serial number
    /// behind it. A sound list is only read. False when the list cannot be
    /// read or written; the object is then, as otherwise, a new item. The data file
    /// must be open; an index need not be (see OpenOrRepair).
    bool Repair();
    /// Loads an item, or what is left of one that was removed, which cannot be
    /// stored again. On failure the object stays as it is.
    bool GetRecord(std::int32_t record);
    /// Records in the data file, its header and removed ones included; -1 when not
    /// open.
    std::int32_t GetFileSize() const;
    /// Items in the data file; -1 when not open.
    std::int32_t UsedRecs() const;

    /// Each of the following loads an item, and returns whether there was one.
    /// Letter case does not count.
    bool FindItem(const char* description);
    /// From the one used last back in time, always to an older one. A key whose item
    /// is not there, or says something else of itself, is passed over.
    /// @{
    bool FindLastAccessedItem();
    bool FindPrevAccessedItem();
    /// @}
    /// In the order of descriptions; the second one goes on where the last lookup by
    /// description came to, and begins again after the end, or after a change of
    /// this object's that moved a description.
    /// @{
    bool FindFirstByDescription();
    bool FindNextByDescription();
    /// @}
    /// A negative serial number asks for the item with the lowest.
    bool FindServerSerialNumber(std::int32_t serial);

    /// Removes the item with a serial number, 1 or above. The object is then a new
    /// item like it, from which FindPrevAccessedItem goes on.
    bool DeleteRecord(std::int32_t serial);

    /// The serial number of the item, or another one, in 20 digits, in a buffer of the
    /// object's.
    /// @{
    const char* ServerSerialNumberStr();
    const char* ServerSerialNumberStr(std::int32_t serial);
    /// @}

    std::int32_t RecordNumber() const { return m_nRecord; } ///< of the item; 0: new

    /// Each stores what fits and returns the field. Behind each stands how many bytes
    /// it keeps at most.
    const char* SetDescription(const char* text); ///< keeps 60 bytes
    /// Sets the description, with the serial number behind it in parentheses where
    /// another item of the open list has it: an index refuses equal ones. The serial
    /// number is to be set before. False when that is taken, too.
    bool SetUniqueDescription(const char* text);
    const char* SetExecutablePath(const char* text); ///< keeps 127 bytes
    const char* SetIconPath(const char* text); ///< keeps 255 bytes
    const char* SetSmallIconPath(const char* text); ///< keeps 130 bytes
    void SetServerSerialNumber(std::int32_t serial); ///< of the product in the store
    void SetLastAccessed(std::int32_t time); ///< seconds since 1970

    const char* Description() const; ///< the name to show
    const char* ExecutablePath() const; ///< the command that starts it
    const char* IconPath() const; ///< the path of its icon; may be empty
    const char* SmallIconPath() const; ///< the path of its small icon; may be empty
    std::int32_t ServerSerialNumber() const; ///< of the product in the store
    std::int32_t LastAccessed() const; ///< seconds since 1970

    /// The key of index `which`, 0 to 2, in a buffer of 73 bytes.
    void MakeKey(char* key, int which) const;
    /// All, into what the object remembers as the keys it is stored under.
    void MakeKeys();

private:
    using Key = std::array<char, 73>;

    using Record = std::array<std::uint8_t, 792>;

    bool MakeFiles();
    bool Append();
    bool Rewrite();
    bool IsStillThere();
    bool IsTaken(const std::string& description) const;
    bool Load(bool found);
    bool LoadBelow(std::string key);

    Record m_record;
    Record m_stored{}; // the item as it is in the file
    std::int32_t m_nRecord;
    std::int32_t m_nFound; // by the last lookup
    std::array<Key, 3> m_keys; // the item is stored under
    std::unique_ptr<Agent::DbFiles> m_files;
    std::string m_walked; // the description that the walk by these came to
    bool m_bWalking = false; // whether there is one
    char m_serialText[21];
};
