// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool on damaged files: every command returns, the files that repair makes are
// sound, and an index that it calls repaired has all its items, provided that only whole
// pages were cut off, zeroed or copied.

#include "tests/fuzz/fuzzedfiles.h"

#include "apps/dbtool/report.h"
#include "apps/dbtool/subject.h"
#include "store/cnote.h"
#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/storecheck.h"

#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <set>
#include <unistd.h>

using namespace Agent;

namespace
{

constexpr int keyLength = 9;
constexpr int recordLength = 40;
constexpr int samples = 200; // a few leaves

using Items = std::set<std::pair<std::string, std::uint32_t>>;

std::string Folder()
{
    const char* const dir = std::getenv("TEST_DIR");
    return std::string(dir ? dir : "/tmp") + "/dbtool/";
}

Items ItemsOf(const std::string& path)
{
    std::vector<IndexEntry> entries;
    Demand(CheckIndex(path, keyLength, false, &entries).empty(), "the index is sound");
    Items items;
    for (const IndexEntry& entry : entries)
        items.emplace(entry.key, entry.record);
    return items;
}

void MakeSamples()
{
    std::filesystem::create_directory(Folder());
    IndexFile* const index = MakeIndex(0, (Folder() + "a.idx").c_str(), keyLength, 0);
    DataFile* const data = MakeDataFile(0, (Folder() + "a.dat").c_str(), recordLength);
    CNote notes;
    Demand(index && data && notes.Create((Folder() + "notes").c_str()), "samples can be made");
    for (std::uint32_t i = 1; i <= samples; ++i) {
        char key[recordLength] = {};
        std::snprintf(key + 8, keyLength + 1, "k%u", i * 7919 % 1009);
        std::uint32_t number;
        AddRec(data, &number, key);
        AddKey(index, &i, key + 8);
        const std::int32_t note = notes.SaveNote(key + 8, int(i % 30));
        if (i % 5 == 0)
            notes.DeleteNote(note);
        if (i % 7 == 0)
            DeleteRec(data, number);
        if (i % 11 == 0)
            DeleteKey(index, &number, key + 8);
    }
    CloseIndex(index);
    CloseDataFile(data);
}

struct Samples {
    FuzzedFiles files;
    Items items;
};

Samples Make()
{
    Demand(InitIndex() == 0, "the page cache is there");
    MakeSamples();
    UnInitIndex();
    return { FuzzedFiles({ { Folder() + "a.idx", std::size_t(PackedLength(keyLength)) },
                           { Folder() + "a.dat", recordLength },
                           { Folder() + "notes.fil", 16 },
                           { Folder() + "notes.k1", std::size_t(PackedLength(9)) } }),
             ItemsOf(Folder() + "a.idx") };
}

// Discards the output of the commands during a scope.
class Quiet
{
public:
    Quiet() : m_before(::dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDOUT_FILENO);
        ::close(nowhere);
    }
    ~Quiet()
    {
        std::fflush(stdout);
        ::dup2(m_before, STDOUT_FILENO);
        ::close(m_before);
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    const int m_before;
};

using Make_t = std::unique_ptr<DbTool::Subject> (*)(const DbTool::Options&);

// Returns the status, or 2 for a command that cannot be carried out.
int Run(Make_t make, const DbTool::Options& options, int (DbTool::Subject::*command)())
{
    try {
        const Quiet quiet;
        return ((*make(options)).*command)();
    } catch (const DbTool::Trouble&) {
        return DbTool::ExitTrouble;
    }
}

// `isPlain`: no bytes were changed in a way that the check cannot notice.
int Repair(Make_t make, DbTool::Options options, const std::string& made, bool isPlain)
{
    Run(make, options, &DbTool::Subject::Info);
    const int check = Run(make, options, &DbTool::Subject::Check);
    options.output = Folder() + "new";
    const int status = Run(make, options, &DbTool::Subject::Repair);
    const bool isMade = std::filesystem::exists(options.output + made);
    Demand(isMade == (status == 0 || (status == 1 && options.partial)), "it is made or not");
    Demand(check != 0 || status == 0 || !isPlain || !options.data.empty(),
           "what is sound can be repaired");
    return status;
}

void Clear()
{
    for (const char* const name : { "new", "new.fil", "new.k1" })
        std::filesystem::remove(Folder() + name);
}

void RepairIndex(bool wholes, const DbTool::Options& options, const Items& items)
{
    const int status = Repair(DbTool::MakeIndexSubject, options, "", wholes);
    if (status == DbTool::ExitTrouble || (status == 1 && !options.partial))
        return;
    const Items kept = ItemsOf(Folder() + "new");
    Demand(status != 0 || !wholes || !options.data.empty() || kept == items, "no item is lost");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Samples sample = Make();
    FuzzedInput input(data, size);
    const unsigned flags = input.byte();
    const bool wholes = sample.files.damage(&input);
    DbTool::Options options;
    options.partial = flags & 1;
    options.path = Folder() + "a.dat";
    options.recordLength = recordLength;
    if (Repair(DbTool::MakeDataSubject, options, "", wholes) == 0)
        Demand(CheckDataFile(Folder() + "new", recordLength).empty(), "the data file is sound");
    Clear();
    options.path = Folder() + "a.idx";
    options.keyLength = keyLength;
    options.data = flags & 2 ? Folder() + "a.dat" : "";
    if (!(flags & 2))
        options.recordLength.reset();
    else if (flags & 4)
        options.keyField = DbTool::KeyField{ 8, keyLength };
    RepairIndex(wholes, options, sample.items);
    Clear();
    DbTool::Options notes;
    notes.partial = flags & 1;
    notes.path = Folder() + "notes";
    if (Repair(DbTool::MakeNotesSubject, notes, ".fil", wholes) == 0)
        Demand(CheckNotes(Folder() + "new").empty(), "the notes are sound");
    Clear();
    return 0;
}
