// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/helper/wish.h"

#include "base/packagename.h"

#include <map>

namespace
{

constexpr std::size_t longestName = 256, digestLength = 64;

struct Verb {
    std::size_t fewest, most; // names
    std::vector<std::string> words;
};

const std::map<std::string, Verb> verbs{
    { "install", { 1, 1000, { "install" } } },
    { "remove", { 1, 1000, { "remove" } } },
    { "repair", { 0, 1000, { "--fix-broken", "install" } } },
    { "upgrade", { 0, 0, { "--with-new-pkgs", "upgrade" } } },
    { "exchange", { 1, 1000, { "install" } } },
    { "download", { 1, 1000, { "--download-only", "install" } } },
    { "clean", { 0, 0, { "clean" } } },
};

// What an exchange removes has a '-' after its name, which no name of a package has.
bool IsToGo(const Wish& wish, const std::string& name)
{
    return wish.verb == "exchange" && !name.empty() && name.back() == '-';
}

} // namespace

const char* FaultOf(const Wish& wish)
{
    const auto verb = verbs.find(wish.verb);
    if (verb == verbs.end())
        return "There is no such change.";
    if (wish.names.size() < verb->second.fewest || wish.names.size() > verb->second.most)
        return "This is not the right number of packages.";
    for (const std::string& name : wish.names) {
        if (name.size() > longestName
            || !Agent::IsPackageWord(name.substr(0, name.size() - IsToGo(wish, name))))
            return "This is not the name of a package.";
    }
    if (wish.digest.size() != (wish.verb == "clean" ? 0 : digestLength)
        || wish.digest.find_first_not_of("0123456789abcdef") != std::string::npos)
        return "This is not the digest of a plan.";
    return nullptr;
}

std::vector<std::string> WordsOf(const Wish& wish)
{
    // The two settings are for a machine whose administrator trusts stores without a key.
    std::vector<std::string> words{ "-yp", "--trusted-stores",
                                    "--option=Dir::Etc::SourceParts=/etc/pakmart/stores.d",
                                    "--option=Dir::State::lists=/var/lib/pakmart/lists/",
                                    "--no-auto-remove" };
    if (!wish.digest.empty()) // the plan decides what goes
        words.insert(words.end(), { "--allow-removals", "--expect=" + wish.digest });
    if (wish.verb == "repair" && !wish.names.empty())
        words.emplace_back("--reinstall");
    const std::vector<std::string>& command = verbs.at(wish.verb).words;
    words.insert(words.end(), command.begin(), command.end());
    for (const std::string& name : wish.names)
        words.push_back(IsToGo(wish, name) ? "--remove=" + name.substr(0, name.size() - 1) : name);
    return words;
}
