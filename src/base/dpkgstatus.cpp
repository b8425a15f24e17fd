// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/dpkgstatus.h"

#include <algorithm>
#include <cctype>
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
        if (std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c); }))
            names.push_back(folder + '/' + name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The fields that count, in small letters.
const char* FieldName(const std::string& line, std::size_t colon)
{
    for (const char* name : { "package", "status", "version", "architecture" }) {
        if (strncasecmp(line.c_str(), name, colon) == 0 && name[colon] == '\0')
            return name;
    }
    return nullptr;
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
    std::map<std::string, std::string> fields;
    for (std::string line; std::getline(text, line);) {
        if (line.empty()) {
            Note(fields);
            fields.clear();
            continue;
        }
        const auto colon = line.find(':');
        if (colon == std::string::npos || line[0] == ' ')
            continue;
        if (const char* name = FieldName(line, colon)) {
            const auto begin = line.find_first_not_of(" \t", colon + 1);
            fields[name] = begin == std::string::npos ? std::string() : line.substr(begin);
        }
    }
    Note(fields); // the last one may lack its empty line
    return !text.bad();
}

void DpkgStatus::Note(const std::map<std::string, std::string>& fields)
{
    const auto value = [&fields](const char* name) {
        const auto found = fields.find(name);
        return found == fields.end() ? std::string() : found->second;
    };
    const std::string name = value("package");
    if (name.empty())
        return;
    PackageState state;
    std::istringstream words(value("status"));
    words >> state.want >> state.flag >> state.status;
    state.version = value("version");
    m_packages[PackageKey(name, value("architecture"))] = state;
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
