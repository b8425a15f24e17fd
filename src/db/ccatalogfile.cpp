// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/ccatalogfile.h"

#include "base/text.h"
#include "db/catalogplace.h"
#include "db/dbfiles.h"
#include "db/dblayouts.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "db/noteowners.h"
#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/notesheap.h"
#include "util/logdb.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace Agent;

class CCatalogFile::Private
{
public:
    explicit Private(const DbOptions& options) : m_place(options) { }

    CatalogPlace m_place;
    std::int32_t m_nRecord = -1;
    std::array<std::array<char, 111>, 4> m_keys{}; // the product is stored under
    DbFiles m_files{ Catalog::layout, m_place.Files() };
    CNote m_notes{ &m_place.Files() };
    NoteOwners m_owners;
    CDependency m_dependency{ m_place.Shared() };
    QByteArrayList m_dependencies;
    QString m_sDescription;
    char m_serialText[21] = {};
    bool m_bOpen = false;
    bool m_bWhole = true; // since the files were opened
    bool m_bDependenciesWait = false; // are still to be read
    std::int32_t m_nWalked = -1; // the current product of the walk of categories
};

std::string CCatalogFile::CATALOGDFNAME;
std::string CCatalogFile::CATALOGIDXNAME1;
std::string CCatalogFile::CATALOGIDXNAME2;
std::string CCatalogFile::CATALOGIDXNAME3;
std::string CCatalogFile::CATALOGIDXNAME4;
std::string CCatalogFile::CATALOGNOTES;

namespace
{

constexpr int keys = Catalog::layout.indexCount;

CatalogPaths StaticPaths()
{
    return { { CCatalogFile::CATALOGDFNAME, CCatalogFile::CATALOGIDXNAME1,
               CCatalogFile::CATALOGIDXNAME2, CCatalogFile::CATALOGIDXNAME3,
               CCatalogFile::CATALOGIDXNAME4 },
             CCatalogFile::CATALOGNOTES,
             { CDependency::DEPENDENCYDFNAME, CDependency::DEPENDENCYIDXNAME1,
               CDependency::DEPENDENCYIDXNAME2 } };
}

// The folder of these paths, if all are in one folder.
std::string FolderOf(const CatalogPaths& paths)
{
    const std::string& data = paths.products[0];
    const std::string folder = data.substr(0, data.rfind('/') + 1);
    return paths == CatalogPathsIn(folder) ? folder : std::string();
}

// The part of a category that a saved product keeps.
std::string CutCategory(const char* category)
{
    const char* const text = category ? category : "";
    return std::string(text, CutLength(text, Catalog::categoryKeyWidth));
}

QString ReadText(CNote& notes, std::int32_t offset)
{
    const std::unique_ptr<char, decltype(&std::free)> text(notes.ReadNote(offset), std::free);
    return QString::fromUtf8(text.get());
}

} // namespace

CCatalogFile::CCatalogFile() : CCatalogFile(DbOptions()) { }

CCatalogFile::CCatalogFile(const DbOptions& options) : d(std::make_unique<Private>(options))
{
    if (CATALOGDFNAME.empty())
        InitStaticMembers();
    d->m_notes.AvoidOverlaps();
    AddNew();
}

CCatalogFile::~CCatalogFile() = default;

bool CCatalogFile::IsOpen() const
{
    return d->m_bOpen;
}

bool CCatalogFile::IsWhole() const
{
    return d->m_bWhole;
}

std::int32_t CCatalogFile::RecordNumber() const
{
    return d->m_nRecord;
}

QString CCatalogFile::Description() const
{
    return d->m_sDescription;
}

void CCatalogFile::setDescription(const QString& text)
{
    d->m_sDescription = text;
}

void CCatalogFile::InitStaticMembers()
{
    const auto path = [folder = CatalogFolder()](const char* name) { return folder + name; };
    CATALOGDFNAME = path(Catalog::layout.fileName);
    CATALOGIDXNAME1 = path(Catalog::layout.indexes[0].fileName);
    CATALOGIDXNAME2 = path(Catalog::layout.indexes[1].fileName);
    CATALOGIDXNAME3 = path(Catalog::layout.indexes[2].fileName);
    CATALOGIDXNAME4 = path(Catalog::layout.indexes[3].fileName);
    CATALOGNOTES = path(Catalog::notesName);
}

// ---- the files ----

std::string CCatalogFile::DescribedFolder()
{
    if (CATALOGDFNAME.empty())
        InitStaticMembers();
    if (CDependency::DEPENDENCYDFNAME.empty())
        CDependency::InitStaticMembers();
    return FolderOf(StaticPaths());
}

CatalogPaths CCatalogFile::Paths() const
{
    return d->m_place.Folder().empty() ? StaticPaths() : CatalogPathsIn(d->m_place.Folder());
}

// The folder in which to look for the current files; empty if the paths are used
// unchanged.
std::string CCatalogFile::Folder() const
{
    return d->m_place.IsFixed() ? std::string() : FolderOf(Paths());
}

bool CCatalogFile::Open()
try {
    return d->m_place.Files().Exists(Paths().products[0].c_str()) ? OpenCurrent() : Make(true);
} catch (const std::bad_alloc&) {
    Close();
    return OutOfMemory();
}

bool CCatalogFile::OpenCurrent()
{
    const std::string folder = Folder();
    d->m_bOpen = folder.empty() ? OpenAll(Paths())
                                : OpenCurrentCatalog(folder, [this](const std::string& current) {
                                      return OpenAll(CatalogPathsIn(current));
                                  });
    if (!d->m_bOpen)
        qCInfo(logDb, "cannot open the catalog of %s, error %d", d->m_place.Opened().c_str(),
               int(taerror));
    return d->m_bOpen;
}

bool CCatalogFile::OpenAll(const CatalogPaths& paths)
{
    Close();
    d->m_bWhole = true;
    d->m_place.SetOpened(paths.products[0]);
    return d->m_files.Open(paths.products) && d->m_notes.Open(paths.notes.c_str())
        && d->m_dependency.OpenOrCreate(paths.dependencies);
}

bool CCatalogFile::Create()
try {
    return Make(false);
} catch (const std::bad_alloc&) {
    Close();
    return OutOfMemory();
}

// A database that others can see is made in a new generation, and published when it is
// complete.
bool CCatalogFile::Make(bool isFirst)
{
    const std::string folder = Folder();
    if (folder.empty())
        return d->m_bOpen = CreateAll(Paths());
    {
        NewGeneration generation(folder, d->m_place.FilesBelow());
        d->m_bOpen = generation && CreateAll(CatalogPathsIn(generation.Folder()))
            && (isFirst ? generation.PublishFirst() : generation.Publish());
        if (!d->m_bOpen) {
            Close();
            qCInfo(logDb, "cannot make a catalog in %s, error %d, %s", folder.c_str(), int(taerror),
                   generation.Reason().c_str());
            return generation.Exists() && OpenCurrent();
        }
    }
    RemoveOldGenerations(folder);
    return true;
}

bool CCatalogFile::CreateAll(const CatalogPaths& paths)
{
    Close();
    d->m_bWhole = true;
    d->m_place.SetOpened(paths.products[0]);
    const bool created = d->m_files.Create(paths.products) && d->m_notes.Create(paths.notes.c_str())
        && d->m_dependency.CreateAt(paths.dependencies);
    if (created && d->m_place.IsPrivate())
        d->m_files.GatherKeys();
    return created;
}

void CCatalogFile::Close()
{
    const bool closed = d->m_dependency.Close();
    d->m_notes.Close();
    WriteGathered(d->m_files);
    d->m_bWhole = d->m_files.Close() && closed && d->m_bWhole;
    d->m_place.Close();
    d->m_owners.Clear();
    setDependencies({});
    d->m_nWalked = -1;
    d->m_bOpen = false;
}

bool CCatalogFile::IsReplaced() const
{
    const std::string data = d->m_place.PathOf(Catalog::layout.fileName, CATALOGDFNAME);
    if (!d->m_place.IsReplaced(data))
        return false;
    qCInfo(logDb, "the change is refused: the catalog of %s was replaced since it was opened",
           data.c_str());
    return true;
}

// ---- the record ----

void CCatalogFile::AddNew()
{
    m_record.fill(0);
    PutInt32(m_record.data() + Catalog::noteOffset, -1);
    d->m_nRecord = -1;
    d->m_keys = {};
    d->m_sDescription.clear();
    setDependencies({});
}

bool CCatalogFile::GetRecord(std::int32_t record)
try {
    if (!d->m_bOpen || !d->m_files.Read(record, m_record.data()))
        return false;
    d->m_nRecord = record;
    Catalog::EndTexts(m_record.data());
    MakeKeys();
    d->m_sDescription = ReadText(d->m_notes, NoteOffset());
    d->m_dependencies.clear();
    d->m_bDependenciesWait = true;
    return true;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// Files that were replaced during a change do not contain the change.
bool CCatalogFile::SaveRecord()
try {
    if (!d->m_bOpen || IsReplaced())
        return false;
    const bool stored = Store();
    return stored && !IsReplaced();
} catch (const std::bad_alloc&) {
    d->m_bWhole = false;
    return OutOfMemory();
}

bool CCatalogFile::Store()
{
    bool whole = SaveDescription();
    SetError(taNoError);
    const bool stored = d->m_nRecord == -1 ? AppendProduct() : UpdateProduct(&whole);
    whole = whole && (stored || taerror == taNoError);
    if (stored)
        whole = SaveDependencies() && whole;
    d->m_bWhole = d->m_bWhole && whole;
    return stored && whole;
}

// A note is never changed in place. Without a description the old note is deleted, but the
// record keeps its offset, where another product's text may be stored later. False if a
// text could not be stored; one that is too long is left out.
bool CCatalogFile::SaveDescription()
{
    const std::int32_t old = NoteOffset();
    if (old != -1 && (!d->m_sDescription.isEmpty() || d->m_nRecord != -1)) {
        d->m_owners.Read(d->m_files.Data(), d->m_notes);
        if (d->m_owners.MayDelete(old, d->m_nRecord)) {
            d->m_notes.DeleteNote(old);
            d->m_owners.Forget(old);
        }
    }
    if (d->m_sDescription.isEmpty())
        return true;
    const QByteArray text = d->m_sDescription.toUtf8();
    const std::int32_t offset = d->m_notes.SaveNote(text, text.size());
    PutInt32(m_record.data() + Catalog::noteOffset, offset);
    if (offset == -1)
        return text.size() > longestNoteBlock - blockHeaderLength;
    d->m_owners.Put(offset, text.size());
    if (d->m_nRecord != -1)
        d->m_owners.Belongs(offset, d->m_nRecord);
    return true;
}

bool CCatalogFile::AppendProduct()
{
    if (!d->m_files.Append(m_record.data(), &d->m_nRecord))
        return false;
    d->m_owners.Belongs(NoteOffset(), d->m_nRecord);
    MakeKeys();
    for (int which = 0; which < keys; ++which)
        if (!d->m_files.AddKey(which, d->m_nRecord, d->m_keys[std::size_t(which)].data()))
            return false;
    return true;
}

// A key that an index refuses is left out. *whole becomes false if one could not be written.
bool CCatalogFile::UpdateProduct(bool* whole)
{
    if (!d->m_files.Write(d->m_nRecord, m_record.data()))
        return false;
    Catalog::CutCategory(m_record.data());
    for (int which = 0; which < keys; ++which) {
        std::array<char, 111>& stored = d->m_keys[std::size_t(which)];
        std::array<char, 111> key;
        MakeKey(which, key.data());
        const bool same = which == 0 ? std::strcmp(key.data(), stored.data()) == 0
                                     : SameText(key.data(), stored.data());
        if (!same)
            *whole = MoveKey(which, key) && *whole;
    }
    return true;
}

bool CCatalogFile::MoveKey(int which, const std::array<char, 111>& key)
{
    std::array<char, 111>& stored = d->m_keys[std::size_t(which)];
    SetError(taNoError);
    const bool deleted
        = d->m_files.DeleteKey(which, d->m_nRecord, stored.data()) || taerror == taNoError;
    stored = key;
    SetError(taNoError);
    const bool added
        = d->m_files.AddKey(which, d->m_nRecord, stored.data()) || taerror == taNoError;
    return deleted && added;
}

// ---- dependencies ----

bool CCatalogFile::SaveDependencies()
{
    Dependencies();
    const bool removed = d->m_dependency.RemoveAll(d->m_nRecord);
    return d->m_dependency.StoreDepends(d->m_nRecord, d->m_dependencies) && removed;
}

void CCatalogFile::AddDependency(const char* name)
{
    Dependencies();
    d->m_dependencies.append(name);
}

void CCatalogFile::setDependencies(const QByteArrayList& names)
{
    d->m_dependencies = names;
    d->m_bDependenciesWait = false;
}

// Only saving through this object changes the stored names, and it calls this function
// first: so the names read now are the same as when the product was loaded.
const QByteArrayList& CCatalogFile::Dependencies()
{
    if (d->m_bDependenciesWait)
        d->m_dependency.LoadDepends(d->m_nRecord, d->m_dependencies);
    d->m_bDependenciesWait = false;
    return d->m_dependencies;
}

QByteArrayList CCatalogFile::OwnDependencies()
{
    QByteArrayList names;
    d->m_dependency.LoadOwnDepends(d->m_nRecord, names);
    return names;
}

// ---- finding ----

bool CCatalogFile::FindServerSerialNumber(std::int32_t serial)
try {
    if (d->m_bOpen)
        return LoadSerial(serial);
    const bool found = Open() && LoadSerial(serial);
    Close();
    return found;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CCatalogFile::FindServerSerialNumber(const char* serial)
{
    return FindServerSerialNumber(LeadingNumber(serial ? serial : ""));
}

bool CCatalogFile::LoadSerial(std::int32_t serial)
{
    const char* const key = serial < 0 ? "" : ServerSerialNumberStr(serial);
    std::int32_t record;
    if (!d->m_files.Search(3, key, &record) || !GetRecord(record))
        return false;
    return serial < 0 || ServerSerialNumber() == serial;
}

bool CCatalogFile::LoadInCategory(std::int32_t record, const char* category)
{
    const bool loaded = GetRecord(record);
    d->m_nWalked = loaded ? record : -1;
    if (!loaded)
        return false;
    return !category || SameText(Category(), CutCategory(category).c_str());
}

bool CCatalogFile::FindFirstForCategory(const char* category)
try {
    std::int32_t record;
    return d->m_bOpen && d->m_files.Search(0, CutCategory(category).c_str(), &record)
        && LoadInCategory(record, category);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CCatalogFile::FindNextForCategory(const char* category)
try {
    std::int32_t record;
    return d->m_bOpen && StepFromLoaded(&record) && LoadInCategory(record, category);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// The walk is at the loaded product unless another one was loaded since, or the index
// lost its position by a change.
bool CCatalogFile::StepFromLoaded(std::int32_t* record)
{
    if (d->m_nWalked == d->m_nRecord && d->m_files.Index(0)->depth > 0)
        return d->m_files.Next(0, record);
    return FindBehindLoaded(record);
}

bool CCatalogFile::FindBehindLoaded(std::int32_t* record)
{
    const char* const stored = d->m_keys[0].data();
    char key[keyRoom];
    bool found = d->m_files.Search(0, stored, record, key);
    while (found
           && tacompkeys(key, stored, std::uint32_t(*record), std::uint32_t(d->m_nRecord), 1) <= 0)
        found = d->m_files.Next(0, record, key);
    return found;
}

// ---- keys ----

void CCatalogFile::MakeKey(int which, char* key) const
{
    char text[keyRoom];
    Catalog::MakeKey(m_record.data(), which, text);
    std::strcpy(key, text);
}

void CCatalogFile::MakeKey1(char* key)
{
    Catalog::CutCategory(m_record.data());
    MakeKey(0, key);
}

void CCatalogFile::MakeKey2(char* key) const
{
    MakeKey(1, key);
}

void CCatalogFile::MakeKey3(char* key) const
{
    MakeKey(2, key);
}

void CCatalogFile::MakeKey4(char* key) const
{
    MakeKey(3, key);
}

void CCatalogFile::MakeKeys()
{
    Catalog::CutCategory(m_record.data());
    for (int which = 0; which < keys; ++which)
        MakeKey(which, d->m_keys[std::size_t(which)].data());
}

const char* CCatalogFile::ServerSerialNumberStr()
{
    return ServerSerialNumberStr(ServerSerialNumber());
}

const char* CCatalogFile::ServerSerialNumberStr(std::int32_t serial)
{
    FormatSerial(serial, d->m_serialText);
    return d->m_serialText;
}
