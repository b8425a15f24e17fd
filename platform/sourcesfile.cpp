// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/sourcesfile.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// apt makes its cache again if this file is newer, so it is given an early time. Whether the cache
// is of the same lists, apt sees from the lists.
SourcesFile::SourcesFile(const std::string& lines) : m_file(memfd_create("sources", MFD_CLOEXEC))
{
    const timespec early[] = { { 1, 0 }, { 1, 0 } };
    if (m_file
        && (write(m_file.Get(), lines.data(), lines.size()) != ssize_t(lines.size())
            || futimens(m_file.Get(), early) != 0))
        m_file = Agent::Descriptor();
}

// Without a file it is a path that does not exist, and apt-get fails.
std::string SourcesFile::Path() const
{
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_file.Get());
}

std::vector<std::string> FinalSettings(const std::string& sourcesFile, const std::string& lists)
{
    return { "Dir::Etc::Sourcelist=" + sourcesFile,
             "Dir::Etc::sourceparts=/dev/null",
             "Dir::State::lists=" + lists + '/',
             "APT::Get::AllowUnauthenticated=false",
             "Acquire::AllowInsecureRepositories=false",
             "Acquire::AllowWeakRepositories=false",
             "Acquire::AllowDowngradeToInsecureRepositories=false",
             "Acquire::Check-Valid-Until=true",
             "Acquire::Check-Date=true",
             "Acquire::Min-ValidTime=0",
             "Acquire::Max-FutureTime=600",
             "APT::Update::Error-Mode=any" };
}

std::vector<std::string> FinalWords(const std::string& sourcesFile, const std::string& lists)
{
    std::vector<std::string> words;
    for (const std::string& setting : FinalSettings(sourcesFile, lists))
        words.push_back("--option=" + setting);
    return words;
}
