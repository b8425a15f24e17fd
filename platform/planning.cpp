// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The plan is made in three steps: a simulation by apt-get, with the same words and the same
// view of dpkg's status as the real run; the records of the new versions, from apt-cache; and
// those of the present versions, from dpkg's status.

#include "platform/planning.h"

#include "base/dpkgstatus.h"
#include "platform/aptwords.h"
#include "platform/packageplan.h"
#include "platform/statusview.h"
#include "platform/transaction.h"
#include "platform/translator.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace
{

// apt-cache gets that many names in one call: a command line has its limits.
constexpr std::size_t namesAtOnce = 1000;

std::set<std::string> BareNames(const std::vector<std::string>& names)
{
    std::set<std::string> asked;
    for (const std::string& name : names)
        asked.insert(Agent::BareName(name));
    return asked;
}

// Sorts the lines of the simulation: changes, the names of downgrades, and errors and warnings
// with the lines that continue them.
class SimulationReader
{
public:
    explicit SimulationReader(const Writer& write) : m_write(write) { }

    void Take(const std::string& line)
    {
        const bool continues = !line.empty() && line[0] == ' ';
        if (continues && m_inDowngrades)
            NoteDowngrades(line);
        m_inDowngrades
            = line == "The following packages will be DOWNGRADED:" || (m_inDowngrades && continues);
        m_inError = line.compare(0, 2, "E:") == 0 || line.compare(0, 2, "W:") == 0
            || (m_inError && continues);
        if (m_inError)
            m_write(line);
        const bool isChange = line.compare(0, 5, "Inst ") == 0 || line.compare(0, 5, "Remv ") == 0
            || line.compare(0, 5, "Purg ") == 0;
        if (!isChange)
            return;
        const auto change = ParseChange(line);
        m_understood = m_understood && change;
        if (change)
            m_changes.push_back(*change);
    }

    // False if a change could not be understood: a plan without it would be wrong.
    bool IsUnderstood() const { return m_understood; }

    // Those of packages that the plan does not have yet.
    void MoveTo(PackagePlan& plan)
    {
        for (PlannedChange& change : m_changes) {
            const std::vector<PlannedChange>& known = plan.Changes();
            change.isDowngrade = m_downgrades.count(change.name) > 0;
            if (std::none_of(known.begin(), known.end(), [&change](const PlannedChange& one) {
                    return one.name == change.name;
                }))
                plan.Add(change);
        }
    }

private:
    void NoteDowngrades(const std::string& line)
    {
        std::istringstream names(line);
        for (std::string name; names >> name;)
            m_downgrades.insert(name);
    }

    const Writer& m_write;
    bool m_inDowngrades = false;
    bool m_inError = false;
    bool m_understood = true;
    std::set<std::string> m_downgrades;
    std::vector<PlannedChange> m_changes;
};

// "lib=2.0", "lib:i386=2.0"
std::string WithVersion(const PlannedChange& change)
{
    return change.name + '=' + change.newVersion;
}

// Package, version and architecture, as one text.
std::string KeyOf(const std::string& name, const std::string& version,
                  const std::string& architecture)
{
    return Agent::BareName(name) + ' ' + version + ' ' + architecture;
}

using ByKey = std::map<std::string, PlannedChange*>;

void NoteRecord(PackageFields& record, const ByKey& changes)
{
    const auto found
        = changes.find(KeyOf(record["Package"], record["Version"], record["Architecture"]));
    // Several repositories may have the same version; the first one counts.
    if (found != changes.end() && found->second->after.empty())
        found->second->after = record;
}

// Reads the records of the new versions from the package index.
void ReadIndex(const Arguments& arguments, const std::string& root, PackagePlan& plan)
{
    std::vector<std::string> names;
    ByKey changes;
    for (PlannedChange& change : plan.Changes()) {
        if (change.newVersion.empty())
            continue;
        names.push_back(WithVersion(change));
        changes[KeyOf(change.name, change.newVersion, change.architecture)] = &change;
    }
    for (std::size_t from = 0; from < names.size(); from += namesAtOnce) {
        std::vector<std::string> words{ "show" };
        for (const std::string& setting : arguments.settings)
            words.push_back("--option=" + setting);
        words.insert(words.end(), names.begin() + std::ptrdiff_t(from),
                     names.begin() + std::ptrdiff_t(std::min(from + namesAtOnce, names.size())));
        Child child;
        if (!child.Start(words, AptSettings(root, arguments.ownSources, Child::statusFd), root,
                         "apt-cache"))
            return;
        PackageFields record;
        const auto take = [&](const std::string& line) {
            NoteField(line, record);
            if (line.empty()) {
                NoteRecord(record, changes);
                record.clear();
            }
        };
        child.Read(
            take, [](const std::string&) {}, [] {});
        take(std::string());
    }
}

// Reads the records of the present versions from dpkg's status.
void ReadStatus(const std::string& root, PackagePlan& plan)
{
    std::map<std::string, PlannedChange*> changes;
    for (PlannedChange& change : plan.Changes())
        changes[change.name] = &change;
    std::ifstream text(root + "/var/lib/dpkg/status");
    for (Agent::StatusStanza stanza; stanza.Read(text);) {
        const auto found = changes.find(stanza.Key());
        if (found == changes.end())
            continue;
        PackageFields record;
        for (const std::string& line : stanza.lines)
            NoteField(line, record);
        found->second->before = record;
    }
}

// A name of apt's cache of archives: ':' and '_' are written as their codes.
std::string InFileName(const std::string& text)
{
    std::string name;
    for (const char c : text)
        name += c == ':' ? "%3a" : c == '_' ? "%5f" : std::string(1, c);
    return name;
}

// What has to be fetched: nothing for an archive that is already in the cache.
void NoteDownloads(const std::string& root, PackagePlan& plan)
{
    for (PlannedChange& change : plan.Changes()) {
        const auto size = change.after.find("Size");
        if (size == change.after.end())
            continue;
        change.download = std::strtoull(size->second.c_str(), nullptr, 10);
        const std::string archive = root + "/var/cache/apt/archives/"
            + InFileName(Agent::BareName(change.name)) + '_' + InFileName(change.newVersion) + '_'
            + change.architecture + ".deb";
        struct stat found = {};
        if (stat(archive.c_str(), &found) == 0
            && static_cast<unsigned long long>(found.st_size) == change.download)
            change.download = 0;
    }
}

// Has apt-get simulate, with a file in place of dpkg's status. Returns its status.
int Simulate(const std::vector<std::string>& words, const Arguments& arguments,
             const std::string& root, const StatusView& view, SimulationReader& reader)
{
    Child child;
    const std::string settings
        = SimulationSettings(root, arguments.ownSources, Child::statusFd, view.File());
    if (!child.Start(words, settings, root)) {
        reader.Take("E: Unable to start apt-get");
        return aptFailure;
    }
    Progress unused;
    ErrorLines errors(false);
    return child.Read(
        [&](const std::string& line) {
            if (const auto taken = errors.Take(Translate(line, unused)))
                reader.Take(*taken);
        },
        [](const std::string&) {}, [] {});
}

// What an install puts right before its own changes: half-installed packages that it needs. One
// that cannot be installed again is not part of the plan.
void AddRepairs(const Arguments& arguments, const std::string& root, PackagePlan& plan)
{
    Arguments install = arguments;
    install.simulates = false;
    install.words.erase(std::remove(install.words.begin(), install.words.end(), "--simulate"),
                        install.words.end());
    int unused = 0;
    if (install.command == "install")
        install.names = BrokenParts(install, root, unused);
    if (install.command != "install" || install.names.empty())
        return;
    const std::string folder = root + "/var/lib/dpkg";
    const StatusView view(install, DpkgStatus(folder), folder, false);
    std::vector<std::string> words = RepairWords(install, install.names);
    words.insert(words.begin(), "--simulate");
    const Writer nobody = [](const std::string&) { return true; };
    SimulationReader reader(nobody);
    if (Simulate(words, install, root, view, reader) == 0 && reader.IsUnderstood())
        reader.MoveTo(plan);
}

} // namespace

int PrintPlan(const Arguments& arguments, const std::string& root, const Writer& write)
{
    const std::string folder = root + "/var/lib/dpkg";
    const DpkgStatus dpkg(folder);
    const StatusView view(arguments, dpkg, folder, false);
    SimulationReader reader(write);
    if (const int status = Simulate(AptWords(arguments, dpkg), arguments, root, view, reader))
        return status;
    if (!reader.IsUnderstood()) {
        write("E: The simulation of apt-get cannot be understood");
        return aptFailure;
    }
    PackagePlan plan(BareNames(arguments.names), Removes(arguments), BareNames(arguments.removals));
    reader.MoveTo(plan);
    AddRepairs(arguments, root, plan);
    ReadIndex(arguments, root, plan);
    ReadStatus(root, plan);
    NoteDownloads(root, plan);
    for (const std::string& line : plan.Lines())
        write(line);
    return 0;
}
