// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/helper/wish.h"

#include "base/packagename.h"

#include <algorithm>
#include <map>

namespace
{

constexpr std::size_t longestName = 256, digestLength = 64;

struct Verb {
    std::size_t fewest, most; // names
    bool hasPlan;
    std::vector<std::string> words;
};

const std::map<std::string, Verb> verbs{
    { "install", { 1, 1000, true, { "install" } } },
    { "remove", { 1, 1000, true, { "remove" } } },
    { "repair", { 0, 1000, true, { "--fix-broken", "install" } } },
    { "upgrade", { 0, 0, true, { "--with-new-pkgs", "upgrade" } } },
    { "clean", { 0, 0, false, { "clean" } } },
};

bool IsValidName(const std::string& name)
{
    return name.size() <= longestName && Agent::IsPackageWord(name);
}

} // namespace

const char* FaultOf(const Wish& wish)
{
    const auto verb = verbs.find(wish.verb);
    if (verb == verbs.end())
        return "There is no such change.";
    if (wish.names.size() < verb->second.fewest || wish.names.size() > verb->second.most)
        return "This is not the right number of packages.";
    if (!std::all_of(wish.names.begin(), wish.names.end(), IsValidName))
        return "This is not the name of a package.";
    if (wish.digest.size() != (verb->second.hasPlan ? digestLength : 0)
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
    words.insert(words.end(), wish.names.begin(), wish.names.end());
    return words;
}
