// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/interrupted.h"

#include "base/dpkgstatus.h"
#include "platform/aptwords.h"
#include "platform/child.h"

#include <algorithm>
#include <vector>

namespace
{

// The arguments of dpkg's --configure; none if there is nothing to finish.
std::vector<std::string> NamesToSetUp(const Arguments& arguments, const Agent::DpkgStatus& status)
{
    if (arguments.downloadsOnly)
        return {};
    if (status.WasInterrupted())
        return { "-a" };
    const std::vector<std::string>& options = arguments.options;
    std::vector<std::string> names;
    if (std::find(options.begin(), options.end(), "--reinstall") == options.end())
        return names;
    for (const std::string& word : arguments.names) {
        const auto state = status.Of(word);
        if (state.IsHalfWay() && !IsBroken(state))
            names.push_back(word.substr(0, word.find('=')));
    }
    return names;
}

} // namespace

void FinishInterrupted(const Arguments& arguments, const std::string& root, const Writer& write)
{
    const std::vector<std::string> names
        = NamesToSetUp(arguments, Agent::DpkgStatus(root + "/var/lib/dpkg"));
    if (names.empty())
        return;
    std::vector<std::string> words{ "--force-confdef", "--force-confold", "--configure" };
    words.insert(words.end(), names.begin(), names.end());
    Child child;
    if (!child.StartDpkg(words, root))
        return;
    child.Read([&write](const std::string& line) { write(line); }, [](const std::string&) {},
               [] {});
}
