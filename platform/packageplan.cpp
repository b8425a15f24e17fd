// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/packageplan.h"

#include "base/dpkgstatus.h"
#include "base/packagename.h"

#include <algorithm>
#include <cstdlib>

namespace
{

using Agent::BareName;

// Cuts `text` after the next `end`, and returns what was before it; nothing if it is not there.
std::optional<std::string> CutAt(std::string& text, char end)
{
    const auto at = text.find(end);
    if (at == std::string::npos)
        return std::nullopt;
    const std::string before = text.substr(0, at);
    text.erase(0, at + 1);
    return before;
}

// "[1.0]" at the beginning of `text`, without its brackets; empty if there is none.
std::string TakeOldVersion(std::string& text)
{
    if (text.empty() || text[0] != '[')
        return std::string();
    text.erase(0, 1);
    const std::string version = CutAt(text, ']').value_or(std::string());
    if (!text.empty() && text[0] == ' ')
        text.erase(0, 1);
    return version;
}

// "(2.0 origin [all])": the version comes first, the architecture last.
bool TakeNewVersion(const std::string& text, PlannedChange& change)
{
    const auto end = text.find("])");
    const auto begin = end == std::string::npos ? end : text.rfind('[', end);
    if (text.empty() || text[0] != '(' || begin == std::string::npos)
        return false;
    change.newVersion = text.substr(1, text.find(' ') - 1);
    change.architecture = text.substr(begin + 1, end - begin - 1);
    return Agent::IsPackageVersion(change.newVersion) && Agent::IsPackageName(change.architecture);
}

std::string Value(const PackageFields& fields, const char* name)
{
    const auto found = fields.find(name);
    return found == fields.end() ? std::string() : found->second;
}

// The names by which others may list a package with this record.
std::set<std::string> OwnNames(const PlannedChange& change, const PackageFields& record)
{
    std::set<std::string> names = NamesIn(Value(record, "Provides"));
    names.insert(BareName(change.name));
    return names;
}

// "Installed-Size" in bytes; the field counts units of 1024.
std::string SizeOf(const PackageFields& fields)
{
    return std::to_string(std::strtoull(Value(fields, "Installed-Size").c_str(), nullptr, 10)
                          * 1024);
}

} // namespace

const char* PlannedChange::Action() const
{
    if (newVersion.empty())
        return "remove";
    if (oldVersion.empty())
        return "install";
    if (oldVersion == newVersion)
        return "reinstall";
    return isDowngrade ? "downgrade" : "upgrade";
}

std::optional<PlannedChange> ParseChange(const std::string& line)
{
    const std::string kind = line.substr(0, 5);
    const bool installs = kind == "Inst ";
    if (!installs && kind != "Remv " && kind != "Purg ")
        return std::nullopt;
    PlannedChange change;
    std::string rest = line.substr(kind.size()) + ' ';
    change.name = CutAt(rest, ' ').value_or(std::string());
    change.oldVersion = TakeOldVersion(rest);
    const bool valid = Agent::IsPackageWord(change.name)
        && (change.oldVersion.empty() || Agent::IsPackageVersion(change.oldVersion))
        && (installs ? TakeNewVersion(rest, change) : !change.oldVersion.empty());
    return valid ? std::optional<PlannedChange>(change) : std::nullopt;
}

void NoteField(const std::string& line, PackageFields& fields)
{
    static const std::set<std::string> known{ "Package",   "Version",        "Architecture",
                                              "Size",      "Installed-Size", "Essential",
                                              "Important", "Depends",        "Pre-Depends",
                                              "Provides",  "Recommends",     "Conflicts",
                                              "Breaks",    "Protected" };
    const auto colon = line.find(": ");
    if (colon != std::string::npos && known.count(line.substr(0, colon)) > 0)
        fields[line.substr(0, colon)] = line.substr(colon + 2);
}

std::set<std::string> NamesIn(const std::string& field)
{
    std::set<std::string> names;
    for (std::size_t at = 0; at != std::string::npos; at = field.find_first_of(",|", at)) {
        at = field.find_first_not_of(" ,|", at);
        if (at == std::string::npos)
            break;
        names.insert(field.substr(at, field.find_first_of(" ,|(:[", at) - at));
    }
    return names;
}

PackagePlan::Names PackagePlan::MakeNames() const
{
    Names names;
    for (const PlannedChange& change : m_changes) {
        if (!change.oldVersion.empty()) {
            for (const std::string& name : OwnNames(change, change.before))
                names.now[name].push_back(&change);
        }
        if (change.newVersion.empty())
            continue;
        for (const std::string& name : OwnNames(change, change.after))
            names.afterwards[name].push_back(&change);
        for (const char* field :
             { "Pre-Depends", "Depends", "Recommends", "Conflicts", "Breaks" }) {
            for (const std::string& name : NamesIn(Value(change.after, field)))
                names.listed[field][name].push_back(&change);
        }
    }
    return names;
}

// The first other package that is found by one of these names: a requested one before all
// others. Null if there is none.
const PlannedChange* PackagePlan::First(const Names::Found& found, const std::set<std::string>& of,
                                        const PlannedChange& change) const
{
    const PlannedChange* first = nullptr;
    for (const std::string& name : of) {
        const auto others = found.find(name);
        if (others == found.end())
            continue;
        for (const PlannedChange* other : others->second) {
            if (other->name == change.name)
                continue;
            if (m_asked.count(BareName(other->name)) > 0)
                return other;
            first = first ? first : other;
        }
    }
    return first;
}

ChangeReason PackagePlan::WhyInstalled(const PlannedChange& change, const Names& names) const
{
    const std::set<std::string> own = OwnNames(change, change.after);
    for (const char* field : { "Pre-Depends", "Depends", "Recommends" }) {
        const auto listed = names.listed.find(field);
        const PlannedChange* other
            = listed == names.listed.end() ? nullptr : First(listed->second, own, change);
        if (other)
            return { *field == 'R' ? "recommended" : "needed", other->name };
    }
    return { m_asked.empty() ? "asked" : "other", std::string() };
}

ChangeReason PackagePlan::WhyRemoved(const PlannedChange& change, const Names& names) const
{
    const std::set<std::string> own = OwnNames(change, change.before);
    for (const char* field : { "Conflicts", "Breaks" }) {
        const auto listed = names.listed.find(field);
        const PlannedChange* other
            = listed == names.listed.end() ? nullptr : First(listed->second, own, change);
        if (!other)
            other = First(names.afterwards, NamesIn(Value(change.before, field)), change);
        if (other)
            return { "conflict", other->name };
    }
    for (const char* field : { "Pre-Depends", "Depends" }) {
        if (const PlannedChange* other
            = First(names.now, NamesIn(Value(change.before, field)), change))
            return { "dependency", other->name };
    }
    return { m_removes ? "unused" : "other", std::string() };
}

ChangeReason PackagePlan::ReasonOf(const PlannedChange& change, const Names& names) const
{
    if (m_asked.count(BareName(change.name)) > 0 && m_removes == change.newVersion.empty())
        return { "asked", std::string() };
    if (change.newVersion.empty() && m_removals.count(BareName(change.name)) > 0)
        return { "asked", std::string() };
    // What is removed without a name is what nothing needs any more.
    if (change.newVersion.empty() && m_removes && m_asked.empty())
        return { "unused", std::string() };
    return change.newVersion.empty() ? WhyRemoved(change, names) : WhyInstalled(change, names);
}

ChangeReason PackagePlan::ReasonOf(const PlannedChange& change) const
{
    return ReasonOf(change, MakeNames());
}

std::vector<std::string> PackagePlan::Lines() const
{
    std::vector<std::string> lines{ "Plan: 1", "" };
    const auto add = [&lines](const char* field, const std::string& text) {
        if (!text.empty())
            lines.push_back(std::string(field) + ": " + text);
    };
    const Names names = MakeNames();
    for (const PlannedChange& change : m_changes) {
        const ChangeReason reason = ReasonOf(change, names);
        const auto isSet = [&change](const char* field) {
            return Value(change.before, field) == "yes" || Value(change.after, field) == "yes";
        };
        add("Package", change.name);
        add("Action", change.Action());
        add("Old-Version", change.oldVersion);
        add("New-Version", change.newVersion);
        add("Architecture", change.architecture);
        add("Download-Size", std::to_string(change.download));
        add("Old-Size", change.oldVersion.empty() ? "0" : SizeOf(change.before));
        add("New-Size", change.newVersion.empty() ? "0" : SizeOf(change.after));
        add("Essential", isSet("Essential") || isSet("Protected") ? "yes" : "no");
        add("Reason", reason.word);
        add("Because-Of", reason.package);
        lines.emplace_back();
    }
    lines.push_back("End: " + std::to_string(m_changes.size()));
    return lines;
}
