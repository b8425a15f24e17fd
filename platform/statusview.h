// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The view of dpkg's status that apt-get gets.
//
// apt-get does nothing at all while a package is half-installed: it wants that package
// removed or reinstalled in the same run, and gives up if that fails, for example because
// a script fails. So a package in such a state is shown to apt-get only when it is
// requested by name. Otherwise it is left out; if the requested packages need it, apt-get
// installs it again. If installed packages need it, it is shown as installed, since
// apt-get would otherwise want to change those.
//
// apt-get also does nothing while a package is unpacked but lacks another one, even when that
// package is requested. An install that requests it does not see it, and reinstalls it with
// what it needs; if it is not requested, it is treated as half-installed.

#pragma once

#include "base/dpkgstatus.h"
#include "platform/arguments.h"

#include <map>
#include <set>
#include <string>

using Agent::DpkgStatus;
using Agent::PackageState;

class StatusView
{
public:
    // `status` is that of dpkg's `folder`. apt-get looks for dpkg's locks in the folder of
    // the status file that it gets: with `locks` that file is in dpkg's folder.
    StatusView(const Arguments& arguments, const DpkgStatus& status, const std::string& folder,
               bool locks);
    ~StatusView();
    StatusView(const StatusView&) = delete;
    StatusView& operator=(const StatusView&) = delete;

    // The file that apt-get must read; empty for dpkg's own.
    const std::string& File() const { return m_file; }

    // The packages that are hidden or shown differently.
    const std::map<std::string, PackageState>& LeftAlone() const { return m_leftAlone; }
    // The names of those that are shown as installed.
    const std::set<std::string>& Covered() const { return m_covered; }

private:
    void Write(const std::string& text, const std::string& folder, bool locks);

    std::map<std::string, PackageState> m_leftAlone;
    std::set<std::string> m_covered;
    std::string m_file;
};

// The packages as one text: "a (half-installed), b (unpacked)".
std::string WithStates(const std::map<std::string, PackageState>& packages);
