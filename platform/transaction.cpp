// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/transaction.h"

#include "platform/aptsettings.h"
#include "platform/aptwords.h"
#include "platform/errorlines.h"
#include "platform/statusreader.h"
#include "platform/translator.h"

namespace
{

constexpr int Killed = 128; // and the number of the signal

DpkgStatus StatusBelow(const std::string& root)
{
    return DpkgStatus(root + "/var/lib/dpkg");
}

std::string Settings(const Arguments& arguments, const std::string& root)
{
    return AptSettings(root, arguments.ownSources, Child::StatusFd);
}

// Whether apt-get would have nothing more to do for the same command line.
bool NothingIsLeft(const Arguments& arguments, const std::string& root)
{
    Child child;
    if (!child.Start(SimulationWords(arguments), Settings(arguments, root), root))
        return false;
    bool left = false;
    const int status = child.Read(
        [&left](const std::string& line) { left = left || line.rfind("Inst ", 0) == 0; },
        [](const std::string&) {}, [] {});
    return status == 0 && !left;
}

// The packages that dpkg has to finish: "a (half-configured), b (unpacked)".
std::string HalfWay(const DpkgStatus& status)
{
    std::string names;
    for (const auto& [name, state] : status.All()) {
        if (state.IsHalfWay())
            names += (names.empty() ? "" : ", ") + name + " (" + state.status + ')';
    }
    return names;
}

// Packages that are half-installed and that nobody asked for, by their names without
// an architecture.
std::map<std::string, std::string> OtherBroken(const Arguments& arguments, const DpkgStatus& dpkg)
{
    std::map<std::string, std::string> broken;
    for (const auto& [name, state] : dpkg.All()) {
        if (IsBroken(state))
            broken[Agent::BareName(name)] = name;
    }
    for (const std::string& name : arguments.names)
        broken.erase(Agent::BareName(name));
    return broken;
}

// Those of them that the install takes. `status` becomes that of the listing.
std::vector<std::string> BrokenParts(const Arguments& arguments, const std::string& root,
                                     int& status)
{
    const DpkgStatus dpkg = StatusBelow(root);
    const auto broken = OtherBroken(arguments, dpkg);
    std::vector<std::string> parts;
    Child child;
    if (broken.empty()
        || !child.Start(ListingWords(arguments, dpkg), Settings(arguments, root), root))
        return parts;
    status = child.Read(
        [&](const std::string& line) {
            const auto found = broken.find(PackageOfListing(line));
            if (found != broken.end())
                parts.push_back(found->second);
        },
        [](const std::string&) {}, [] {});
    return parts;
}

// apt-get fetches a half-installed package that an install needs, but leaves it as it
// is, and what needs it cannot be set up: such packages are installed again first. How
// that ends shows in the install itself. Returns 128 + the signal that ended it, else 0.
int Repair(const Arguments& arguments, const std::string& root, const Writer& write)
{
    int status = 0;
    const std::vector<std::string> parts = BrokenParts(arguments, root, status);
    Child child;
    if (!parts.empty()
        && child.Start(RepairWords(arguments, parts), Settings(arguments, root), root)) {
        std::string names;
        for (const std::string& name : parts)
            names += ' ' + name;
        write("Installing again what is half-installed:" + names);
        const Writer nobody = [](const std::string&) { return true; };
        Relay relay(child, false, nobody);
        status = child.Read([](const std::string&) {},
                            [&](const std::string& line) { relay.StatusLine(line); }, [] {});
    }
    return status > Killed ? status : 0;
}

// Whether dpkg failed for other packages only: then a warning says for which.
bool IsDoneNevertheless(const Arguments& arguments, const std::string& root, Relay& relay)
{
    const DpkgStatus now = StatusBelow(root);
    if (!AllInstalled(arguments, now) || !NothingIsLeft(arguments, root))
        return false;
    const std::string text = "W: dpkg failed for packages that were not asked for: " + HalfWay(now);
    relay.Line(text.substr(0, LineReader::MaxLine));
    return true;
}

} // namespace

int RunAptGet(const Arguments& arguments, const std::string& root, const Writer& write)
{
    const bool changes = ChangesPackages(arguments);
    if (const int ended
        = changes && arguments.command == "install" ? Repair(arguments, root, write) : 0)
        return ended;
    Child child;
    const std::vector<std::string> words = AptWords(arguments, StatusBelow(root));
    if (!child.Start(words, Settings(arguments, root), root)) {
        write("E: Unable to start apt-get");
        return AptFailure;
    }
    Relay relay(child, changes, write);
    ErrorLines errors(changes && arguments.command == "install");
    int status = child.Read(
        [&](const std::string& line) {
            if (const auto taken = errors.Take(Translate(line, relay.Sizes())))
                relay.Line(*taken);
        },
        [&](const std::string& line) { relay.StatusLine(line); }, [&] { relay.Tick(); });
    if (status == AptFailure && errors.OnlyDpkgFailed()
        && IsDoneNevertheless(arguments, root, relay)) {
        status = 0;
    } else {
        for (const std::string& line : errors.Held())
            relay.Line(line);
    }
    if (changes && status == 0)
        relay.Line(Progress::Done());
    return status;
}
