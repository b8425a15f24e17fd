// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/aptwords.h"

#include "base/dpkgstatus.h"

#include <algorithm>

namespace
{

// Whether a requested package is in such a state.
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

bool IsBroken(const PackageState& state)
{
    return !state.IsGone() && (state.status == "half-installed" || state.flag == "reinstreq");
}

// Our options come first, so that the same option on the command line overrides them.
std::vector<std::string> AptWords(const Arguments& arguments, const DpkgStatus& status)
{
    std::vector<std::string> words;
    if (Installs(arguments) && !arguments.mayRemove)
        words = { "--no-remove", "--no-auto-remove" };
    const auto reinstreq = [](const PackageState& s) { return s.flag == "reinstreq"; };
    if (arguments.command == "install" && AnyIs(arguments, status, IsBroken))
        words.emplace_back("--reinstall");
    // apt-get does not list archives that are already in the cache, but the store needs the
    // file names of all packages. So it gets an archive folder that is always empty.
    if (Installs(arguments) && arguments.printUris)
        words.emplace_back("--option=Dir::Cache::archives=/dev/null/");
    if (Removes(arguments) && AnyIs(arguments, status, reinstreq))
        words.emplace_back("--option=DPkg::Options::=--force-remove-reinstreq");
    const auto isHeld = [](const PackageState& s) { return s.want == "hold"; };
    if (Removes(arguments) && AnyIs(arguments, status, isHeld))
        words.emplace_back("--allow-change-held-packages");
    return Before(words, arguments);
}

std::vector<std::string> ListingWords(const Arguments& arguments, const DpkgStatus& status)
{
    Arguments listing = arguments;
    listing.printUris = true;
    listing.words.insert(listing.words.begin(), "--print-uris");
    return AptWords(listing, status);
}

std::vector<std::string> RepairWords(const Arguments& arguments,
                                     const std::vector<std::string>& packages)
{
    std::vector<std::string> words{ "--no-remove", "--no-auto-remove", "--reinstall" };
    words.insert(words.end(), arguments.options.begin(), arguments.options.end());
    words.emplace_back("install");
    words.insert(words.end(), packages.begin(), packages.end());
    return words;
}

// 'URI' lib_1.0_all.deb SIZE SUM
std::string PackageOfListing(const std::string& line)
{
    const auto uri = line.rfind("' ");
    if (line.empty() || line[0] != '\'' || uri == std::string::npos)
        return std::string();
    return line.substr(uri + 2, line.find('_', uri + 2) - uri - 2);
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

namespace
{

const char always[] = R"(APT::Get::Assume-Yes "true";
APT::Cmd::Pattern-Only "true";
APT::Color "false";
Acquire::Retries "0";
Acquire::http::Timeout "30";
APT::Update::Error-Mode "any";
DPkg::Lock::Timeout "300";
Dpkg::Use-Pty "0";
DPkg::Options:: "--force-confdef";
DPkg::Options:: "--force-confold";
)";

// The index file of a flat repository has i386 in its name, even if its packages have the
// machine's own architecture.
const char storeSources[] = R"(Dir::Etc::sourceparts "/dev/null";
Acquire::Languages "none";
APT::Architectures:: ")";

std::string Setting(const char* name, const std::string& value)
{
    return std::string(name) + " \"" + value + "\";\n";
}

} // namespace

bool CanBeQuoted(const std::string& path)
{
    return path.find_first_of("\"\n\\;{}") == std::string::npos;
}

std::string AptSettings(const std::string& root, bool ownSources, int statusFd,
                        const std::string& statusFile)
{
    std::string text = always + Setting("APT::Status-Fd", std::to_string(statusFd));
    if (ownSources)
        text += storeSources + std::string(Agent::NativeArchitecture())
            + "\";\nAPT::Architectures:: \"i386\";\n";
    if (!statusFile.empty())
        text += Setting("Dir::State::status", statusFile);
    else if (!root.empty())
        text += Setting("Dir::State::status", root + "/var/lib/dpkg/status");
    if (root.empty())
        return text;
    return text + Setting("Dir", root + '/') + Setting("Dir::State", "var/lib/apt")
        + Setting("Dir::Cache", "var/cache/apt") + Setting("Dir::Etc", "etc/apt")
        + Setting("Dir::Log", "var/log/apt") + Setting("APT::Sandbox::User", "")
        + Setting("DPkg::Options::", "--root=" + root)
        + Setting("DPkg::Options::", "--force-not-root")
        + Setting("DPkg::Options::", "--log=" + root + "/var/log/dpkg.log")
        // Undoes the machine's settings that exclude paths.
        + Setting("DPkg::Options::", "--path-include=/*");
}

std::string SimulationSettings(const std::string& root, bool ownSources, int statusFd,
                               const std::string& statusFile)
{
    return AptSettings(root, ownSources, statusFd, statusFile) + Setting("Dir::Log::Planner", "");
}
