// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/crufile.h"

#include "db/dbfiles.h"
#include "db/dbfolders.h"
#include "db/dblayouts.h"
#include "store/datafile.h"
#include "util/diagnostics.h"
#include "util/paths.h"

#include <QFile>
#include <cstring>
#include <vector>

std::string CRUFile::RUDATAFILE;
std::string CRUFile::RUDATAIDX1;
std::string CRUFile::RUDATAIDX2;
std::string CRUFile::RUDATAIDX3;

namespace
{

enum KeyNumber { byTime, byDescription, bySerial };

std::vector<std::string> FileNames()
{
    return { CRUFile::RUDATAFILE, CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 };
}

} // namespace

CRUFile::CRUFile() : m_nFound(0), m_files(std::make_unique<DbFiles>(Recent::layout)), m_serialText()
{
    static_assert(std::tuple_size<decltype(m_record)>::value == Recent::layout.recordLength);
    if (RUDATAFILE.empty())
        InitStaticMembers();
    AddNew();
}

CRUFile::~CRUFile() = default;

void CRUFile::InitStaticMembers()
{
    const std::string folder = RecentFolder();
    CreateFolderTree(QFile::decodeName(folder.c_str()));
    RUDATAFILE = folder + Recent::layout.fileName;
    RUDATAIDX1 = folder + Recent::layout.indexes[byTime].fileName;
    RUDATAIDX2 = folder + Recent::layout.indexes[byDescription].fileName;
    RUDATAIDX3 = folder + Recent::layout.indexes[bySerial].fileName;
}

bool CRUFile::IsOpen() const
{
    return m_files->Data() != nullptr;
}

bool CRUFile::Open()
{
    if (!DoesFileExist(0, RUDATAFILE.c_str()))
        return Create();
    const bool open = m_files->Open(FileNames());
    if (!open)
        qCInfo(logDb, "cannot open %s and its indexes, error %d", RUDATAFILE.c_str(), int(taerror));
    return open;
}

bool CRUFile::Create()
{
    return m_files->Create(FileNames());
}

void CRUFile::Close()
{
    m_files->Close();
}

void CRUFile::AddNew()
{
    m_record.fill(0);
    m_keys = {};
    m_nRecord = 0;
}

bool CRUFile::Update()
{
    return m_nRecord == 0 ? Append() : Rewrite();
}

bool CRUFile::Append()
{
    if (!m_files->Append(m_record.data(), &m_nRecord))
        return false;
    MakeKeys();
    for (int which = byTime; which <= bySerial; ++which)
        if (!m_files->AddKey(which, m_nRecord, m_keys[std::size_t(which)].data()))
            return false;
    return true;
}

bool CRUFile::Rewrite()
{
    // A removed item's bytes belong to the chain of free records.
    if (!IsLive(m_record.data()) || !m_files->Write(m_nRecord, m_record.data()))
        return false;
    for (int which = byTime; which <= bySerial; ++which) {
        Key& stored = m_keys[std::size_t(which)];
        Key key;
        MakeKey(key.data(), which);
        if (SameText(key.data(), stored.data()))
            continue;
        if (!m_files->DeleteKey(which, m_nRecord, stored.data()))
            return false;
        stored = key;
        if (!m_files->AddKey(which, m_nRecord, stored.data()))
            return false;
    }
    return true;
}

bool CRUFile::GetRecord(std::int32_t record)
{
    DataFile* const file = m_files->Data();
    if (!file || record < 1 || std::uint32_t(record) >= FileLen(file))
        return false;
    std::array<std::uint8_t, Recent::layout.recordLength> bytes;
    if (GetRec(file, std::uint32_t(record), bytes.data()) != 0)
        return false;
    m_record = bytes;
    m_nRecord = record;
    for (const TextField text : Recent::texts)
        EndText(m_record.data(), text);
    if (IsLive(m_record.data()))
        MakeKeys();
    return true;
}

std::int32_t CRUFile::GetFileSize() const
{
    return IsOpen() ? std::int32_t(FileLen(m_files->Data())) : -1;
}

std::int32_t CRUFile::UsedRecs() const
{
    return IsOpen() ? std::int32_t(::UsedRecs(m_files->Data())) : -1;
}

bool CRUFile::Load(bool found)
{
    return found && GetRecord(m_nFound) && IsLive(m_record.data());
}

bool CRUFile::FindItem(const char* description)
{
    // Cut as the setter would have cut it.
    const std::string key(description, CutLength(description, Recent::description.width - 1));
    return Load(m_files->Find(byDescription, key.c_str(), &m_nFound));
}

bool CRUFile::FindLastAccessedItem()
{
    // Above every time of twelve characters.
    return LoadBefore("999999999999");
}

bool CRUFile::FindPrevAccessedItem()
{
    return LoadBefore(m_keys[byTime].data());
}

// The walk goes on from what the item says of itself: if that were not what the
// index says of it, the walk could go in a circle.
bool CRUFile::LoadBefore(const char* key)
{
    char found[keyRoom];
    m_nFound = m_nRecord;
    return Load(m_files->FindBelow(byTime, key, &m_nFound, found))
        && SameText(found, m_keys[byTime].data());
}

bool CRUFile::FindFirstByDescription()
{
    return Load(m_files->Search(byDescription, "", &m_nFound));
}

bool CRUFile::FindNextByDescription()
{
    return Load(m_files->Next(byDescription, &m_nFound));
}

bool CRUFile::FindServerSerialNumber(std::int32_t serial)
{
    const char* const key = serial < 0 ? "" : ServerSerialNumberStr(serial);
    return Load(m_files->Search(bySerial, key, &m_nFound))
        && (serial < 0 || ServerSerialNumber() == serial);
}

bool CRUFile::DeleteRecord(std::int32_t serial)
{
    if (!FindServerSerialNumber(serial) || !m_files->Remove(m_nRecord))
        return false;
    MakeKeys();
    for (int which = byTime; which <= bySerial; ++which)
        m_files->DeleteKey(which, m_nRecord, m_keys[std::size_t(which)].data());
    m_nRecord = 0;
    return true;
}

void CRUFile::MakeKey(char* key, int which) const
{
    char text[keyRoom];
    Recent::MakeKey(m_record.data(), which, text);
    std::strcpy(key, text);
}

void CRUFile::MakeKeys()
{
    for (int which = byTime; which <= bySerial; ++which)
        MakeKey(m_keys[std::size_t(which)].data(), which);
}

const char* CRUFile::ServerSerialNumberStr()
{
    return ServerSerialNumberStr(ServerSerialNumber());
}

const char* CRUFile::ServerSerialNumberStr(std::int32_t serial)
{
    FormatSerial(serial, m_serialText);
    return m_serialText;
}

const char* CRUFile::SetDescription(const char* text)
{
    return SetText(m_record.data(), Recent::description, text);
}

const char* CRUFile::SetExecutablePath(const char* text)
{
    return SetText(m_record.data(), Recent::executablePath, text);
}

const char* CRUFile::SetIconPath(const char* text)
{
    return SetText(m_record.data(), Recent::iconPath, text);
}

const char* CRUFile::SetSmallIconPath(const char* text)
{
    return SetText(m_record.data(), Recent::smallIconPath, text);
}

void CRUFile::SetServerSerialNumber(std::int32_t serial)
{
    PutInt32(m_record.data() + Recent::serverSerialNumber, serial);
}

void CRUFile::SetLastAccessed(std::int32_t time)
{
    PutInt32(m_record.data() + Recent::lastAccessed, time);
}

const char* CRUFile::Description() const
{
    return GetText(m_record.data(), Recent::description);
}

const char* CRUFile::ExecutablePath() const
{
    return GetText(m_record.data(), Recent::executablePath);
}

const char* CRUFile::IconPath() const
{
    return GetText(m_record.data(), Recent::iconPath);
}

const char* CRUFile::SmallIconPath() const
{
    return GetText(m_record.data(), Recent::smallIconPath);
}

std::int32_t CRUFile::ServerSerialNumber() const
{
    return GetInt32(m_record.data() + Recent::serverSerialNumber);
}

std::int32_t CRUFile::LastAccessed() const
{
    return GetInt32(m_record.data() + Recent::lastAccessed);
}
