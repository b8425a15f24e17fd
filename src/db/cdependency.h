// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CDependency
/// What the products of the catalog depend on: one record for each name that a
/// product needs. The product is known by its record number in the catalog and
/// is called the parent.
///
/// The object is its own record: fill it, then save it. Texts are UTF-8; one
/// that is longer than its field is cut before the character that does not fit.
/// InitIndex comes first, and the object closes before UnInitIndex. One thread
/// at a time; nobody else may write the files meanwhile.

#pragma once

#include "../util/export.h"

#include <QByteArrayList>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Agent
{
class DbFiles;
class HeldFiles;
class StoreFiles;
} // namespace Agent

class VANTRELAGENT_EXPORT CDependency
{
public:
    CDependency();
    /// The files of another folder, whose name ends with a slash. With a file system
    /// of their own (null: that of the process) they are used just as they are there;
    /// it is an inside name of the record store and outlives the object.
    explicit CDependency(const std::string& folder, Agent::StoreFiles* files = nullptr);
    ~CDependency();
    CDependency(const CDependency&) = delete;
    CDependency& operator=(const CDependency&) = delete;

    /// The files in the agent's data folder, set by the first object: paths for the
    /// objects that have no folder of their own. Where they are links to the current
    /// generation of the catalog (see CCatalogFile), that is opened.
    /// @{
    static std::string DEPENDENCYDFNAME; ///< the data file
    static std::string DEPENDENCYIDXNAME1; ///< by parent and name
    static std::string DEPENDENCYIDXNAME2; ///< by name and parent
    /// @}
    /// Sets the paths; the constructor does it.
    static void InitStaticMembers();

    /// Opens the files, or makes them when the data file is not there. The first
    /// one that does not open ends it; those before it stay open until Close. The
    /// object goes on with them, and can no longer change anything, when an update
    /// puts others in their place.
    bool Open();
    /// Makes new ones, in place of those that are there.
    bool Create();
    /// Writes what is not yet written and closes all files; the destructor does, too.
    /// False when something could not be written: what was stored may not be found.
    bool Close();

    /// Empties the object, for a new record.
    void AddNew();
    /// At most 51 bytes. Returns the field.
    const char* setName(const char* name);
    /// Sets the parent, by its record number in the catalog.
    void setParent(std::int32_t parent);
    const char* Name() const; ///< what the parent needs
    std::int32_t Parent() const; ///< the parent's record number in the catalog
    std::int32_t RecordNumber() const { return m_nRecord; } ///< of this record; -1: new

    /// Stores the record. A new one is refused, false, when its parent has that
    /// name already; its bytes then stay in the data file, in no index. False, too,
    /// when the files were replaced since they were opened.
    bool SaveRecord();

    /// Stores a record for each name, as AddNew, setName, setParent and SaveRecord
    /// do one by one, in fewer transfers.
    void SaveDepends(std::int32_t parent, const QByteArrayList& names);

    /// All names of `parent`, in their order, and behind them those of every
    /// parent after it; nothing when `parent` has none. Takes as long as there
    /// are names to the end.
    void LoadDepends(std::int32_t parent, QByteArrayList& list);
    /// The names of `parent` alone.
    void LoadOwnDepends(std::int32_t parent, QByteArrayList& list);

    /// Removes every record of a parent. The object is then a new record like the
    /// last one of these.
    void RemoveAllDependencies(std::int32_t parent);

    /// The keys of the record, in buffers of 59 bytes.
    /// @{
    void MakeKey1(char* key) const;
    void MakeKey2(char* key) const;
    /// @}
    /// Both, into what the object remembers as the keys it is stored under.
    void MakeKeys();

private:
    friend class CCatalogFile;
    using Key = std::array<char, 59>;

    std::vector<std::string> Paths() const;
    std::string Folder() const;
    Agent::StoreFiles* Files() const;
    bool OpenOrCreate(const std::vector<std::string>& paths);
    bool IsReplaced() const;
    bool Store();
    bool AppendRecord();
    bool AddKeys();
    bool UpdateRecord();
    bool StoreDepends(std::int32_t parent, const QByteArrayList& names);
    bool RemoveAll(std::int32_t parent);
    bool RemoveOne(std::int32_t number, const char* found);
    void Load(std::int32_t parent, bool toTheEnd, QByteArrayList& list);

    const std::string m_sFolder; // empty: the static paths
    Agent::StoreFiles* const m_pFiles; // null: m_held
    std::unique_ptr<Agent::HeldFiles> m_held;
    std::string m_sData; // the data file, as it was opened
    std::array<std::uint8_t, 60> m_record;
    std::int32_t m_nRecord;
    std::unique_ptr<Agent::DbFiles> m_files;
    Key m_key1;
    Key m_key2;
};
