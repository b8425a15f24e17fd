// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/transaction.h"

#include "base/text.h"
#include "platform/aptwords.h"
#include "platform/halfremoved.h"
#include "platform/stallwatch.h"
#include "platform/statusreader.h"
#include "platform/statusview.h"
#include "platform/translator.h"

namespace
{

constexpr int killed = 128; // plus the number of the signal

std::string DpkgFolder(const std::string& root)
{
    return root + "/var/lib/dpkg";
}

std::string Settings(const Arguments& arguments, const std::string& root, const StatusView& view)
{
    return AptSettings(root, arguments.ownSources, Child::statusFd, view.File());
}

// Whether apt-get would have nothing more to do for the same command line.
bool NothingIsLeft(const Arguments& arguments, const DpkgStatus& now, const std::string& root)
{
    const StatusView view(arguments, now, DpkgFolder(root), false);
    const std::string settings
        = SimulationSettings(root, arguments.ownSources, Child::statusFd, view.File());
    Child child;
    if (!child.Start(SimulationWords(arguments), settings, root))
        return false;
    bool left = false;
    const int status = child.Read(
        [&left](const std::string& line) { left = left || Agent::BeginsWith(line, "Inst "); },
        [](const std::string&) {}, [] {});
    return status == 0 && !left;
}

// The packages that dpkg has not finished, except those that apt-get left alone.
std::string HalfWay(const DpkgStatus& status, const StatusView& view)
{
    std::map<std::string, PackageState> halfWay;
    for (const auto& [name, state] : status.All()) {
        if (state.IsHalfWay() && view.LeftAlone().count(name) == 0)
            halfWay[name] = state;
    }
    return WithStates(halfWay);
}

// The packages that were hidden from apt-get or shown differently, and are unchanged.
std::map<std::string, PackageState> LeftAlone(const StatusView& view, const DpkgStatus& now)
{
    std::map<std::string, PackageState> left;
    for (const auto& [name, before] : view.LeftAlone()) {
        const PackageState state = now.Of(name);
        if (state.Words() == before.Words() && state.version == before.version)
            left[name] = before;
    }
    return left;
}

void SayWhatIsLeft(const StatusView& view, const DpkgStatus& now, Relay& relay)
{
    const std::map<std::string, PackageState> left = LeftAlone(view, now);
    if (!left.empty())
        relay.Line(("Left as they are: " + WithStates(left)).substr(0, LineReader::maxLine));
}

// apt-get does not touch a half-installed package that it sees as installed, and dpkg cannot
// configure anything that depends on it. So if the install needs such a package, it is
// reinstalled first; whether that worked shows in the install itself. Returns 128 + the
// signal that ended it, or 0.
int Repair(const Arguments& arguments, const std::string& root, const Writer& write)
{
    int status = 0;
    Arguments again = arguments;
    again.names = BrokenParts(arguments, root, status);
    if (again.names.empty())
        return status > killed ? status : 0;
    const StatusView view(again, DpkgStatus(DpkgFolder(root)), DpkgFolder(root), true);
    Child child;
    if (!child.Start(RepairWords(arguments, again.names), Settings(arguments, root, view), root))
        return 0;
    std::string names;
    for (const std::string& name : again.names)
        names += ' ' + name;
    write("Installing again what is half-installed:" + names);
    const Writer nobody = [](const std::string&) { return true; };
    Relay relay(child, false, nobody);
    status = child.Read([](const std::string&) {},
                        [&](const std::string& line) { relay.StatusLine(line); }, [] {});
    return status > killed ? status : 0;
}

// Whether dpkg failed only for packages that were not requested; if so, prints a warning
// that names them.
bool IsDoneNevertheless(const Arguments& arguments, const std::string& root, const StatusView& view,
                        Relay& relay)
{
    const DpkgStatus now(DpkgFolder(root));
    if (!AllInstalled(arguments, now) || !NothingIsLeft(arguments, now, root))
        return false;
    const std::string text
        = "W: dpkg failed for packages that were not asked for: " + HalfWay(now, view);
    relay.Line(text.substr(0, LineReader::maxLine));
    return true;
}

// Ends apt-get when a store sends almost nothing of an archive.
class DownloadGuard
{
public:
    DownloadGuard(Child& child, const std::string& root, const Arguments& arguments)
        : m_child(child), m_ofStores(arguments.ownSources),
          m_watch(root + "/var/cache/apt/archives/partial", arguments.stallSeconds)
    {
    }

    // Nothing may interrupt what follows the downloads.
    void StatusLine(const std::string& line)
    {
        m_downloads = m_ofStores && Agent::BeginsWith(line, "dlstatus:");
    }
    void Tick()
    {
        if (!m_downloads || m_stopped || !m_watch.HasStalled())
            return;
        m_stopped = true;
        m_child.Interrupt();
    }
    bool HasStopped() const { return m_stopped; }

private:
    Child& m_child;
    const bool m_ofStores;
    bool m_downloads = false;
    bool m_stopped = false;
    StallWatch m_watch;
};

} // namespace

std::vector<std::string> BrokenParts(const Arguments& arguments, const std::string& root,
                                     int& status)
{
    const DpkgStatus dpkg(DpkgFolder(root));
    const StatusView view(arguments, dpkg, DpkgFolder(root), false);
    std::vector<std::string> parts;
    Child child;
    if (view.Covered().empty()
        || !child.Start(ListingWords(arguments, dpkg),
                        AptSettings(root, arguments.ownSources, Child::statusFd), root))
        return parts;
    status = child.Read(
        [&](const std::string& line) {
            for (const std::string& name : view.Covered()) {
                if (Agent::BareName(name) == PackageOfListing(line))
                    parts.push_back(name);
            }
        },
        [](const std::string&) {}, [] {});
    return parts;
}

// Reinstalls half-installed parts that the install needs, runs apt-get on a view of dpkg's
// status without the broken packages that nobody requested, and relays its lines. The line
// that reports dpkg's failure is held back until dpkg's status shows whether a requested
// package is affected.
int RunAptGet(const Arguments& arguments, const std::string& root, const Writer& write)
{
    const bool changes = ChangesPackages(arguments);
    const bool installs = changes && !arguments.downloadsOnly;
    if (const int ended
        = installs && arguments.command == "install" ? Repair(arguments, root, write) : 0)
        return ended;
    const DpkgStatus before(DpkgFolder(root));
    const StatusView view(arguments, before, DpkgFolder(root), changes);
    if (installs && Installs(arguments)) {
        for (const auto& [name, state] : view.LeftAlone())
            KeepFromVanishing(root, name);
    }
    Child child;
    if (!child.Start(AptWords(arguments, before), Settings(arguments, root, view), root)) {
        write("E: Unable to start apt-get");
        return aptFailure;
    }
    Relay relay(child, changes, write);
    ErrorLines errors(changes && arguments.command == "install");
    DownloadGuard guard(child, root, arguments);
    int status = child.Read(
        [&](const std::string& line) {
            if (const auto taken = errors.Take(Translate(line, relay.Sizes())))
                relay.Line(*taken);
        },
        [&](const std::string& line) {
            guard.StatusLine(line);
            relay.StatusLine(line);
        },
        [&] {
            relay.Tick();
            guard.Tick();
        });
    if (guard.HasStopped()) {
        relay.Line("E: The download has stalled: the store sends almost nothing.");
        status = aptFailure;
    }
    if (changes && !view.LeftAlone().empty())
        SayWhatIsLeft(view, DpkgStatus(DpkgFolder(root)), relay);
    if (status == aptFailure && errors.OnlyDpkgFailed()
        && IsDoneNevertheless(arguments, root, view, relay)) {
        status = 0;
    } else {
        for (const std::string& line : errors.Held())
            relay.Line(line);
    }
    if (changes && status == 0)
        relay.Line(Progress::Done());
    return status;
}
