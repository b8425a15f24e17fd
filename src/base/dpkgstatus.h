// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The state of packages according to dpkg. The exit status of the package tools says
// less: it is a failure when a package fails that was not requested, and a success when
// nothing was done for one that is half-installed.

#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Agent
{

// The three words of a package's "Status" field, and its version.
struct PackageState {
    std::string want = "unknown"; // "install", "hold", "deinstall", "purge"
    std::string flag = "ok"; // or "reinstreq"
    std::string status = "not-installed"; // "unpacked", "half-configured", "installed", ...
    std::string version;

    // Wanted, sound, and set up. A package on hold is as good as any.
    bool IsInstalled() const
    {
        return (want == "install" || want == "hold") && flag == "ok" && status == "installed";
    }
    // Nothing of it is here, or only its configuration.
    bool IsGone() const { return status == "not-installed" || status == "config-files"; }
    // Neither gone nor set up.
    bool IsHalfWay() const { return !IsGone() && (status != "installed" || flag != "ok"); }
    // "install ok unpacked"
    std::string Words() const { return want + ' ' + flag + ' ' + status; }
};

// One stanza of a status file.
struct StatusStanza {
    std::vector<std::string> lines; // without their line ends

    // Reads the next one; false at the end of the file.
    bool Read(std::istream& text);

    // The value of a field on its own line, the last one of several; empty if it is
    // missing. Letter case does not matter.
    std::string Field(std::string_view name) const;

    // The name under which DpkgStatus keeps the package; empty if the stanza has no name.
    std::string Key() const;
};

class DpkgStatus
{
public:
    // `folder` is dpkg's database, "/var/lib/dpkg". Its file "status" counts, and
    // then what an interrupted dpkg has left in "updates", which dpkg itself takes
    // over with its next run.
    explicit DpkgStatus(const std::string& folder);

    // False when there is no status file, or none that can be read.
    bool IsReadable() const { return m_readable; }

    // Whether an interrupted dpkg has left something in "updates": apt-get changes
    // nothing before dpkg has taken that over ("dpkg --configure -a").
    bool WasInterrupted() const { return m_interrupted; }

    // The state of a package; that of an unknown one is "not-installed". A name
    // without an architecture is that of the machine's, then of any.
    PackageState Of(const std::string& name) const;

    // All packages, by their names; with ":ARCHITECTURE" where it is a foreign one.
    const std::map<std::string, PackageState>& All() const { return m_packages; }

private:
    bool Read(const std::string& file);
    void Note(const StatusStanza& stanza);

    bool m_readable = false;
    bool m_interrupted = false;
    std::map<std::string, PackageState> m_packages;
};

// The bare name in a request for a package: without ":ARCHITECTURE", "=VERSION" and
// "/RELEASE".
std::string BareName(const std::string& name);

// The name under which DpkgStatus keeps a package of that architecture.
std::string PackageKey(const std::string& name, const std::string& architecture);

// Debian's name of the architecture that this is built for.
const char* NativeArchitecture();

} // namespace Agent
