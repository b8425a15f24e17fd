// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "report.h"

#include "newfile.h"
#include "recordfile.h"
#include "subject.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

using namespace Agent;

namespace DbTool
{

Trouble Trouble::Because(const std::string& what)
{
    return Trouble(errno == 0 ? what : what + ": " + std::strerror(errno));
}

std::string Count(std::int64_t number, const char* thing)
{
    return Number(number) + ' ' + thing + (number == 1 ? "" : "s");
}

std::string Escaped(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes) {
        char escape[8];
        if (c >= ' ' && c <= '~' && c != '\\') {
            text += c;
            continue;
        }
        std::snprintf(escape, sizeof escape, "\\x%02x", unsigned(static_cast<unsigned char>(c)));
        text += escape;
    }
    return text;
}

void PrintField(const char* name, const std::string& value)
{
    std::printf("%-16s%s\n", (std::string(name) + ':').c_str(), value.c_str());
}

int PrintCondition(const Findings& findings)
{
    if (findings.empty()) {
        PrintField("condition", "sound");
        return ExitSound;
    }
    PrintField("condition", "damaged (see check): " + findings.front());
    return ExitDamaged;
}

int PrintFindings(const std::string& path, const Findings& findings)
{
    for (const std::string& what : findings)
        std::printf("%s: %s\n", path.c_str(), what.c_str());
    if (findings.empty())
        std::printf("%s: sound\n", path.c_str());
    return findings.empty() ? ExitSound : ExitDamaged;
}

int ComplainOfFindings(const std::string& path, const Findings& findings)
{
    std::fflush(stdout);
    for (const std::string& what : findings)
        std::fprintf(stderr, "pakmart-dbtool: %s: %s\n", path.c_str(), what.c_str());
    return findings.empty() ? ExitSound : ExitDamaged;
}

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
