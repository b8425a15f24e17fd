// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/changecheck.h"

#include "base/dpkgstatus.h"
#include "base/text.h"
#include "base/wholefile.h"

#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

const std::string hookOption = "--check-changes=";

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

} // namespace

ChangeCheck::ChangeCheck(const PrintedPlan& plan) : m_file(memfd_create("changes", MFD_CLOEXEC))
{
    if (m_file && !Agent::WriteToDisk(m_file.Get(), TextOf(plan)))
        m_file = Agent::Descriptor();
}

std::vector<std::string> ChangeCheck::Words() const
{
    if (!m_file)
        return {};
    const std::string own = "/proc/" + std::to_string(getpid());
    const std::string option = "--option=DPkg::";
    return { option + "Tools::Options::" + own + "/exe::Version=3",
             option + "Pre-Install-Pkgs::=" + own + "/exe " + hookOption + own + "/fd/"
                 + std::to_string(m_file.Get()) };
}

bool AreTheSame(std::istream& hookInput, std::istream& expected)
{
    std::string line;
    if (!std::getline(hookInput, line) || line != "VERSION 3")
        return false;
    SkipSettings(hookInput);
    std::set<std::string> planned, done;
    while (std::getline(expected, line))
        planned.insert(line);
    while (std::getline(hookInput, line)) {
        std::istringstream fields(line);
        std::string name, before, after, unused, action;
        fields >> name >> before >> unused >> unused >> unused >> after >> unused >> unused;
        if (!(fields >> action))
            return false;
        if (action != "**CONFIGURE**")
            done.insert(ChangeLine(name, before, after));
    }
    return planned == done;
}

int RunChangeCheck(const std::vector<std::string>& words)
{
    if (words.size() != 1 || !Agent::BeginsWith(words[0], hookOption))
        return -1;
    std::ifstream expected(words[0].substr(hookOption.size()));
    if (expected && AreTheSame(std::cin, expected))
        return 0;
    std::cerr << "E: Nothing was changed: apt-get wants to do something else than was shown."
              << std::endl;
    return 1;
}
