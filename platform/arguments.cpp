// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/arguments.h"

#include "base/packagename.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <string_view>
#include <strings.h>

namespace
{

constexpr auto none = std::string::npos;

bool IsCluster(const std::string& word)
{
    return word.size() > 1 && word[0] == '-' && word[1] != '-';
}

// The position of the option that takes a value in a cluster of short options. The value is
// the rest of the cluster, or the next word.
std::size_t ValueOption(const std::string& word)
{
    return IsCluster(word) ? word.find_first_of("oct", 1) : none;
}

// A cluster without the 'p' that apt-get does not know: "-y" for "-yp". Empty if nothing
// is left.
std::string WithoutP(const std::string& word)
{
    if (!IsCluster(word))
        return word;
    const std::size_t flags = std::min(word.find_first_of("=oct", 1), word.size());
    std::string rest = word.substr(0, flags);
    rest.erase(std::remove(rest.begin(), rest.end(), 'p'), rest.end());
    rest += word.substr(flags);
    return rest == "-" ? std::string() : rest;
}

bool TakesNextWord(const std::string& word)
{
    const std::size_t option = ValueOption(word);
    if (option != none)
        return option + 1 == word.size();
    return word == "--option" || word == "--config-file" || word == "--target-release"
        || word == "--default-release";
}

bool IsOneOf(const std::string& word, std::initializer_list<const char*> words)
{
    return std::any_of(words.begin(), words.end(),
                       [&word](const char* one) { return word == one; });
}

// Notes a setting of the command line, and what it says if it matters here
// ("Dir::State::lists=/l/"). The case of its name does not matter.
void NoteSetting(const std::string& setting, Arguments& arguments)
{
    if (setting.find('=') != none)
        arguments.settings.push_back(setting);
    const auto is = [&setting](std::string_view name) {
        return strncasecmp(setting.c_str(), name.data(), name.size()) == 0;
    };
    if (is("Dir::Etc::Sourcelist=")) {
        arguments.ownSources = true;
        arguments.sourcesList = setting.substr(setting.find('=') + 1);
    } else if (is("Dir::State::lists="))
        arguments.listsFolder = setting.substr(setting.find('=') + 1);
    else if (is("DPkg::Lock::Timeout="))
        arguments.lockSeconds = std::atoi(setting.c_str() + setting.find('=') + 1);
}

// Whether the option `word` requests a simulation.
bool AsksToSimulate(const std::string& word)
{
    if (IsCluster(word))
        return word.substr(0, word.find_first_of("=oct", 1)).find('s') != none;
    return IsOneOf(word, { "--simulate", "--just-print", "--dry-run", "--recon", "--no-act" });
}

// Whether the option `word` requests a download alone.
bool AsksToDownload(const std::string& word)
{
    if (IsCluster(word))
        return word.substr(0, word.find_first_of("=oct", 1)).find('d') != none;
    return word == "--download-only";
}

// Takes an option that is the front end's own, and not for apt-get.
bool TakeOwnOption(const std::string& word, Arguments& arguments)
{
    static const std::string_view expect = "--expect=";
    static const std::string_view remove = "--remove=";
    if (word == "--allow-removals") {
        arguments.mayRemove = true;
    } else if (word == "--trusted-stores") {
        arguments.trustedStores = true;
    } else if (word == "--plan") {
        arguments.plans = arguments.simulates = true;
        arguments.words.push_back("--simulate");
    } else if (word.compare(0, expect.size(), expect) == 0) {
        arguments.expectedPlan = word.substr(expect.size());
    } else if (word.compare(0, remove.size(), remove) == 0) {
        arguments.removals.push_back(word.substr(remove.size()));
    } else {
        return false;
    }
    return true;
}

// The setting that is part of the option `word`: "-oX=Y", "--option=X=Y".
std::string SettingWithin(const std::string& word)
{
    const std::string_view option = "--option=";
    if (word.compare(0, option.size(), option) == 0)
        return word.substr(option.size());
    const std::size_t at = ValueOption(word);
    return at == none ? std::string() : word.substr(at + 1);
}

} // namespace

Arguments SortArguments(const std::vector<std::string>& words)
{
    Arguments sorted;
    bool options = true;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string word = options ? WithoutP(words[i]) : words[i];
        if (word.empty())
            continue;
        if (options && TakeOwnOption(word, sorted))
            continue;
        sorted.words.push_back(word);
        if (!options || word[0] != '-') {
            if (sorted.command.empty())
                sorted.command = word;
            else
                sorted.names.push_back(word);
            continue;
        }
        options = word != "--";
        sorted.options.push_back(word);
        sorted.printUris = sorted.printUris || word == "--print-uris";
        sorted.simulates = sorted.simulates || AsksToSimulate(word);
        sorted.downloadsOnly = sorted.downloadsOnly || AsksToDownload(word);
        NoteSetting(SettingWithin(word), sorted);
        if (TakesNextWord(word) && i + 1 < words.size()) {
            sorted.words.push_back(words[++i]);
            sorted.options.push_back(words[i]);
            NoteSetting(words[i], sorted);
        }
    }
    for (const std::string& name : sorted.removals) // as apt-get's own mark for that
        sorted.words.push_back(name + '-');
    return sorted;
}

bool ChangesPackages(const Arguments& arguments)
{
    return !arguments.printUris && !arguments.simulates
        && (Installs(arguments) || Removes(arguments));
}

bool Removes(const Arguments& arguments)
{
    return IsOneOf(arguments.command, { "remove", "purge", "autoremove", "autopurge" });
}

bool Installs(const Arguments& arguments)
{
    return IsOneOf(arguments.command,
                   { "install", "reinstall", "upgrade", "dist-upgrade", "full-upgrade" });
}

bool IsKnownPackage(const std::string& statusFile, const std::string& name)
{
    std::ifstream status(statusFile);
    const std::string wanted = "Package: " + name.substr(0, name.find(':'));
    for (std::string line; std::getline(status, line);) {
        if (line == wanted)
            return true;
    }
    return false;
}

std::string NameError(const Arguments& arguments, const std::string& statusFile)
{
    if (!arguments.removals.empty() && arguments.command != "install")
        return "E: --remove goes with install";
    for (const std::string& name : arguments.removals) {
        if (!Agent::IsPackageWord(name) || name.find('=') != none)
            return "E: Not the name of a package: " + name;
    }
    for (const std::string& name : arguments.names) {
        if (!Agent::IsPackageWord(name))
            return "E: Not the name of a package: " + name;
        if (arguments.command != "install" && name.back() == '+'
            && !IsKnownPackage(statusFile, name))
            return "E: Unable to locate package " + name;
    }
    return std::string();
}
