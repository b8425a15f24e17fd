// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// dpkg's status as apt-get is to see it.
//
// apt-get does nothing at all while one package is half-installed: it wants that one
// removed, or installed again, together with whatever it is asked for, and gives up where
// that fails, as it does for a package whose script fails. So a package in such a state is
// shown to apt-get only when it is asked for by name. Otherwise it is left out: if the
// packages that are asked for need it, apt-get installs it again. Where packages that are
// installed need it, it is shown as installed, since apt-get would want to change those.
//
// Nor does apt-get do anything while a package is unpacked that lacks another one, even
// where it is asked for that package. An install that asks for it does not see it, and
// installs it again with what it needs; where nobody asks for it, it is as if it were
// half-installed.

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
    // the file that it is shown: with `locks` that is one in dpkg's folder.
    StatusView(const Arguments& arguments, const DpkgStatus& status, const std::string& folder,
               bool locks);
    ~StatusView();
    StatusView(const StatusView&) = delete;
    StatusView& operator=(const StatusView&) = delete;

    // The file that apt-get is to read; empty where that is dpkg's own.
    const std::string& File() const { return m_file; }

    // What it does not see as it is.
    const std::map<std::string, PackageState>& LeftAlone() const { return m_leftAlone; }
    // The names of those that it sees as installed.
    const std::set<std::string>& Covered() const { return m_covered; }

private:
    void Write(const std::string& text, const std::string& folder, bool locks);

    std::map<std::string, PackageState> m_leftAlone;
    std::set<std::string> m_covered;
    std::string m_file;
};

// The packages as one text: "a (half-installed), b (unpacked)".
std::string WithStates(const std::map<std::string, PackageState>& packages);
