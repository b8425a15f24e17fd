// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The local copy of the store's catalog: a record for each product, its
// description in a notes store, and the names it depends on in the dependency
// database.
//
//     InitIndex();
//     CCatalogFile catalog;
//     if (catalog.Open())
//         for (bool more = catalog.FindFirstForCategory("Games"); more;
//              more = catalog.FindNextForCategory("Games"))
//             puts(catalog.Name());
//     catalog.Close();
//     UnInitIndex();
//
// The object is its own record: a product is loaded into it, read and set there,
// and saved. Texts are UTF-8; one that is longer than its field is cut before the
// character that does not fit. InitIndex comes first, and the object closes
// before UnInitIndex. One thread at a time; nobody else may write the files
// meanwhile.

#pragma once

#include "../util/export.h"
#include "cdependency.h"

#include <QByteArrayList>
#include <QString>
#include <array>
#include <cstdint>
#include <memory>
#include <string>

class CNote;

class VANTRELAGENT_EXPORT CCatalogFile
{
public:
    CCatalogFile();
    ~CCatalogFile();
    CCatalogFile(const CCatalogFile&) = delete;
    CCatalogFile& operator=(const CCatalogFile&) = delete;

    // The files in the agent's data folder, set by the first object.
    static std::string CATALOGDFNAME;
    static std::string CATALOGIDXNAME1;
    static std::string CATALOGIDXNAME2;
    static std::string CATALOGIDXNAME3;
    static std::string CATALOGIDXNAME4;
    static std::string CATALOGNOTES; // .fil and .k1
    static void InitStaticMembers();

    // Opens all files, or makes them when the data file is not there. The first
    // one that does not open ends it, false; those before it stay open until
    // Close, and nothing can be read or saved.
    bool Open();
    // Makes new ones, in place of those that are there.
    bool Create();
    void Close();
    bool IsOpen() const { return m_bOpen; }

    // Empties the object, for a new product.
    void AddNew();
    // Loads a product. On failure the object stays as it is.
    bool GetRecord(std::int32_t record);
    // Stores the product with its description and the names in its dependency
    // list. The first thing that fails for a new one, such as a package name
    // that another product has, ends it, and what was stored stays.
    //
    // The list of a product that was loaded holds the names of later products
    // too (see CDependency::LoadDepends), which become its own by being saved:
    // setDependencies(OwnDependencies()) before saving keeps them out.
    bool SaveRecord();

    // The product with a serial number; a negative one asks for the product with
    // the lowest. A catalog that is not open is opened for the call, and what
    // stays of the product is its record and description. The text form takes
    // the number at the beginning of a text.
    bool FindServerSerialNumber(std::int32_t serial);
    bool FindServerSerialNumber(const char* serial);
    // Walk the products of a category by name; null walks those of all
    // categories, in the order of these. Letter case does not count. When there
    // is no further one the result is false, with another product loaded.
    bool FindFirstForCategory(const char* category);
    bool FindNextForCategory(const char* category);

    // 20 digits, in a buffer of the object's.
    const char* ServerSerialNumberStr();
    const char* ServerSerialNumberStr(std::int32_t serial);

    std::int32_t RecordNumber() const { return m_nRecord; } // -1: new
    std::int32_t NoteOffset() const; // -1: never had a description

    // Each stores what fits and returns the field: the bytes it takes at most
    // stand behind it.
    const char* setCategory(const char* text); // 75, and 60 once it is saved
    const char* setName(const char* text); // 50
    const char* setPackageName(const char* text); // 256, of which 50 must differ
    const char* setVersion(const char* text); // 50
    const char* setVendor(const char* text); // 256
    const char* setCopyright(const char* text); // 256
    const char* setPrice(const char* text); // 9
    const char* setReleaseDate(const char* text); // 10
    const char* setReviewScore(const char* text); // 9
    const char* setCategoryRanking(const char* text); // 9
    const char* setSubCategoryRanking(const char* text); // 9
    const char* setVantrelRanking(const char* text); // 10
    const char* setCategoryURL(const char* text); // 256
    const char* setApplicationURL(const char* text); // 256
    const char* setAuthorURL(const char* text); // 457
    void setInstalled(bool installed);
    void setHidden(bool hidden);
    void setServerSerialNumber(std::int32_t serial);
    void setDownloads(std::int32_t count);
    void setFileSize(std::int32_t bytes);

    const char* Category() const;
    const char* Name() const;
    const char* PackageName() const;
    const char* Version() const;
    const char* Vendor() const;
    const char* Copyright() const;
    const char* Price() const;
    const char* ReleaseDate() const;
    const char* ReviewScore() const;
    const char* CategoryRanking() const;
    const char* SubCategoryRanking() const;
    const char* VantrelRanking() const;
    const char* CategoryURL() const;
    const char* ApplicationURL() const;
    const char* AuthorURL() const;
    bool Installed() const;
    bool Hidden() const;
    std::int32_t ServerSerialNumber() const;
    std::int32_t Downloads() const;
    std::int32_t FileSize() const;

    // Up to 499,992 bytes of UTF-8 are kept, of a longer one nothing.
    void setDescription(const QString& text) { m_sDescription = text; }
    QString Description() const { return m_sDescription; }

    // The names the product depends on. Those of a loaded product are read when
    // they are first asked for.
    void AddDependency(const char* name);
    void setDependencies(const QByteArrayList& names);
    const QByteArrayList& Dependencies();
    // Those that are stored for the loaded product alone.
    QByteArrayList OwnDependencies();

    // The keys of the product, in buffers of 111, 51, 51 and 21 bytes. The first
    // one cuts the product's category to 60 bytes.
    void MakeKey1(char* key);
    void MakeKey2(char* key) const;
    void MakeKey3(char* key) const;
    void MakeKey4(char* key) const;
    // All four, into what the object remembers as the keys it is stored under.
    void MakeKeys();

private:
    void MakeKey(int which, char* key) const;
    void SaveDescription();
    bool AppendProduct();
    bool UpdateProduct();
    void SaveDependencies();
    bool LoadSerial(std::int32_t serial);
    bool LoadInCategory(std::int32_t record, const char* category);
    bool FindBehindLoaded(std::int32_t* record);
    bool StepFromLoaded(std::int32_t* record);

    std::array<std::uint8_t, 2012> m_record;
    std::int32_t m_nRecord;
    std::array<std::array<char, 111>, 4> m_keys; // the product is stored under
    std::unique_ptr<class DbFiles> m_files;
    std::unique_ptr<CNote> m_notes;
    CDependency m_dependency;
    QByteArrayList m_dependencies;
    QString m_sDescription;
    char m_serialText[21];
    bool m_bOpen = false;
    bool m_bDependenciesWait = false; // are still to be read
    std::int32_t m_nWalked = -1; // the product on which the walk of categories stands
};
