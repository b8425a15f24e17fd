// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "repairreport.h"

#include "parts.h"
#include "recordfile.h"
#include "report.h"
#include "subject.h"

#include <cstdio>
#include <sys/stat.h>

using namespace Agent;

namespace DbTool
{

namespace
{

// Signals are blocked meanwhile, so that they find either none or all of the files published.
void PublishAll(const std::vector<NewFile*>& files)
{
    const SignalsHeld held;
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

void RepairReport::NoteLink(const std::string& path)
{
    const std::string real = RealPath(path);
    struct stat status;
    if (::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode))
        done.push_back(path + " is a link: the file to replace is " + real);
}

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
