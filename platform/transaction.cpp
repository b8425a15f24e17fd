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
    Child child;
    const std::vector<std::string> words = AptWords(arguments, StatusBelow(root));
    if (!child.Start(words, Settings(arguments, root), root)) {
        write("E: Unable to start apt-get");
        return AptFailure;
    }
    const bool changes = ChangesPackages(arguments);
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
