// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/dpkgstatus.h"

#include "base/text.h"

#include <algorithm>
#include <dirent.h>
#include <fstream>
#include <memory>
#include <sstream>
#include <strings.h>
#include <vector>

namespace Agent
{

namespace
{

// dpkg's journal: files whose names are numbers, the oldest first.
std::vector<std::string> JournalOf(const std::string& folder)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    while (const dirent* entry = dir ? readdir(dir.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (std::all_of(name.begin(), name.end(), IsDigit))
            names.push_back(folder + '/' + name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

const char* NativeArchitecture()
{
#if defined(__x86_64__)
    return "amd64";
#elif defined(__aarch64__)
    return "arm64";
#else
    return "i386";
#endif
}

std::string BareName(const std::string& name)
{
    return name.substr(0, name.find_first_of(":=/"));
}

std::string PackageKey(const std::string& name, const std::string& architecture)
{
    const bool foreign
        = !architecture.empty() && architecture != "all" && architecture != NativeArchitecture();
    return foreign ? name + ':' + architecture : name;
}

bool StatusStanza::Read(std::istream& text)
{
    std::size_t count = 0; // the lines of the stanza before are written over
    while (true) {
        if (count == lines.size())
            lines.emplace_back();
        if (!std::getline(text, lines[count]))
            break;
        if (!lines[count].empty())
            ++count;
        else if (count > 0)
            break;
    }
    lines.resize(count);
    return count > 0;
}

std::string StatusStanza::Field(std::string_view name) const
{
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (line->size() <= name.size() || (*line)[name.size()] != ':'
            || strncasecmp(line->data(), name.data(), name.size()) != 0)
            continue;
        const auto begin = line->find_first_not_of(" \t", name.size() + 1);
        return begin == std::string::npos ? std::string() : line->substr(begin);
    }
    return {};
}

std::string StatusStanza::Key() const
{
    const std::string name = Field("Package");
    return name.empty() ? name : PackageKey(name, Field("Architecture"));
}

DpkgStatus::DpkgStatus(const std::string& folder)
{
    m_readable = Read(folder + "/status");
    for (const std::string& file : JournalOf(folder + "/updates")) {
        Read(file);
        m_interrupted = true;
    }
}

bool DpkgStatus::Read(const std::string& file)
{
    std::ifstream text(file);
    if (!text)
        return false;
    for (StatusStanza stanza; stanza.Read(text);)
        Note(stanza);
    return !text.bad();
}

void DpkgStatus::Note(const StatusStanza& stanza)
{
    const std::string key = stanza.Key();
    if (key.empty())
        return;
    PackageState state;
    std::istringstream words(stanza.Field("Status"));
    words >> state.want >> state.flag >> state.status;
    state.version = stanza.Field("Version");
    m_packages[key] = state;
}

PackageState DpkgStatus::Of(const std::string& name) const
{
    std::string wanted = name.substr(0, name.find_first_of("=/"));
    const auto colon = wanted.find(':');
    const std::string architecture
        = colon == std::string::npos ? std::string() : wanted.substr(colon + 1);
    if (architecture == NativeArchitecture() || architecture == "all" || architecture == "native"
        || architecture == "any")
        wanted.resize(colon);
    auto found = m_packages.find(wanted);
    // Only a foreign one is there. Names sort before their ":ARCHITECTURE".
    if (found == m_packages.end() && architecture.empty()) {
        found = m_packages.lower_bound(wanted + ':');
        if (found != m_packages.end() && BareName(found->first) != wanted)
            found = m_packages.end();
    }
    return found == m_packages.end() ? PackageState() : found->second;
}

} // namespace Agent
