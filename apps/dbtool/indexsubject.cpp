// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Indexes.

#include "indexpages.h"
#include "indexrecovery.h"
#include "knownindex.h"
#include "newindex.h"
#include "recordfile.h"
#include "report.h"
#include "subject.h"

#include <algorithm>
#include <cstdio>
#include <map>

using namespace Agent;

namespace DbTool
{

namespace
{

class IndexSubject : public Subject
{
public:
    IndexSubject(const Options& options, std::optional<KnownIndex> known)
        : m_options(options), m_known(std::move(known)),
          m_keyLength(options.keyLength ? *options.keyLength : KeyLengthOf(options.path))
    {
    }

    int Info() override;
    int Dump() override;
    int Check() override;
    int Repair() override;

private:
    Findings FindAll(std::vector<IndexEntry>* entries);
    RecoveredIndex Recover() const;
    bool IsDataFound(RepairReport* report) const;
    std::vector<IndexEntry> Entries(RepairReport* report);
    std::vector<IndexEntry> EntriesOfData(RepairReport* report);
    std::vector<IndexEntry> EntriesOfDataFound(RepairReport* report);
    std::vector<IndexEntry> EntriesOfPages(RepairReport* report);
    void DropDead(LinkedData& data, std::vector<IndexEntry>* entries, RepairReport* report);

    const Options m_options;
    const std::optional<KnownIndex> m_known;
    const int m_keyLength;
};

bool HasEqualKeys(const std::vector<IndexEntry>& entries)
{
    const auto equal = [](const IndexEntry& a, const IndexEntry& b) {
        return tacompkeys(a.key.c_str(), b.key.c_str(), 0, 0, 0) == 0;
    };
    return std::adjacent_find(entries.begin(), entries.end(), equal) != entries.end();
}

Findings IndexSubject::FindAll(std::vector<IndexEntry>* entries)
{
    RequireFile(m_options.path);
    Findings findings = CheckIndex(m_options.path, m_keyLength, m_options.duplicates, entries);
    if (m_options.data.empty())
        return findings;
    const Findings more = LinkedData(m_options, m_keyLength).Compare(*entries);
    findings.insert(findings.end(), more.begin(), more.end());
    return findings;
}

int IndexSubject::Info()
{
    std::vector<IndexEntry> entries;
    const Findings findings = FindAll(&entries);
    RecordFile pages(m_options.path, PackedLength(m_keyLength));
    DataFileHeader header{};
    pages.ReadHeader(&header);
    IndexPages pagesOfTree(pages, m_keyLength);
    const std::vector<bool> isFree = pages.FreeChain();
    TreeWalk tree(pagesOfTree, isFree);
    tree.Run(HasVersion(header) ? std::uint32_t(header.rootPage) : 0);
    std::size_t longest = 0;
    for (const IndexEntry& entry : entries)
        longest = std::max(longest, entry.key.size());
    PrintField("file", m_options.path);
    PrintField("kind", "index");
    PrintField("size", Count(pages.FileSize(), "byte"));
    PrintField("key length", Count(m_keyLength, "character"));
    PrintField("page length", Count(pages.RecordLength(), "byte"));
    PrintField("pages", Number(pages.Count()) + ", the header included");
    PrintField("in the tree", Number(tree.PageCount()));
    PrintField("free", Number(header.deletedCount));
    PrintField("root", Number(header.rootPage));
    PrintField("levels", Number(tree.Levels()));
    PrintField("items", Number(std::int64_t(entries.size())));
    PrintField("longest key", Count(std::int64_t(longest), "character"));
    PrintField("equal keys", HasEqualKeys(entries) ? "yes" : "no");
    return PrintCondition(findings);
}

// For a damaged index, prints the items that repair would find in its pages.
int IndexSubject::Dump()
{
    std::vector<IndexEntry> entries;
    const Findings findings = FindAll(&entries);
    if (!findings.empty()) {
        entries = Recover().entries;
    }
    for (const IndexEntry& entry : entries)
        std::printf("%s\t%u\n", Escaped(entry.key).c_str(), entry.record);
    return ComplainOfFindings(m_options.path, findings);
}

int IndexSubject::Check()
{
    std::vector<IndexEntry> entries;
    Findings findings = FindAll(&entries);
    // Reported once instead of for each key.
    if (!findings.empty() && !m_options.duplicates && HasEqualKeys(entries)
        && CheckIndex(m_options.path, m_keyLength, true).empty())
        findings = { "there are equal keys; it is sound if they are allowed (--duplicates)" };
    return PrintFindings(m_options.path, findings);
}

std::vector<IndexEntry> IndexSubject::EntriesOfData(RepairReport* report)
{
    std::vector<IndexEntry> entries = LinkedData(m_options, m_keyLength).Entries();
    report->done.push_back("the keys of " + Count(std::int64_t(entries.size()), "live record"));
    return entries;
}

RecoveredIndex IndexSubject::Recover() const
{
    RecordFile pages(m_options.path, PackedLength(m_keyLength));
    return IndexRecovery(pages, m_keyLength).Run();
}

// Whether the data file next to the index exists and is sound.
bool IndexSubject::IsDataFound(RepairReport* report) const
{
    if (!m_known || m_known->folder.empty() || !m_options.data.empty())
        return false;
    const std::string path = m_known->folder + m_known->layout->fileName;
    const Findings findings = CheckDataFile(path, m_known->layout->recordLength);
    if (findings.empty())
        return true;
    report->done.push_back(path + " is damaged as well and of no help: repair it first ("
                           + findings.front() + ")");
    return false;
}

// The index itself is read too, as far as possible.
std::vector<IndexEntry> IndexSubject::EntriesOfDataFound(RepairReport* report)
{
    RecoveredIndex old{};
    if (DoesFileExist(0, m_options.path.c_str()))
        old = Recover();
    const bool isWhole = old.isWholeTree && old.losses.empty();
    std::vector<IndexEntry> entries = EntriesOfRecords(*m_known, old.entries, isWhole, report);
    report->done.push_back("the keys of " + Count(std::int64_t(entries.size()), "live record")
                           + " of " + m_known->folder + m_known->layout->fileName);
    return entries;
}

std::string LossOf(const RecoveredIndex& recovered)
{
    if (recovered.losses.empty())
        return {};
    if (recovered.lost == 0)
        return "the number of lost items is unknown";
    return "lost, as far as the pages show: " + Count(recovered.lost, "item") + " or more";
}

void Append(Findings* all, const Findings& more)
{
    all->insert(all->end(), more.begin(), more.end());
}

std::vector<IndexEntry> IndexSubject::EntriesOfPages(RepairReport* report)
{
    RecoveredIndex recovered = Recover();
    const std::string items = Count(std::int64_t(recovered.entries.size()), "item");
    report->done.push_back(recovered.isWholeTree ? items + " of the tree"
                                                 : "the tree breaks off: " + items
                                   + " of all pages that can be read; recently "
                                     "deleted items may be among them");
    if (m_options.data.empty()) {
        report->total = LossOf(recovered);
        report->missing = std::move(recovered.losses);
    } else {
        // The data file shows which items are missing.
        LinkedData data(m_options, m_keyLength);
        DropDead(data, &recovered.entries, report);
        report->missing = data.Compare(recovered.entries, SIZE_MAX);
        if (!report->missing.empty())
            report->total = "wrong or lost: " + Count(std::int64_t(report->missing.size()), "item");
    }
    Append(&report->missing, recovered.doubts);
    return std::move(recovered.entries);
}

std::vector<IndexEntry> IndexSubject::Entries(RepairReport* report)
{
    if (m_options.keyField)
        return EntriesOfData(report);
    return IsDataFound(report) ? EntriesOfDataFound(report) : EntriesOfPages(report);
}

void IndexSubject::DropDead(LinkedData& data, std::vector<IndexEntry>* entries,
                            RepairReport* report)
{
    const auto dead
        = std::stable_partition(entries->begin(), entries->end(), [&data](const IndexEntry& entry) {
              return data.IsLive(entry.record);
          });
    if (dead != entries->end())
        report->done.push_back(Count(entries->end() - dead, "item")
                               + " left out that led to no live record: "
                               + Names({ dead, entries->end() }));
    entries->erase(dead, entries->end());
}

int IndexSubject::Repair()
{
    RepairReport report;
    report.NoteLink(m_options.path);
    const std::vector<IndexEntry> entries = Entries(&report);
    NewFile output(m_options.output);
    const Findings refused = FillIndex(output.Path(), m_keyLength, m_options.duplicates, entries);
    report.missing.insert(report.missing.end(), refused.begin(), refused.end());
    for (const std::string& what : CheckIndex(output.Path(), m_keyLength, m_options.duplicates))
        report.missing.push_back("in the new index " + what);
    return report.Finish(m_options.partial, { &output });
}

} // namespace

std::unique_ptr<Subject> MakeIndexSubject(const Options& options)
{
    if (options.keyField && options.data.empty())
        throw WrongUsage("--key-field needs --data");
    if (options.recordLength && options.data.empty())
        throw WrongUsage("--record-length goes with --data here");
    Options completed = options;
    std::optional<KnownIndex> known = FindKnownIndex(options.path);
    if (!known)
        return std::make_unique<IndexSubject>(completed, std::nullopt);
    const IndexLayout layout = known->Index();
    if (options.keyLength && *options.keyLength != layout.keyLength)
        return std::make_unique<IndexSubject>(completed, std::nullopt);
    completed.keyLength = layout.keyLength;
    completed.duplicates = completed.duplicates || layout.allowDuplicates;
    return std::make_unique<IndexSubject>(completed, std::move(known));
}

} // namespace DbTool
