// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CDependency
/// The dependencies of the catalog's products: one record for each name that a
/// product needs. The product is identified by its record number in the catalog and
/// is called the parent.
///
/// The object is its own record: fill it, then save it. Texts are UTF-8; one
/// that is longer than its field is cut before the character that does not fit.
/// Call InitIndex first, and close the object before UnInitIndex. One thread at a
/// time; no other writer may use the files meanwhile.

#pragma once

#include <QByteArrayList>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vantrelagent/export.h>
#include <vector>

namespace Agent
{
struct DbOptions;
} // namespace Agent

class VANTRELAGENT_EXPORT CDependency
{
public:
    CDependency();
    /// With another folder or file system; the type of the options is internal to the
    /// library.
    explicit CDependency(const Agent::DbOptions& options);
    ~CDependency();
    CDependency(const CDependency&) = delete;
    CDependency& operator=(const CDependency&) = delete;

    /// The files in the agent's data folder, set by the first object: paths for the
    /// objects that have no folder of their own. If they are links to the current
    /// generation of the catalog (see CCatalogFile), that generation is opened.
    /// @{
    static std::string DEPENDENCYDFNAME; ///< the data file
    static std::string DEPENDENCYIDXNAME1; ///< by parent and name
    static std::string DEPENDENCYIDXNAME2; ///< by name and parent
    /// @}
    /// Sets the paths; the constructor does it.
    static void InitStaticMembers();

    /// Opens the files, or makes them when the data file does not exist. False at the
    /// first one that does not open; those before it stay open until Close. When an
    /// update replaces the files, the object keeps using the old ones, but can no longer
    /// change anything.
    bool Open();
    /// Makes new files, replacing existing ones.
    bool Create();
    /// Writes all pending changes and closes all files; so does the destructor. False
    /// when something could not be written: stored records may then not be found.
    bool Close();

    /// Empties the object, for a new record.
    void AddNew();
    /// At most 51 bytes. Returns the field.
    const char* setName(const char* name);
    /// Sets the parent, by its record number in the catalog.
    void setParent(std::int32_t parent);
    const char* Name() const; ///< the name that the parent needs
    std::int32_t Parent() const; ///< the parent's record number in the catalog
    std::int32_t RecordNumber() const; ///< of this record; -1: new

    /// Stores the record. False for a new one whose parent already has that name; its
    /// bytes then stay in the data file, without being in an index. Also false when the
    /// files were replaced since they were opened.
    bool SaveRecord();

    /// Stores a record for each name, like AddNew, setName, setParent and SaveRecord,
    /// but in fewer transfers.
    void SaveDepends(std::int32_t parent, const QByteArrayList& names);

    /// All names of `parent`, in their order, followed by those of every later
    /// parent; nothing when `parent` has none. The time depends on the number of names
    /// to the end.
    void LoadDepends(std::int32_t parent, QByteArrayList& list);
    /// The names of `parent` only.
    void LoadOwnDepends(std::int32_t parent, QByteArrayList& list);

    /// Removes every record of a parent. The object is then a new record with the
    /// content of the last one removed.
    void RemoveAllDependencies(std::int32_t parent);

    /// The keys of the record, in buffers of 59 bytes.
    /// @{
    void MakeKey1(char* key) const;
    void MakeKey2(char* key) const;
    /// @}
    /// Makes both keys and remembers them as those that the record is stored under.
    void MakeKeys();

private:
    friend class CCatalogFile;
    using Key = std::array<char, 59>;

    std::vector<std::string> Paths() const;
    std::string Folder() const;
    bool OpenOrCreate(const std::vector<std::string>& paths);
    bool CreateAt(const std::vector<std::string>& paths);
    bool IsReplaced() const;
    bool Store();
    class ProductKeys;
    bool AppendRecord(ProductKeys& keys);
    bool AddKeys(ProductKeys& keys);
    bool UpdateRecord();
    bool StoreDepends(std::int32_t parent, const QByteArrayList& names);
    bool RemoveAll(std::int32_t parent);
    bool RemoveOne(std::int32_t number, const char* found);
    void Load(std::int32_t parent, bool toTheEnd, QByteArrayList& list);

    class Private;
    const std::unique_ptr<Private> d;
};
