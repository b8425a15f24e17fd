// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "repairreport.h"

#include "report.h"
#include "subject.h"

#include <cstdio>

namespace DbTool
{

namespace
{

void PublishAll(const std::vector<NewFile*>& files)
{
    try {
        for (NewFile* const file : files)
            file->Publish();
    } catch (const Trouble&) {
        for (NewFile* const file : files)
            file->Withdraw();
        throw;
    }
}

} // namespace

int RepairReport::Finish(bool partial, const std::vector<NewFile*>& files) const
{
    for (const std::string& what : done)
        std::printf("%s\n", what.c_str());
    for (const std::string& what : missing)
        std::printf("not restored: %s\n", what.c_str());
    if (!total.empty())
        std::printf("%s\n", total.c_str());
    if (missing.empty() || partial) {
        PublishAll(files);
        for (const NewFile* const file : files)
            std::printf("made %s\n", file->name().c_str());
    } else {
        std::printf("nothing was made; --partial makes what can be restored\n");
    }
    return missing.empty() ? ExitSound : ExitDamaged;
}

} // namespace DbTool
