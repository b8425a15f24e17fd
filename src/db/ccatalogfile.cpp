// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/ccatalogfile.h"

#include "base/text.h"
#include "db/dbfiles.h"
#include "db/dblayouts.h"
#include "db/dbshared.h"
#include "db/generations.h"
#include "db/heldfiles.h"
#include "db/noteowners.h"
#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/notesheap.h"
#include "util/diagnostics.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace Agent;

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

CCatalogFile::CCatalogFile() : CCatalogFile(std::string()) { }

CCatalogFile::CCatalogFile(const std::string& folder, StoreFiles* files)
    : m_sFolder(folder), m_pFiles(files), m_held(std::make_unique<HeldFiles>()),
      m_files(std::make_unique<DbFiles>(Catalog::layout)),
      m_notes(std::make_unique<CNote>(Files())), m_owners(std::make_unique<NoteOwners>()),
      m_dependency(folder, Files()), m_serialText()
{
    if (CATALOGDFNAME.empty())
        InitStaticMembers();
    m_notes->AvoidOverlaps();
    AddNew();
}

CCatalogFile::~CCatalogFile() = default;

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
    return m_sFolder.empty() ? StaticPaths() : CatalogPathsIn(m_sFolder);
}

// The folder in which to look for the current files; empty if the paths are used
// unchanged.
std::string CCatalogFile::Folder() const
{
    return m_pFiles ? std::string() : FolderOf(Paths());
}

StoreFiles* CCatalogFile::Files() const
{
    return m_pFiles ? m_pFiles : m_held.get();
}

bool CCatalogFile::Open()
try {
    return Files()->Exists(Paths().products[0].c_str()) ? OpenCurrent() : Make(true);
} catch (const std::bad_alloc&) {
    Close();
    return OutOfMemory();
}

bool CCatalogFile::OpenCurrent()
{
    const std::string folder = Folder();
    m_bOpen = folder.empty() ? OpenAll(Paths())
                             : OpenCurrentCatalog(folder, [this](const std::string& current) {
                                   return OpenAll(CatalogPathsIn(current));
                               });
    if (!m_bOpen)
        qCInfo(logDb, "cannot open the catalog of %s, error %d", m_sData.c_str(), int(taerror));
    return m_bOpen;
}

bool CCatalogFile::OpenAll(const CatalogPaths& paths)
{
    Close();
    m_bWhole = true;
    m_sData = paths.products[0];
    return m_files->Open(paths.products, Files()) && m_notes->Open(paths.notes.c_str())
        && m_dependency.OpenOrCreate(paths.dependencies);
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
        return m_bOpen = CreateAll(Paths());
    {
        NewGeneration generation(folder);
        m_bOpen = generation && CreateAll(CatalogPathsIn(generation.Folder()))
            && (isFirst ? generation.PublishFirst() : generation.Publish());
        if (!m_bOpen) {
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
    m_bWhole = true;
    m_sData = paths.products[0];
    return m_files->Create(paths.products, Files()) && m_notes->Create(paths.notes.c_str())
        && m_dependency.m_files->Create(paths.dependencies, Files());
}

void CCatalogFile::Close()
{
    const bool closed = m_dependency.Close();
    m_notes->Close();
    m_bWhole = m_files->Close() && closed && m_bWhole;
    m_held->CloseAll();
    m_owners->Clear();
    setDependencies({});
    m_nWalked = -1;
    m_bOpen = false;
}

// With a file system of its own, the caller is responsible for replaced files.
bool CCatalogFile::IsReplaced() const
{
    if (m_pFiles)
        return false;
    const std::string data
        = m_sFolder.empty() ? CATALOGDFNAME : m_sFolder + Catalog::layout.fileName;
    if (m_held->LeadsTo(data, m_sData))
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
    m_nRecord = -1;
    m_keys = {};
    m_sDescription.clear();
    setDependencies({});
}

bool CCatalogFile::GetRecord(std::int32_t record)
try {
    if (!m_bOpen || !m_files->Read(record, m_record.data()))
        return false;
    m_nRecord = record;
    Catalog::EndTexts(m_record.data());
    MakeKeys();
    m_sDescription = ReadText(*m_notes, NoteOffset());
    m_dependencies.clear();
    m_bDependenciesWait = true;
    return true;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// Files that were replaced during a change do not contain the change.
bool CCatalogFile::SaveRecord()
try {
    if (!m_bOpen || IsReplaced())
        return false;
    const bool stored = Store();
    return stored && !IsReplaced();
} catch (const std::bad_alloc&) {
    m_bWhole = false;
    return OutOfMemory();
}

bool CCatalogFile::Store()
{
    bool whole = SaveDescription();
    SetError(taNoError);
    const bool stored = m_nRecord == -1 ? AppendProduct() : UpdateProduct(&whole);
    whole = whole && (stored || taerror == taNoError);
    if (stored)
        whole = SaveDependencies() && whole;
    m_bWhole = m_bWhole && whole;
    return stored && whole;
}

// A note is never changed in place. Without a description the old note is deleted, but the
// record keeps its offset, where another product's text may be stored later. False if a
// text could not be stored; one that is too long is left out.
bool CCatalogFile::SaveDescription()
{
    const std::int32_t old = NoteOffset();
    if (old != -1 && (!m_sDescription.isEmpty() || m_nRecord != -1)) {
        m_owners->Read(m_files->Data(), *m_notes);
        if (m_owners->MayDelete(old, m_nRecord)) {
            m_notes->DeleteNote(old);
            m_owners->Forget(old);
        }
    }
    if (m_sDescription.isEmpty())
        return true;
    const QByteArray text = m_sDescription.toUtf8();
    const std::int32_t offset = m_notes->SaveNote(text, text.size());
    PutInt32(m_record.data() + Catalog::noteOffset, offset);
    if (offset == -1)
        return text.size() > longestNoteBlock - blockHeaderLength;
    m_owners->Put(offset, text.size());
    if (m_nRecord != -1)
        m_owners->Belongs(offset, m_nRecord);
    return true;
}

bool CCatalogFile::AppendProduct()
{
    if (!m_files->Append(m_record.data(), &m_nRecord))
        return false;
    m_owners->Belongs(NoteOffset(), m_nRecord);
    MakeKeys();
    for (int which = 0; which < keys; ++which)
        if (!m_files->AddKey(which, m_nRecord, m_keys[std::size_t(which)].data()))
            return false;
    return true;
}

// A key that an index refuses is left out. *whole becomes false if one could not be written.
bool CCatalogFile::UpdateProduct(bool* whole)
{
    if (!m_files->Write(m_nRecord, m_record.data()))
        return false;
    Catalog::CutCategory(m_record.data());
    for (int which = 0; which < keys; ++which) {
        std::array<char, 111>& stored = m_keys[std::size_t(which)];
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
    std::array<char, 111>& stored = m_keys[std::size_t(which)];
    SetError(taNoError);
    const bool deleted
        = m_files->DeleteKey(which, m_nRecord, stored.data()) || taerror == taNoError;
    stored = key;
    SetError(taNoError);
    const bool added = m_files->AddKey(which, m_nRecord, stored.data()) || taerror == taNoError;
    return deleted && added;
}

// ---- dependencies ----

bool CCatalogFile::SaveDependencies()
{
    Dependencies();
    const bool removed = m_dependency.RemoveAll(m_nRecord);
    return m_dependency.StoreDepends(m_nRecord, m_dependencies) && removed;
}

void CCatalogFile::AddDependency(const char* name)
{
    Dependencies();
    m_dependencies.append(name);
}

void CCatalogFile::setDependencies(const QByteArrayList& names)
{
    m_dependencies = names;
    m_bDependenciesWait = false;
}

// Only saving through this object changes the stored names, and it calls this function
// first: so the names read now are the same as when the product was loaded.
const QByteArrayList& CCatalogFile::Dependencies()
{
    if (m_bDependenciesWait)
        m_dependency.LoadDepends(m_nRecord, m_dependencies);
    m_bDependenciesWait = false;
    return m_dependencies;
}

QByteArrayList CCatalogFile::OwnDependencies()
{
    QByteArrayList names;
    m_dependency.LoadOwnDepends(m_nRecord, names);
    return names;
}

// ---- finding ----

bool CCatalogFile::FindServerSerialNumber(std::int32_t serial)
try {
    if (m_bOpen)
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
    if (!m_files->Search(3, key, &record) || !GetRecord(record))
        return false;
    return serial < 0 || ServerSerialNumber() == serial;
}

bool CCatalogFile::LoadInCategory(std::int32_t record, const char* category)
{
    const bool loaded = GetRecord(record);
    m_nWalked = loaded ? record : -1;
    if (!loaded)
        return false;
    return !category || SameText(Category(), CutCategory(category).c_str());
}

bool CCatalogFile::FindFirstForCategory(const char* category)
try {
    std::int32_t record;
    return m_bOpen && m_files->Search(0, CutCategory(category).c_str(), &record)
        && LoadInCategory(record, category);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CCatalogFile::FindNextForCategory(const char* category)
try {
    std::int32_t record;
    return m_bOpen && StepFromLoaded(&record) && LoadInCategory(record, category);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// The walk is at the loaded product unless another one was loaded since, or the index
// lost its position by a change.
bool CCatalogFile::StepFromLoaded(std::int32_t* record)
{
    if (m_nWalked == m_nRecord && m_files->Index(0)->depth > 0)
        return m_files->Next(0, record);
    return FindBehindLoaded(record);
}

bool CCatalogFile::FindBehindLoaded(std::int32_t* record)
{
    const char* const stored = m_keys[0].data();
    char key[keyRoom];
    bool found = m_files->Search(0, stored, record, key);
    while (found
           && tacompkeys(key, stored, std::uint32_t(*record), std::uint32_t(m_nRecord), 1) <= 0)
        found = m_files->Next(0, record, key);
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
        MakeKey(which, m_keys[std::size_t(which)].data());
}

const char* CCatalogFile::ServerSerialNumberStr()
{
    return ServerSerialNumberStr(ServerSerialNumber());
}

const char* CCatalogFile::ServerSerialNumberStr(std::int32_t serial)
{
    FormatSerial(serial, m_serialText);
    return m_serialText;
}
