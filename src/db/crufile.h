// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The applications that the user used last, in the user's home: a record for
// each with what is needed to start it again.
//
//     InitIndex();
//     CRUFile list;
//     if (list.Open())
//         for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem())
//             puts(list.Description()); // newest first
//     list.Close();
//     UnInitIndex();
//
// The object is its own record. Texts are UTF-8; one that is longer than its
// field is cut before the character that does not fit. InitIndex comes first,
// and the object closes before UnInitIndex. One thread at a time; nobody else
// may write the files meanwhile.

#pragma once

#include "../util/export.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>

class VANTRELAGENT_EXPORT CRUFile
{
public:
    CRUFile();
    ~CRUFile();
    CRUFile(const CRUFile&) = delete;
    CRUFile& operator=(const CRUFile&) = delete;

    // The files, in ~/.kde/share/apps/vantrelagent, which the first object sets
    // and whose folder it makes.
    static std::string RUDATAFILE;
    static std::string RUDATAIDX1;
    static std::string RUDATAIDX2;
    static std::string RUDATAIDX3;
    static void InitStaticMembers();

    // Whether the data file is open: after an Open that failed it may be so.
    bool IsOpen() const;
    // Opens the files, or makes them when the data file is not there. The first
    // one that does not open ends it, false.
    bool Open();
    // Makes new ones, in place of those that are there.
    bool Create();
    void Close();

    // Empties the object, for a new item.
    void AddNew();
    // Stores the item. The first thing that fails ends it, and what was stored
    // stays: an item with the description of another one leaves its record and
    // its place in the order of use.
    bool Update();
    // Loads an item, or what is left of one that was removed, which cannot be
    // stored again. On failure the object stays as it is.
    bool GetRecord(std::int32_t record);
    // Records in the data file with its header, and items; -1 when not open.
    std::int32_t GetFileSize() const;
    std::int32_t UsedRecs() const;

    // Each loads an item. Letter case does not count.
    bool FindItem(const char* description);
    // From the one used last back in time.
    bool FindLastAccessedItem();
    bool FindPrevAccessedItem();
    // In the order of descriptions; the second one goes on where the index is,
    // and after a change or the end begins anew.
    bool FindFirstByDescription();
    bool FindNextByDescription();
    // A negative serial number asks for the item with the lowest.
    bool FindServerSerialNumber(std::int32_t serial);

    // Removes the item with a serial number. The object is then a new item like
    // it, from which FindPrevAccessedItem goes on.
    bool DeleteRecord(std::int32_t serial);

    // 20 digits, in a buffer of the object's.
    const char* ServerSerialNumberStr();
    const char* ServerSerialNumberStr(std::int32_t serial);

    std::int32_t RecordNumber() const { return m_nRecord; } // 0: new

    // Each stores what fits and returns the field: the bytes it takes at most
    // stand behind it.
    const char* SetDescription(const char* text); // 60
    const char* SetExecutablePath(const char* text); // 127
    const char* SetIconPath(const char* text); // 255
    const char* SetSmallIconPath(const char* text); // 130
    void SetServerSerialNumber(std::int32_t serial);
    void SetLastAccessed(std::int32_t time); // seconds since 1970

    const char* Description() const;
    const char* ExecutablePath() const;
    const char* IconPath() const;
    const char* SmallIconPath() const;
    std::int32_t ServerSerialNumber() const;
    std::int32_t LastAccessed() const;

    // The key of index `which`, 0 to 2, in a buffer of 73 bytes.
    void MakeKey(char* key, int which) const;
    // All, into what the object remembers as the keys it is stored under.
    void MakeKeys();

private:
    using Key = std::array<char, 73>;

    bool Append();
    bool Rewrite();
    bool Load(bool found);
    bool LoadBefore(const char* key);

    std::array<std::uint8_t, 792> m_record;
    std::int32_t m_nRecord;
    std::int32_t m_nFound; // by the last lookup
    std::array<Key, 3> m_keys; // the item is stored under
    std::unique_ptr<class DbFiles> m_files;
    char m_serialText[21];
};
