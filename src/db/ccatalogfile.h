// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CCatalogFile
/// The local copy of the store's catalog: a record for each product, its
/// description in a notes store, and the names it depends on in the dependency
/// database.
///
///     InitIndex();
///     CCatalogFile catalog;
///     if (catalog.Open())
///         for (bool more = catalog.FindFirstForCategory("Games"); more;
///              more = catalog.FindNextForCategory("Games"))
///             puts(catalog.Name());
///     catalog.Close();
///     UnInitIndex();
///
/// The object is its own record: a product is loaded into it, read and set there,
/// and saved. Texts are UTF-8; one that is longer than its field is cut before the
/// character that does not fit. Call InitIndex first, and close the object before
/// UnInitIndex. One thread at a time; no other writer may use the files meanwhile.
///
/// An update (CAPIUpdateCatalog, in this process or another one) and Create make new
/// files that replace the old ones in one step. An open object keeps using the files
/// that it opened, whole and unchanged, until it is opened again; SaveRecord refuses to
/// change them. The files stay open between calls, ten descriptors for an object, unless
/// half of the descriptors that the process may have are in use: files opened beyond
/// that fail once they are replaced.

#pragma once

#include "cdependency.h"
#include "productrecord.h"

#include <QByteArrayList>
#include <QString>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vantrelagent/export.h>

namespace Agent
{
struct CatalogPaths;
struct DbOptions;
} // namespace Agent

class VANTRELAGENT_EXPORT CCatalogFile : public Agent::ProductRecord
{
public:
    CCatalogFile();
    /// With another folder or file system; the type of the options is internal to the
    /// library.
    explicit CCatalogFile(const Agent::DbOptions& options);
    ~CCatalogFile();
    CCatalogFile(const CCatalogFile&) = delete;
    CCatalogFile& operator=(const CCatalogFile&) = delete;

    /// The files in the agent's data folder, set by the first object: paths for the
    /// objects that have no folder of their own. They are links to the current files
    /// (docs/databases.md).
    /// @{
    static std::string CATALOGDFNAME; ///< the data file
    static std::string CATALOGIDXNAME1; ///< by category and name
    static std::string CATALOGIDXNAME2; ///< by name
    static std::string CATALOGIDXNAME3; ///< by package name
    static std::string CATALOGIDXNAME4; ///< by serial number
    static std::string CATALOGNOTES; ///< the descriptions, without ".fil" and ".k1"
    /// @}
    /// Sets the paths; the constructor does it.
    static void InitStaticMembers();
    /// The folder of these files and those of CDependency; empty if they are not in one
    /// folder under their usual names.
    static std::string DescribedFolder();

    /// Opens all files, or makes them when the data file does not exist. False at the
    /// first one that does not open; those before it stay open until Close, and nothing
    /// can be read or saved.
    bool Open();
    /// Makes new files, replacing existing ones. False, with the existing ones
    /// unchanged, if that fails or the folder cannot be written.
    bool Create();
    /// Writes all pending changes and closes all files; so does the destructor.
    void Close();
    /// Whether all files are open.
    bool IsOpen() const;
    /// Whether all changes since the files were opened could be written and, after
    /// Close, were. Refusals by an index do not count.
    bool IsWhole() const;

    /// Empties the object, for a new product.
    void AddNew();
    /// Loads a product. On failure the object stays as it is.
    bool GetRecord(std::int32_t record);
    /// Stores the product with its description and the names in its dependency
    /// list. For a new product, the first failure, such as a package name that another
    /// product has, ends the call, and the parts stored before stay. If the files were
    /// replaced since they were opened, nothing is stored: false, with a line in the log
    /// (vantrel.agent.db). Also false when a part could not be written, such as the
    /// description; the other parts are stored nevertheless.
    ///
    /// The list of a loaded product also holds the names of later products (see
    /// CDependency::LoadDepends), and saving makes them its own. To avoid that, call
    /// setDependencies(OwnDependencies()) before saving.
    bool SaveRecord();

    /// Find and load the product with a serial number; a negative one means the product
    /// with the lowest. A catalog that is not open is opened for the call; only the
    /// product's record and description remain loaded then. The text form takes the
    /// number at the beginning of a text.
    /// @{
    bool FindServerSerialNumber(std::int32_t serial);
    bool FindServerSerialNumber(const char* serial);
    /// @}
    /// Walk the products of a category by name; null walks all categories, in their
    /// order. Letter case and everything after the first 60 bytes of a category's name
    /// do not count. Without a further product the result is false, and another
    /// product is loaded.
    /// @{
    bool FindFirstForCategory(const char* category);
    bool FindNextForCategory(const char* category);
    /// @}

    /// The serial number of the product, or a given one, in 20 digits, in a buffer that
    /// the object owns.
    /// @{
    const char* ServerSerialNumberStr();
    const char* ServerSerialNumberStr(std::int32_t serial);
    /// @}

    std::int32_t RecordNumber() const; ///< of the product; -1: new
    std::int32_t NoteOffset() const; ///< of the description; -1: never had one

    /// Each stores as much as fits and returns the field. The comments give the most
    /// bytes that each keeps.
    const char* setCategory(const char* text); ///< keeps 75 bytes, and 60 once it is saved
    const char* setName(const char* text); ///< keeps 50 bytes
    const char* setPackageName(const char* text); ///< keeps 256 bytes, of which 50 must differ
    const char* setVersion(const char* text); ///< keeps 50 bytes
    const char* setVendor(const char* text); ///< keeps 256 bytes
    const char* setCopyright(const char* text); ///< keeps 256 bytes
    const char* setPrice(const char* text); ///< keeps 9 bytes
    const char* setReleaseDate(const char* text); ///< keeps 10 bytes
    const char* setReviewScore(const char* text); ///< keeps 9 bytes
    const char* setCategoryRanking(const char* text); ///< keeps 9 bytes
    const char* setSubCategoryRanking(const char* text); ///< keeps 9 bytes
    const char* setVantrelRanking(const char* text); ///< keeps 10 bytes
    const char* setCategoryURL(const char* text); ///< keeps 256 bytes
    const char* setApplicationURL(const char* text); ///< keeps 256 bytes
    const char* setAuthorURL(const char* text); ///< keeps 457 bytes
    void setInstalled(bool installed); ///< marks it as installed
    void setHidden(bool hidden); ///< marks it as hidden
    void setServerSerialNumber(std::int32_t serial); ///< 1 or above, unique
    void setDownloads(std::int32_t count); ///< how often it was downloaded
    void setFileSize(std::int32_t bytes); ///< of its download

    /// Sets all fields at once to those of another product. The description and the names
    /// it depends on stay.
    void setFields(const Agent::ProductRecord& product) { CopyFields(product); }

    /// Keeps up to 499,992 bytes of UTF-8, and nothing of a longer text. A product
    /// whose description was cleared keeps the place of the text. If another product's
    /// text is stored there, both show it, but it is deleted only with the other one.
    void setDescription(const QString& text);
    QString Description() const; ///< empty without one

    /// The names the product depends on. Those of a loaded product are read when first
    /// needed.
    /// @{
    void AddDependency(const char* name);
    void setDependencies(const QByteArrayList& names);
    const QByteArrayList& Dependencies();
    /// @}
    /// The names stored for the loaded product only.
    QByteArrayList OwnDependencies();

    /// The keys of the product, in buffers of 111, 51, 51 and 21 bytes. The first
    /// one cuts the product's category to 60 bytes.
    /// @{
    void MakeKey1(char* key);
    void MakeKey2(char* key) const;
    void MakeKey3(char* key) const;
    void MakeKey4(char* key) const;
    /// @}
    /// Makes all four keys and remembers them as those that the product is stored under.
    void MakeKeys();

private:
    Agent::CatalogPaths Paths() const;
    std::string Folder() const;
    bool OpenAll(const Agent::CatalogPaths& paths);
    bool CreateAll(const Agent::CatalogPaths& paths);
    bool OpenCurrent();
    bool Make(bool isFirst);
    bool IsReplaced() const;
    bool Store();
    void MakeKey(int which, char* key) const;
    bool SaveDescription();
    bool AppendProduct();
    bool UpdateProduct(bool* whole);
    bool MoveKey(int which, const std::array<char, 111>& key);
    bool SaveDependencies();
    bool LoadSerial(std::int32_t serial);
    bool LoadInCategory(std::int32_t record, const char* category);
    bool FindBehindLoaded(std::int32_t* record);
    bool StepFromLoaded(std::int32_t* record);

    class Private;
    const std::unique_ptr<Private> d;
};
