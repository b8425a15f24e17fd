// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/plandigest.h"

#include "base/text.h"
#include "platform/aptwords.h"
#include "platform/child.h"
#include "platform/planning.h"
#include "platform/transaction.h"

#include <algorithm>
#include <apt-pkg/hashes.h>

namespace
{

constexpr std::string_view beginning = "Plan: ";
constexpr std::string_view bytesToFetch = "Download-Size: ";

// The packages of the plan, each as one text, sorted: apt's order may differ between two runs.
std::vector<std::string> Stanzas(const std::vector<std::string>& lines)
{
    std::vector<std::string> stanzas(1);
    for (const std::string& line : lines) {
        if (line.empty())
            stanzas.emplace_back();
        else if (!Agent::BeginsWith(line, bytesToFetch))
            stanzas.back() += line + '\n';
    }
    std::sort(stanzas.begin(), stanzas.end());
    return stanzas;
}

// Fetches the lists that the plan is made from. Returns apt-get's exit status.
int Refresh(const Arguments& arguments, const std::string& root, const Writer& write)
{
    std::vector<std::string> words{ "update" };
    for (const std::string& setting : arguments.settings)
        words.push_back("--option=" + setting);
    Child child;
    if (!child.Start(words, AptSettings(root, arguments.ownSources, Child::statusFd), root)) {
        write("E: Unable to start apt-get");
        return aptFailure;
    }
    return child.Read(
        [&write](const std::string& line) {
            if (Agent::BeginsWith(line, "E:") || Agent::BeginsWith(line, "W:"))
                write(line);
        },
        [](const std::string&) {}, [] {});
}

} // namespace

bool PrintedPlan::IsEmpty() const
{
    return std::find(lines.begin(), lines.end(), "End: 0") != lines.end();
}

std::string PrintedPlan::Digest() const
{
    Hashes hashes(Hashes::SHA256SUM);
    for (const std::string& stanza : Stanzas(lines)) {
        const std::string text = stanza + '\n';
        hashes.Add(text.data(), text.size());
    }
    return hashes.GetHashString(Hashes::SHA256SUM).HashValue();
}

PrintedPlan MakePlan(const Arguments& arguments, const std::string& root)
{
    std::vector<std::string> words = arguments.words;
    words.insert(words.begin(), "--plan");
    if (arguments.mayRemove)
        words.insert(words.begin(), "--allow-removals");
    PrintedPlan plan;
    plan.status = PrintPlan(SortArguments(words), root, [&](const std::string& line) {
        const bool begins = !plan.lines.empty() || Agent::BeginsWith(line, beginning);
        (begins ? plan.lines : plan.messages).push_back(line);
        return true;
    });
    return plan;
}

int CheckPlan(const Arguments& arguments, const std::string& root, const Writer& write,
              PrintedPlan& plan)
{
    const bool needsLists = Installs(arguments) && !arguments.hasSignedLists;
    if (const int status = needsLists ? Refresh(arguments, root, write) : 0)
        return status;
    plan = MakePlan(arguments, root);
    for (const std::string& line : plan.messages)
        write(line);
    if (plan.status != 0)
        return plan.status;
    if (!plan.lines.empty() && plan.Digest() == arguments.expectedPlan)
        return 0;
    write("E: Nothing was changed: what would be done now is not what was shown before.");
    return aptFailure;
}
