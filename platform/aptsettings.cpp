// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/aptsettings.h"

#include "base/dpkgstatus.h"

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
APT::Get::AllowUnauthenticated "true";
Acquire::AllowInsecureRepositories "true";
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
