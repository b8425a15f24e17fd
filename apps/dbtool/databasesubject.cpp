// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The agent's databases: the catalog with its dependencies and descriptions, and
// the list of recently used applications. Each is named by its folder.

#include "db/dbcheck.h"
#include "db/dbdump.h"
#include "db/dblayouts.h"
#include "db/dbrecord.h"
#include "db/generations.h"
#include "report.h"
#include "subject.h"

#include <cstdio>
#include <iostream>

using namespace Agent;

namespace DbTool
{

namespace
{

struct Database {
    const DbLayout& layout;
    const char* thing;
    DbFindings (*check)(const std::string&);
    bool (*dump)(const std::string&, std::ostream&);
};

const Database catalog{ Catalog::layout, "product", CheckCatalog, DumpCatalog };
const Database recent{ Recent::layout, "application", CheckRecent, DumpRecent };

class DatabaseSubject : public Subject
{
public:
    DatabaseSubject(const Database& database, const std::string& folder)
        : m_database(database),
          m_folder(folder.empty() || folder.back() != '/' ? folder + '/' : folder),
          m_pinned(m_folder)
    {
        if (!RecordReader(m_pinned.Folder(), m_database.layout, {}))
            throw Trouble::Because("cannot read " + m_folder + m_database.layout.fileName);
    }

    int Info() override
    {
        RecordReader records(m_pinned.Folder(), m_database.layout, {});
        int live = 0;
        for (std::int32_t number = 1; number < records.Count(); ++number)
            live += records.Live(number) != nullptr;
        PrintField("holds", Count(live, m_database.thing));
        return PrintCondition(m_database.check(m_pinned.Folder()).faults);
    }

    int Dump() override
    {
        if (!m_database.dump(m_pinned.Folder(), std::cout) || !std::cout.flush())
            throw Trouble::Because("cannot list " + m_folder);
        return ComplainOfFindings(m_folder, m_database.check(m_pinned.Folder()).faults);
    }

    // A remark is not a fault: the database had to leave such remains.
    int Check() override
    {
        const DbFindings findings = m_database.check(m_pinned.Folder());
        for (const std::string& remark : findings.remarks)
            std::printf("%s%s\n", m_folder.c_str(), remark.c_str());
        return PrintFindings(m_folder, findings.faults);
    }

    int Repair() override
    {
        throw WrongUsage("repair the files of a database one by one, as data, index and notes");
    }

private:
    const Database& m_database;
    const std::string m_folder; // as the user wrote it
    // An update in the meantime makes new files; these stay until they have been read.
    const PinnedGeneration m_pinned;
};

} // namespace

std::unique_ptr<Subject> MakeCatalogSubject(const Options& options)
{
    return std::make_unique<DatabaseSubject>(catalog, options.path);
}

std::unique_ptr<Subject> MakeRecentSubject(const Options& options)
{
    return std::make_unique<DatabaseSubject>(recent, options.path);
}

} // namespace DbTool
