// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/aptwords.h"

#include <algorithm>

namespace
{

// Whether one of the packages that are asked for is in such a state.
template <typename Condition>
bool AnyIs(const Arguments& arguments, const DpkgStatus& status, Condition condition)
{
    return std::any_of(arguments.names.begin(), arguments.names.end(),
                       [&](const std::string& name) { return condition(status.Of(name)); });
}

std::vector<std::string> Before(std::vector<std::string> first, const Arguments& arguments)
{
    first.insert(first.end(), arguments.words.begin(), arguments.words.end());
    return first;
}

} // namespace

// Ours come first: what the command line says of the same setting overrules them.
std::vector<std::string> AptWords(const Arguments& arguments, const DpkgStatus& status)
{
    std::vector<std::string> words;
    if (Installs(arguments) && !arguments.mayRemove)
        words = { "--no-remove", "--no-auto-remove" };
    const auto reinstreq = [](const PackageState& s) { return s.flag == "reinstreq"; };
    const auto isBroken = [reinstreq](const PackageState& s) {
        return s.status == "half-installed" || reinstreq(s);
    };
    if (arguments.command == "install" && AnyIs(arguments, status, isBroken))
        words.push_back("--reinstall");
    if (Removes(arguments) && AnyIs(arguments, status, reinstreq))
        words.push_back("--option=DPkg::Options::=--force-remove-reinstreq");
    const auto isHeld = [](const PackageState& s) { return s.want == "hold"; };
    if (Removes(arguments) && AnyIs(arguments, status, isHeld))
        words.push_back("--allow-change-held-packages");
    return Before(words, arguments);
}

std::vector<std::string> SimulationWords(const Arguments& arguments)
{
    return Before({ "--simulate", "--no-remove", "--no-auto-remove" }, arguments);
}

bool AllInstalled(const Arguments& arguments, const DpkgStatus& status)
{
    return !arguments.names.empty()
        && !AnyIs(arguments, status, [](const PackageState& s) { return !s.IsInstalled(); });
}
