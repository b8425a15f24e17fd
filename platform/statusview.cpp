// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/statusview.h"

#include "base/descriptor.h"
#include "base/text.h"
#include "base/wholefile.h"
#include "platform/aptwords.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace
{

const char filePrefix[] = "status-vos.";

using Agent::StatusStanza;

using Packages = std::map<std::string, PackageState>;

// The broken packages that are not requested.
Packages Others(const Arguments& arguments, Packages broken)
{
    for (const auto& names : { arguments.names, arguments.removals }) {
        for (const std::string& name : names) {
            broken.erase(name.substr(0, name.find_first_of("=/")));
            broken.erase(Agent::BareName(name));
        }
    }
    return broken;
}

// Whether the command concerns only the packages that it names.
bool IsAboutItsNames(const Arguments& arguments)
{
    static const std::set<std::string> commands{ "install", "reinstall", "remove", "purge" };
    return commands.count(arguments.command) > 0;
}

// Notes the packages that a field lists after its colon, alternatives included.
void NoteNames(const std::string& line, std::set<std::string>& names)
{
    static const char ends[] = " \t,|(:";
    for (auto at = line.find(':'); at != std::string::npos; at = line.find_first_of(",|", at)) {
        const auto begin = line.find_first_not_of(" \t", at + 1);
        if (begin == std::string::npos)
            return;
        names.insert(line.substr(begin, line.find_first_of(ends, begin) - begin));
        at = begin;
    }
}

// Notes the packages that a "Depends" or "Pre-Depends" line names.
void NoteNeeded(const std::string& line, std::set<std::string>& needed)
{
    if (Agent::BeginsWith(line, "Depends:") || Agent::BeginsWith(line, "Pre-Depends:"))
        NoteNames(line, needed);
}

// The additional names ("Provides") of all packages that are not gone.
std::set<std::string> ProvidedNames(const std::string& file, const DpkgStatus& status)
{
    std::set<std::string> provided;
    std::ifstream text(file);
    for (StatusStanza stanza; stanza.Read(text);) {
        for (const std::string& line : stanza.lines) {
            if (Agent::BeginsWith(line, "Provides:") && !status.Of(stanza.Key()).IsGone())
                NoteNames(line, provided);
        }
    }
    return provided;
}

// Whether none of the alternatives in a part of a "Depends" line is there, in any version.
bool IsUnmet(const std::string& part, const DpkgStatus& status, const std::string& file)
{
    std::set<std::string> names;
    NoteNames(':' + part, names);
    const auto isHere = [&](const std::string& name) { return !status.Of(name).IsGone(); };
    if (names.empty() || std::any_of(names.begin(), names.end(), isHere))
        return false;
    const std::set<std::string> provided = ProvidedNames(file, status);
    return std::none_of(names.begin(), names.end(),
                        [&](const std::string& name) { return provided.count(name) > 0; });
}

bool LacksAnother(const StatusStanza& stanza, const DpkgStatus& status, const std::string& file)
{
    for (const std::string& line : stanza.lines) {
        if (line.rfind("Depends: ", 0) != 0)
            continue;
        std::istringstream parts(line.substr(line.find(' ')));
        for (std::string part; std::getline(parts, part, ',');) {
            if (IsUnmet(part, status, file))
                return true;
        }
    }
    return false;
}

// The packages that stop apt-get: half-installed ones, and unpacked ones that lack another
// package.
Packages BrokenPackages(const std::string& file, const DpkgStatus& status)
{
    Packages broken;
    bool anyUnpacked = false;
    for (const auto& [name, state] : status.All()) {
        anyUnpacked = anyUnpacked || state.status == "unpacked";
        if (IsBroken(state))
            broken[name] = state;
    }
    if (!anyUnpacked)
        return broken;
    std::ifstream text(file);
    for (StatusStanza stanza; stanza.Read(text);) {
        const std::string key = stanza.Key();
        const PackageState state = status.Of(key);
        if (state.status == "unpacked" && LacksAnother(stanza, status, file))
            broken[key] = state;
    }
    return broken;
}

// The broken packages that an install has to reinstall: requested ones that are only
// unpacked. apt-get can handle a requested half-installed package by itself.
Packages AskedAgain(const Arguments& arguments, const Packages& broken, const Packages& others)
{
    Packages again;
    for (const auto& [name, state] : broken) {
        if (Installs(arguments) && !IsBroken(state) && others.count(name) == 0)
            again[name] = state;
    }
    return again;
}

// The packages that the installed packages, except `broken`, depend on.
std::set<std::string> NeededNames(const std::string& file, const DpkgStatus& status,
                                  const std::map<std::string, PackageState>& broken)
{
    std::set<std::string> needed;
    std::ifstream text(file);
    for (StatusStanza stanza; stanza.Read(text);) {
        const std::string key = stanza.Key();
        if (broken.count(key) > 0 || status.Of(key).IsGone())
            continue;
        for (const std::string& line : stanza.lines)
            NoteNeeded(line, needed);
    }
    return needed;
}

std::string TextWithout(const std::string& file, const std::set<std::string>& covered,
                        const std::map<std::string, PackageState>& broken)
{
    std::string shown;
    std::ifstream text(file);
    for (StatusStanza stanza; stanza.Read(text);) {
        const std::string key = stanza.Key();
        const bool isBroken = broken.count(key) > 0;
        if (isBroken && covered.count(key) == 0)
            continue;
        for (const std::string& line : stanza.lines) {
            const bool hides = isBroken && Agent::BeginsWith(line, "Status:");
            shown += (hides ? "Status: install ok installed" : line) + '\n';
        }
        shown += '\n';
    }
    return shown;
}

// Removes the files that killed runs have left in `folder`.
void RemoveLeftovers(const std::string& folder)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    while (const dirent* entry = dir ? readdir(dir.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name.rfind(filePrefix, 0) != 0)
            continue;
        const int process = std::atoi(name.c_str() + sizeof filePrefix - 1);
        if (process > 0 && kill(process, 0) != 0 && errno == ESRCH)
            unlink((folder + '/' + name).c_str());
    }
}

} // namespace

// Decides for each broken package how apt-get sees it. A requested half-installed package is
// shown as it is. An unpacked one that an install requests is left out, so that apt-get
// installs it again. One that is not requested is left out too, or shown as installed if an
// installed package depends on it: otherwise apt-get would want to change that package.
StatusView::StatusView(const Arguments& arguments, const DpkgStatus& status,
                       const std::string& folder, bool locks)
{
    if (!IsAboutItsNames(arguments))
        return;
    if (locks)
        RemoveLeftovers(folder);
    const std::string file = folder + "/status";
    const Packages broken = BrokenPackages(file, status);
    m_leftAlone = Others(arguments, broken);
    Packages hidden = AskedAgain(arguments, broken, m_leftAlone);
    hidden.insert(m_leftAlone.begin(), m_leftAlone.end());
    if (hidden.empty())
        return;
    const std::set<std::string> needed = NeededNames(file, status, hidden);
    for (const auto& [name, state] : m_leftAlone) {
        if (needed.count(Agent::BareName(name)) > 0)
            m_covered.insert(name);
    }
    Write(TextWithout(file, m_covered, hidden), folder, locks);
    if (m_file.empty()) {
        m_leftAlone.clear();
        m_covered.clear();
    }
}

StatusView::~StatusView()
{
    if (!m_file.empty())
        unlink(m_file.c_str());
}

// If the copy cannot be written, apt-get reads dpkg's own file.
void StatusView::Write(const std::string& text, const std::string& folder, bool locks)
{
    const char* const given = secure_getenv("TMPDIR");
    const std::string elsewhere = given && CanBeQuoted(given) ? given : "/tmp";
    std::string path = locks ? folder + '/' + filePrefix + std::to_string(getpid())
                             : elsewhere + '/' + filePrefix + "XXXXXX";
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const Agent::Descriptor file(locks ? open(path.c_str(), flags, 0644)
                                       : mkostemp(path.data(), O_CLOEXEC));
    if (!file)
        return;
    if (Agent::WriteToDisk(file.Get(), text))
        m_file = path;
    else
        unlink(path.c_str());
}

std::string WithStates(const std::map<std::string, PackageState>& packages)
{
    std::string text;
    for (const auto& [name, state] : packages)
        text += (text.empty() ? "" : ", ") + name + " (" + state.status + ')';
    return text;
}
