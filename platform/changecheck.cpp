// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/changecheck.h"

#include "base/dpkgstatus.h"
#include "base/text.h"
#include "base/wholefile.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

const std::string hookOption = "--check-changes=";
const std::string partOption = "--check-part=";

// "app 1.0 2.0"; "-" for no version, as apt-get writes it.
std::string ChangeLine(const std::string& name, const std::string& before, const std::string& after)
{
    return Agent::BareName(name) + ' ' + (before.empty() ? "-" : before) + ' '
        + (after.empty() ? "-" : after);
}

std::string TextOf(const PrintedPlan& plan)
{
    std::string text, name, before, after;
    const auto value = [](const std::string& line) { return line.substr(line.find(": ") + 2); };
    for (const std::string& line : plan.lines) {
        if (Agent::BeginsWith(line, "Package: "))
            name = value(line);
        else if (Agent::BeginsWith(line, "Old-Version: "))
            before = value(line);
        else if (Agent::BeginsWith(line, "New-Version: "))
            after = value(line);
        if (!line.empty() || name.empty())
            continue;
        text += ChangeLine(name, before, after) + '\n';
        name = before = after = std::string();
    }
    return text;
}

// Skips the configuration that comes first, up to an empty line.
void SkipSettings(std::istream& input)
{
    for (std::string line; std::getline(input, line) && !line.empty();) { }
}

// Apt-get's list, as lines like those of the plan.
std::optional<std::set<std::string>> ChangesIn(std::istream& hookInput)
{
    std::string line;
    if (!std::getline(hookInput, line) || line != "VERSION 3")
        return std::nullopt;
    SkipSettings(hookInput);
    std::set<std::string> changes;
    while (std::getline(hookInput, line)) {
        std::istringstream fields(line);
        std::string name, before, after, unused, action;
        fields >> name >> before >> unused >> unused >> unused >> after >> unused >> unused;
        if (!(fields >> action))
            return std::nullopt;
        if (action != "**CONFIGURE**")
            changes.insert(ChangeLine(name, before, after));
    }
    return changes;
}

std::set<std::string> LinesOf(std::istream& text)
{
    std::set<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.insert(line);
    return lines;
}

// The hook of a run that may do a part of the plan.
bool TakePart(const std::string& path)
{
    const Agent::Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    std::ifstream text(path);
    std::set<std::string> expected = LinesOf(text);
    if (!file || !text.eof() || !CrossOff(std::cin, expected))
        return false;
    std::string left;
    for (const std::string& line : expected)
        left += line + '\n';
    return ftruncate(file.Get(), 0) == 0 && Agent::WriteToDisk(file.Get(), left);
}

bool TakeRest(const std::string& path)
{
    std::ifstream expected(path);
    return expected && AreTheSame(std::cin, expected);
}

} // namespace

ChangeCheck::ChangeCheck(const PrintedPlan& plan) : m_file(memfd_create("changes", MFD_CLOEXEC))
{
    if (m_file && !Agent::WriteToDisk(m_file.Get(), TextOf(plan)))
        m_file = Agent::Descriptor();
}

std::vector<std::string> ChangeCheck::Words(Scope scope) const
{
    if (!m_file)
        return {};
    const std::string own = "/proc/" + std::to_string(getpid());
    const std::string option = "--option=DPkg::";
    return { option + "Tools::Options::" + own + "/exe::Version=3",
             option + "Pre-Install-Pkgs::=" + own + "/exe "
                 + (scope == Scope::Part ? partOption : hookOption) + own + "/fd/"
                 + std::to_string(m_file.Get()) };
}

bool AreTheSame(std::istream& hookInput, std::istream& expected)
{
    const auto changes = ChangesIn(hookInput);
    return changes && *changes == LinesOf(expected);
}

bool CrossOff(std::istream& hookInput, std::set<std::string>& expected)
{
    const auto changes = ChangesIn(hookInput);
    if (!changes
        || !std::includes(expected.begin(), expected.end(), changes->begin(), changes->end()))
        return false;
    for (const std::string& line : *changes)
        expected.erase(line);
    return true;
}

int RunChangeCheck(const std::vector<std::string>& words)
{
    const std::string word = words.size() == 1 ? words[0] : std::string();
    const bool isPart = Agent::BeginsWith(word, partOption);
    if (!isPart && !Agent::BeginsWith(word, hookOption))
        return -1;
    const std::string path = word.substr(word.find('=') + 1);
    if (isPart ? TakePart(path) : TakeRest(path))
        return 0;
    std::cerr << "E: Nothing was changed: apt-get wants to do something else than was shown."
              << std::endl;
    return 1;
}
