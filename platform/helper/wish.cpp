// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/helper/wish.h"

#include "base/packagename.h"
#include "base/text.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr std::size_t mostNames = 1000;
constexpr std::size_t longestName = 256;
constexpr std::size_t digestLength = 64;

struct Verb {
    const char* name;
    bool mayHaveNames, needsNames, needsDigest;
    std::vector<std::string> words;
};

const Verb* Find(const std::string& name)
{
    static const Verb verbs[] = {
        { "install", true, true, true, { "install" } },
        { "remove", true, true, true, { "remove" } },
        { "repair", true, false, true, { "--fix-broken", "install" } },
        { "upgrade", false, false, true, { "--with-new-pkgs", "upgrade" } },
        { "clean", false, false, false, { "clean" } },
    };
    const auto found = std::find_if(std::begin(verbs), std::end(verbs),
                                    [&](const Verb& verb) { return name == verb.name; });
    return found == std::end(verbs) ? nullptr : found;
}

bool IsValidName(const std::string& name)
{
    return name.size() <= longestName && Agent::IsPackageWord(name);
}

bool IsDigest(const std::string& text)
{
    return text.size() == digestLength
        && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

} // namespace

std::string FaultOf(const Wish& wish)
{
    const Verb* const verb = Find(wish.verb);
    if (!verb)
        return "There is no such change.";
    if (wish.names.size() > mostNames || (!verb->mayHaveNames && !wish.names.empty())
        || (verb->needsNames && wish.names.empty()))
        return "This is not the right number of packages.";
    if (!std::all_of(wish.names.begin(), wish.names.end(), IsValidName))
        return "This is not the name of a package.";
    if (verb->needsDigest ? !IsDigest(wish.digest) : !wish.digest.empty())
        return "This is not the digest of a plan.";
    return std::string();
}

std::string ActionOf(const Wish& wish)
{
    return "org.vantrelos.pakmart." + wish.verb;
}

std::vector<std::string> WordsOf(const Wish& wish)
{
    // The second and third option are for a machine whose administrator trusts stores without
    // a key.
    std::vector<std::string> words{ "-yp",
                                    "--trusted-stores",
                                    "-o",
                                    "Dir::Etc::SourceParts=/etc/pakmart/stores.d",
                                    "-o",
                                    "Dir::State::lists=/var/lib/pakmart/lists/",
                                    "--no-auto-remove" };
    if (!wish.digest.empty()) // the plan decides what goes
        words.insert(words.end(), { "--allow-removals", "--expect=" + wish.digest });
    if (wish.verb == "repair" && !wish.names.empty())
        words.emplace_back("--reinstall");
    const Verb* const verb = Find(wish.verb);
    words.insert(words.end(), verb->words.begin(), verb->words.end());
    words.insert(words.end(), wish.names.begin(), wish.names.end());
    return words;
}
