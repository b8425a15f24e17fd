// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CRUFile
/// The user's recently used applications, stored in the home folder: a record for
/// each, with all that is needed to start it again.
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
/// field is cut before the character that does not fit. Call InitIndex first, and
/// close the object before UnInitIndex. One thread at a time.
///
/// Several objects and processes may have the list open and change it. Each change
/// starts from the current content of the files, under a lock (a file in the same
/// folder), and is in the files when the call returns; each lookup sees the changes
/// made before it.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vantrelagent/export.h>

namespace Agent
{
struct DbOptions;
} // namespace Agent

class VANTRELAGENT_EXPORT CRUFile
{
public:
    CRUFile();
    /// With another folder, which must exist, or another file system; the type of the
    /// options is internal to the library.
    explicit CRUFile(const Agent::DbOptions& options);
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

    /// The path of this object's data file.
    std::string DataFilePath() const;
    /// Whether the data file is open, which is possible even after a failed Open.
    bool IsOpen() const;
    /// Opens the files, or makes them when the data file does not exist. False at the
    /// first one that does not open.
    bool Open();
    /// Makes new files, replacing existing ones.
    bool Create();
    /// Closes all files; so does the destructor. False when a change could not be
    /// written.
    bool Close();

    /// Empties the object, for a new item.
    void AddNew();
    /// Stores the item. The first failure ends the call, and the parts stored before
    /// stay: an item with the description of another one leaves its record and its
    /// place in the order of use. Nothing is stored when the loaded item was removed
    /// meanwhile, or another process has kept the list locked for ten seconds.
    bool Update();
    /// Opens the files, and repairs what prevents that: a missing or cut-off index is
    /// rebuilt from the records, as are all of them if there are none. False when the data
    /// file cannot be read or the folder cannot be written.
    bool OpenOrRepair();
    /// Makes the indexes agree with the records again, after a failure or damage: adds
    /// items that an index lacks, and removes keys without an item. Of several items of
    /// one product the one used last stays. If two products have one description, the
    /// second one's serial number is appended to it. A sound list is only read. False
    /// when the list cannot be read or written. In any case the object is a new item
    /// afterwards. The data file must be open; an index need not be (see OpenOrRepair).
    bool Repair();
    /// Loads an item, or the rest of a removed one, which cannot be stored again. On
    /// failure the object stays as it is.
    bool GetRecord(std::int32_t record);
    /// Records in the data file, its header and removed ones included; -1 when not
    /// open.
    std::int32_t GetFileSize() const;
    /// Items in the data file; -1 when not open.
    std::int32_t UsedRecs() const;

    /// Each of the following loads an item, and returns whether there was one.
    /// Letter case does not count.
    bool FindItem(const char* description);
    /// From the one used last back in time, always to an older one. A key is skipped if
    /// its item does not exist or has another key.
    /// @{
    bool FindLastAccessedItem();
    bool FindPrevAccessedItem();
    /// @}
    /// In the order of descriptions. The second one continues where the last lookup by
    /// description ended; it starts over after the end, or after this object made a
    /// change that moved a description.
    /// @{
    bool FindFirstByDescription();
    bool FindNextByDescription();
    /// @}
    /// A negative serial number means the item with the lowest.
    bool FindServerSerialNumber(std::int32_t serial);

    /// Removes the item with a serial number, 1 or above. The object is then a new
    /// item with its content, and FindPrevAccessedItem continues from it.
    bool DeleteRecord(std::int32_t serial);

    /// The serial number of the item, or a given one, in 20 digits, in a buffer that the
    /// object owns.
    /// @{
    const char* ServerSerialNumberStr();
    const char* ServerSerialNumberStr(std::int32_t serial);
    /// @}

    std::int32_t RecordNumber() const; ///< of the item; 0: new

    /// Each stores as much as fits and returns the field. The comments give the most
    /// bytes that each keeps.
    const char* SetDescription(const char* text); ///< keeps 60 bytes
    /// Sets the description, followed by the serial number in parentheses if another
    /// item of the open list has the same description: an index refuses equal ones. Set
    /// the serial number first. False when the longer description is also taken.
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
    /// Makes all keys and remembers them as those that the item is stored under.
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

    class Private;
    const std::unique_ptr<Private> d;
};
