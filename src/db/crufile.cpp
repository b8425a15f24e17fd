// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/crufile.h"

#include "db/dbfiles.h"
#include "db/dblayouts.h"
#include "db/dboptions.h"
#include "db/dbshared.h"
#include "db/listlock.h"
#include "db/recentrepair.h"
#include "store/datafile.h"
#include "store/indexpage.h"
#include "util/logdb.h"
#include "util/paths.h"

#include <QFile>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <vector>

using namespace Agent;

class CRUFile::Private
{
public:
    explicit Private(const DbOptions& options)
        : m_sFolder(options.folder), m_files(Recent::layout, options.Files())
    {
    }

    std::vector<std::string> FileNames() const
    {
        if (!m_sFolder.empty())
            return PathsIn(m_sFolder, Recent::layout);
        return { RUDATAFILE, RUDATAIDX1, RUDATAIDX2, RUDATAIDX3 };
    }

    const std::string m_sFolder; // empty: the static paths
    Record m_record{};
    Record m_stored{}; // the item as it is in the file
    std::int32_t m_nRecord = 0;
    std::int32_t m_nFound = 0; // by the last lookup
    std::array<Key, 3> m_keys{}; // the item is stored under
    DbFiles m_files;
    std::string m_walked; // the description that the walk by descriptions has reached
    bool m_bWalking = false; // whether there is such a walk
    char m_serialText[21] = {};
};

std::string CRUFile::RUDATAFILE;
std::string CRUFile::RUDATAIDX1;
std::string CRUFile::RUDATAIDX2;
std::string CRUFile::RUDATAIDX3;

namespace
{

enum KeyNumber { byTime, byDescription, bySerial };

bool IsBelow(const char* key, const std::string& other)
{
    return tacompkeys(key, other.c_str(), 0, 0, 0) < 0;
}

// Whether the data file ends before its first record, as a crash may leave it.
bool HasNoItem(const std::string& dataFile)
{
    struct stat status;
    return stat(dataFile.c_str(), &status) == 0 && S_ISREG(status.st_mode)
        && status.st_size < 2 * Recent::layout.recordLength;
}

} // namespace

CRUFile::CRUFile() : CRUFile(DbOptions()) { }

CRUFile::CRUFile(const DbOptions& options) : d(std::make_unique<Private>(options))
{
    static_assert(std::tuple_size<Record>::value == Recent::layout.recordLength);
    if (options.folder.empty() && RUDATAFILE.empty())
        InitStaticMembers();
    AddNew();
}

CRUFile::~CRUFile() = default;

std::int32_t CRUFile::RecordNumber() const
{
    return d->m_nRecord;
}

void CRUFile::InitStaticMembers()
{
    const std::string folder = RecentFolder();
    CreateFolderTree(QFile::decodeName(folder.c_str()));
    RUDATAIDX1 = folder + Recent::layout.indexes[byTime].fileName;
    RUDATAIDX2 = folder + Recent::layout.indexes[byDescription].fileName;
    RUDATAIDX3 = folder + Recent::layout.indexes[bySerial].fileName;
    // Set last: if it is set, all are.
    RUDATAFILE = folder + Recent::layout.fileName;
}

std::string CRUFile::DataFilePath() const
{
    return d->m_sFolder.empty() ? RUDATAFILE : d->m_sFolder + Recent::layout.fileName;
}

bool CRUFile::IsOpen() const
{
    return d->m_files.Data() != nullptr;
}

bool CRUFile::Open()
try {
    const std::string path = DataFilePath();
    if (!d->m_files.Files().Exists(path.c_str())) {
        // Another process may be making it at the same time.
        const ListLock lock(path);
        if (!d->m_files.Files().Exists(path.c_str()))
            return Create();
    }
    d->m_bWalking = false;
    const bool open = d->m_files.Open(d->FileNames()) && d->m_files.BeginFlushing();
    if (!open)
        qCInfo(logDb, "cannot open %s and its indexes, error %d", path.c_str(), int(taerror));
    return open;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::OpenOrRepair()
try {
    const std::string path = DataFilePath();
    const ListLock lock(path);
    if (Open())
        return true;
    return lock && (IsOpen() ? Repair() : HasNoItem(path) && Create());
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::Create()
try {
    const ListLock lock(DataFilePath());
    d->m_bWalking = false;
    d->m_files.Close();
    return lock && MakeFiles() && d->m_files.Open(d->FileNames()) && d->m_files.BeginFlushing();
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// The files are made under other names, and the data file is renamed last: if it exists,
// all exist.
bool CRUFile::MakeFiles()
{
    const std::vector<std::string> names = d->FileNames();
    std::vector<std::string> made = names;
    for (std::string& name : made)
        name += ".new";
    bool done = d->m_files.Create(made);
    done = d->m_files.Close() && done;
    for (std::size_t i = names.size(); done && i-- > 0;)
        done = PutInPlace(d->m_files.Files(), made[i], names[i]);
    for (const std::string& name : made)
        std::remove(name.c_str());
    return done;
}

bool CRUFile::Close()
{
    d->m_bWalking = false;
    return d->m_files.Close();
}

void CRUFile::AddNew()
{
    d->m_record.fill(0);
    d->m_keys = {};
    d->m_nRecord = 0;
}

bool CRUFile::Update()
try {
    const ListLock lock(DataFilePath());
    if (!lock || !d->m_files.Refresh())
        return false;
    return d->m_nRecord == 0 ? Append() : Rewrite();
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::Append()
{
    d->m_bWalking = false;
    if (!d->m_files.Append(d->m_record.data(), &d->m_nRecord))
        return false;
    d->m_stored = d->m_record;
    MakeKeys();
    for (int which = byTime; which <= bySerial; ++which)
        if (!d->m_files.AddKey(which, d->m_nRecord, d->m_keys[std::size_t(which)].data()))
            return false;
    return true;
}

// Another object may have changed or removed the item since it was loaded: its keys may
// differ, or its number may belong to another product by now.
bool CRUFile::IsStillThere()
{
    Record bytes;
    if (!d->m_files.Read(d->m_nRecord, bytes.data()))
        return false;
    if (bytes == d->m_stored)
        return true;
    char key[keyRoom];
    for (const TextField text : Recent::texts)
        EndText(bytes.data(), text);
    Recent::MakeKey(bytes.data(), bySerial, key);
    if (!SameText(key, d->m_keys[bySerial].data()))
        return false;
    for (int which = byTime; which <= bySerial; ++which) {
        Recent::MakeKey(bytes.data(), which, key);
        std::strcpy(d->m_keys[std::size_t(which)].data(), key);
    }
    return true;
}

// Replaces the keys that have changed. The old key is deleted before the new one is added; a
// process that dies in between leaves an item without a key, which Repair adds again.
bool CRUFile::Rewrite()
{
    // A removed item's bytes belong to the chain of free records.
    if (!IsLive(d->m_record.data()) || !IsStillThere()
        || !d->m_files.Write(d->m_nRecord, d->m_record.data()))
        return false;
    d->m_stored = d->m_record;
    for (int which = byTime; which <= bySerial; ++which) {
        Key& stored = d->m_keys[std::size_t(which)];
        Key key;
        MakeKey(key.data(), which);
        if (SameText(key.data(), stored.data()))
            continue;
        d->m_bWalking = d->m_bWalking && which != byDescription;
        if (!d->m_files.DeleteKey(which, d->m_nRecord, stored.data()))
            return false;
        stored = key;
        if (!d->m_files.AddKey(which, d->m_nRecord, stored.data()))
            return false;
    }
    return true;
}

bool CRUFile::Repair()
try {
    const ListLock lock(DataFilePath());
    d->m_bWalking = false;
    AddNew();
    const std::vector<std::string> names = d->FileNames();
    return lock && (d->m_files.Refresh() || d->m_files.ReopenIndexes(names))
        && RepairRecentList(d->m_files, names);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::GetRecord(std::int32_t record)
{
    DataFile* const file = d->m_files.Data();
    if (!file || record < 1 || std::uint32_t(record) >= FileLen(file))
        return false;
    std::array<std::uint8_t, Recent::layout.recordLength> bytes;
    if (GetRec(file, std::uint32_t(record), bytes.data()) != 0)
        return false;
    d->m_record = bytes;
    d->m_stored = bytes;
    d->m_nRecord = record;
    for (const TextField text : Recent::texts)
        EndText(d->m_record.data(), text);
    if (IsLive(d->m_record.data()))
        MakeKeys();
    return true;
}

std::int32_t CRUFile::GetFileSize() const
{
    return IsOpen() ? std::int32_t(FileLen(d->m_files.Data())) : -1;
}

std::int32_t CRUFile::UsedRecs() const
{
    return IsOpen() ? std::int32_t(::UsedRecs(d->m_files.Data())) : -1;
}

bool CRUFile::Load(bool found)
{
    return found && GetRecord(d->m_nFound) && IsLive(d->m_record.data());
}

bool CRUFile::FindItem(const char* description)
try {
    // Cut as the setter would cut it.
    const char* const text = description ? description : "";
    d->m_walked.assign(text, CutLength(text, Recent::description.width - 1));
    d->m_bWalking = d->m_files.Refresh(byDescription);
    return d->m_bWalking && Load(d->m_files.Find(byDescription, d->m_walked.c_str(), &d->m_nFound));
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::FindLastAccessedItem()
try {
    // Above every time of twelve characters.
    return LoadBelow("999999999999");
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::FindPrevAccessedItem()
try {
    return LoadBelow(d->m_keys[byTime].data());
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

// Each key must be lower than the previous one, even in a damaged index, so that the walk
// ends.
bool CRUFile::LoadBelow(std::string key)
{
    char found[keyRoom];
    d->m_nFound = d->m_nRecord;
    if (!d->m_files.Refresh(byTime))
        return false;
    while (d->m_files.FindBelow(byTime, key.c_str(), &d->m_nFound, found) && IsBelow(found, key)) {
        if (Load(true) && SameText(found, d->m_keys[byTime].data()))
            return true;
        key = found;
    }
    return false;
}

bool CRUFile::FindFirstByDescription()
{
    d->m_bWalking = false;
    return FindNextByDescription();
}

// The walk remembers the key and not a position in the index, since the index may change
// between two steps.
bool CRUFile::FindNextByDescription()
try {
    char found[keyRoom] = {};
    bool more = d->m_files.Refresh(byDescription)
        && d->m_files.Search(byDescription, d->m_bWalking ? d->m_walked.c_str() : "", &d->m_nFound,
                             found);
    if (more && d->m_bWalking && SameText(found, d->m_walked.c_str()))
        more = d->m_files.Next(byDescription, &d->m_nFound, found);
    d->m_bWalking = more && (!d->m_bWalking || tacompkeys(d->m_walked.c_str(), found, 0, 0, 0) < 0);
    d->m_walked = found;
    return Load(d->m_bWalking);
} catch (const std::bad_alloc&) {
    d->m_bWalking = false;
    return OutOfMemory();
}

bool CRUFile::FindServerSerialNumber(std::int32_t serial)
{
    const char* const key = serial < 0 ? "" : ServerSerialNumberStr(serial);
    return d->m_files.Refresh(bySerial) && Load(d->m_files.Search(bySerial, key, &d->m_nFound))
        && (serial < 0 || ServerSerialNumber() == serial);
}

bool CRUFile::DeleteRecord(std::int32_t serial)
try {
    const ListLock lock(DataFilePath());
    if (serial <= 0 || !lock || !d->m_files.Refresh() || !FindServerSerialNumber(serial)
        || !d->m_files.Remove(d->m_nRecord))
        return false;
    d->m_bWalking = false;
    MakeKeys();
    for (int which = byTime; which <= bySerial; ++which)
        d->m_files.DeleteKey(which, d->m_nRecord, d->m_keys[std::size_t(which)].data());
    d->m_nRecord = 0;
    return true;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

void CRUFile::MakeKey(char* key, int which) const
{
    char text[keyRoom];
    Recent::MakeKey(d->m_record.data(), which, text);
    std::strcpy(key, text);
}

void CRUFile::MakeKeys()
{
    for (int which = byTime; which <= bySerial; ++which)
        MakeKey(d->m_keys[std::size_t(which)].data(), which);
}

const char* CRUFile::ServerSerialNumberStr()
{
    return ServerSerialNumberStr(ServerSerialNumber());
}

const char* CRUFile::ServerSerialNumberStr(std::int32_t serial)
{
    FormatSerial(serial, d->m_serialText);
    return d->m_serialText;
}

const char* CRUFile::SetDescription(const char* text)
{
    return SetText(d->m_record.data(), Recent::description, text);
}

bool CRUFile::SetUniqueDescription(const char* text)
try {
    SetDescription(text);
    if (!IsTaken(Description()))
        return true;
    SetDescription(Recent::WithSerial(Description(), ServerSerialNumber()).c_str());
    return !IsTaken(Description());
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CRUFile::IsTaken(const std::string& description) const
{
    std::int32_t holder = 0;
    return d->m_files.Refresh(byDescription)
        && d->m_files.Find(byDescription, description.c_str(), &holder) && holder != d->m_nRecord;
}

const char* CRUFile::SetExecutablePath(const char* text)
{
    return SetText(d->m_record.data(), Recent::executablePath, text);
}

const char* CRUFile::SetIconPath(const char* text)
{
    return SetText(d->m_record.data(), Recent::iconPath, text);
}

const char* CRUFile::SetSmallIconPath(const char* text)
{
    return SetText(d->m_record.data(), Recent::smallIconPath, text);
}

void CRUFile::SetServerSerialNumber(std::int32_t serial)
{
    PutInt32(d->m_record.data() + Recent::serverSerialNumber, serial);
}

void CRUFile::SetLastAccessed(std::int32_t time)
{
    PutInt32(d->m_record.data() + Recent::lastAccessed, time);
}

const char* CRUFile::Description() const
{
    return GetText(d->m_record.data(), Recent::description);
}

const char* CRUFile::ExecutablePath() const
{
    return GetText(d->m_record.data(), Recent::executablePath);
}

const char* CRUFile::IconPath() const
{
    return GetText(d->m_record.data(), Recent::iconPath);
}

const char* CRUFile::SmallIconPath() const
{
    return GetText(d->m_record.data(), Recent::smallIconPath);
}

std::int32_t CRUFile::ServerSerialNumber() const
{
    return GetInt32(d->m_record.data() + Recent::serverSerialNumber);
}

std::int32_t CRUFile::LastAccessed() const
{
    return GetInt32(d->m_record.data() + Recent::lastAccessed);
}
