// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Data files.

#include "newfile.h"
#include "recordfile.h"
#include "report.h"
#include "store/bytes.h"
#include "subject.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace Agent;

namespace DbTool
{

namespace
{

std::string_view Content(const std::uint8_t* record, int length)
{
    return { reinterpret_cast<const char*>(record) + 4, std::size_t(length) - 4 };
}

// Zeros at the end are padding.
std::string_view WithoutEnd(std::string_view content)
{
    return content.substr(0, content.find_last_not_of('\0') + 1);
}

class DataSubject : public Subject
{
public:
    explicit DataSubject(const Options& options)
        : m_options(options), m_records(options.path, *options.recordLength)
    {
    }

    int Info() override;
    int Dump() override;
    int Check() override { return PrintFindings(m_options.path, FindAll()); }
    int Repair() override;

private:
    enum class State { Live, Deleted, Marked };

    Findings FindAll() const { return CheckDataFile(m_options.path, *m_options.recordLength); }
    State StateOf(std::uint32_t number, const std::uint8_t* record) const;
    void NoteWhatIsMissing(RepairReport* report);
    void CopyRecords(DataFile* file, RepairReport* report);

    const Options m_options;
    RecordFile m_records;
    std::vector<bool> m_isFree;
};

int DataSubject::Info()
{
    std::int64_t live = 0;
    std::int64_t deleted = 0;
    for (std::uint32_t number = 1; number < m_records.Count(); ++number)
        if (const std::uint8_t* const record = m_records.Read(number))
            ++(GetInt32(record) == 0 ? live : deleted);
    DataFileHeader header{};
    m_records.ReadHeader(&header);
    PrintField("file", m_options.path);
    PrintField("kind", "data file");
    PrintField("size", Count(m_records.FileSize(), "byte"));
    PrintField("record length", Count(m_records.RecordLength(), "byte"));
    PrintField("records", Number(m_records.Count()) + ", the header included");
    PrintField("live", Number(live));
    PrintField("deleted", Number(deleted));
    if (m_records.Rest() > 0)
        PrintField("rest", Count(m_records.Rest(), "byte") + " that belong to no record");
    PrintField("header counts",
               Count(header.recordCount, "record") + ", " + Number(header.deletedCount)
                   + " deleted");
    PrintField("first free", header.firstFree == -1 ? "none" : Number(header.firstFree));
    PrintField("version", Escaped({ header.version, strnlen(header.version, 8) }));
    return PrintCondition(FindAll());
}

int DataSubject::Dump()
{
    for (std::uint32_t number = 1; number < m_records.Count(); ++number) {
        const std::uint8_t* const record = m_records.Read(number);
        const std::int32_t mark = record ? GetInt32(record) : 0;
        if (!record)
            std::printf("%u\tunreadable\t\n", number);
        else if (mark != 0)
            std::printf("%u\tdeleted\tnext %d\n", number, mark);
        else
            std::printf("%u\tlive\t%s\n", number,
                        Escaped(WithoutEnd(Content(record, m_records.RecordLength()))).c_str());
    }
    return ComplainOfFindings(m_options.path, FindAll());
}

// The store clears a record when it deletes it. So a record that is marked as deleted,
// but has content and is in no chain, is treated as a live one with a damaged mark.
DataSubject::State DataSubject::StateOf(std::uint32_t number, const std::uint8_t* record) const
{
    if (GetInt32(record) == 0)
        return State::Live;
    const bool isEmpty = WithoutEnd(Content(record, m_records.RecordLength())).empty();
    return isEmpty || m_isFree[number] ? State::Deleted : State::Marked;
}

void DataSubject::NoteWhatIsMissing(RepairReport* report)
{
    DataFileHeader header;
    if (!m_records.ReadHeader(&header))
        throw Trouble(m_options.path + " has not even one record of this length");
    if (HasVersion(header) && header.recordCount > std::int32_t(m_records.Count()))
        report->missing.push_back("the header counts " + Count(header.recordCount, "record")
                                  + ", the file has only " + Number(m_records.Count()));
    if (m_records.Rest() > 0)
        report->done.push_back(Count(m_records.Rest(), "byte")
                               + " at the end are less than a record and were left out");
}

void DataSubject::CopyRecords(DataFile* file, RepairReport* report)
{
    std::vector<std::uint32_t> deleted;
    std::int64_t live = 0;
    std::vector<std::uint8_t> copy(std::size_t(m_records.RecordLength()));
    for (std::uint32_t number = 1; number < m_records.Count(); ++number) {
        const std::uint8_t* const record = m_records.Read(number);
        if (!record)
            throw Trouble::Because("record " + Number(number) + " cannot be read");
        const State state = StateOf(number, record);
        std::copy_n(record, copy.size(), copy.begin());
        PutInt32(copy.data(), 0);
        std::uint32_t newNumber;
        if (AddRec(file, &newNumber, copy.data()) != 0 || newNumber != number)
            throw Trouble::Because("cannot write " + m_options.output);
        if (state == State::Deleted)
            deleted.push_back(number);
        else
            ++live;
        if (state == State::Marked)
            report->done.push_back("record " + Number(number)
                                   + " is marked as deleted, but holds something and is in no "
                                     "chain: it is live now");
    }
    for (const std::uint32_t number : deleted)
        if (DeleteRec(file, number) != 0)
            throw Trouble::Because("cannot write " + m_options.output);
    report->done.push_back(Count(live, "live record") + " and "
                           + Count(std::int64_t(deleted.size()), "deleted one"));
}

int DataSubject::Repair()
{
    RepairReport report;
    report.NoteLink(m_options.path);
    NoteWhatIsMissing(&report);
    m_isFree = m_records.FreeChain();
    NewFile output(m_options.output);
    DataFile* const file
        = MakeDataFile(0, output.Path().c_str(), std::int16_t(*m_options.recordLength));
    if (!file)
        throw Trouble::Because("cannot write " + m_options.output);
    const std::unique_ptr<DataFile, int (*)(DataFile*)> owned(file, CloseDataFile);
    CopyRecords(file, &report);
    const Findings findings = CheckDataFile(output.Path(), *m_options.recordLength);
    if (!findings.empty())
        throw Trouble("the new file is not sound: " + findings.front());
    return report.Finish(m_options.partial, { &output });
}

} // namespace

std::unique_ptr<Subject> MakeDataSubject(const Options& options)
{
    if (!options.recordLength)
        throw WrongUsage("the record length is not in a data file: give --record-length");
    return std::make_unique<DataSubject>(options);
}

} // namespace DbTool
