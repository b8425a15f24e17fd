// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a run of apt-get would do, package by package: read from its simulation, completed
// from the package index and dpkg's status, and printed for programs.

#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The fields of a stanza that matter for a plan, by their names.
using PackageFields = std::map<std::string, std::string>;

struct PlannedChange {
    std::string name; // with ":ARCHITECTURE" where it is a foreign one
    std::string architecture; // of the new version; empty for a removal
    std::string oldVersion; // empty if it is not installed now
    std::string newVersion; // empty for a removal
    bool isDowngrade = false;
    PackageFields before; // from dpkg's status
    PackageFields after; // from the package index
    unsigned long long download = 0; // bytes

    // "install", "upgrade", "downgrade", "reinstall", "remove"
    const char* Action() const;
};

// A change from a line of the simulation: "Inst lib [1.0] (2.0 origin [all])",
// "Remv lib [1.0]". Nothing for any other line, or for one with names or versions that
// cannot be.
std::optional<PlannedChange> ParseChange(const std::string& line);

// Notes a line of a stanza, "Field: text", if the field matters for a plan.
void NoteField(const std::string& line, PackageFields& fields);

// The names of packages that a field such as "Depends" lists, alternatives included.
std::set<std::string> NamesIn(const std::string& field);

// Why a change is part of the plan, and because of which package.
struct ChangeReason {
    // "asked", "needed", "recommended", "unused", "conflict", "dependency", "other"
    std::string word;
    std::string package; // empty for "asked", "unused" and "other"
};

class PackagePlan
{
public:
    // `asked`: the requested packages, without architecture and version; empty when all were
    // requested, as for an upgrade of everything. `removes`: the request is to remove packages.
    // `removals`: what an install is requested to remove as well.
    PackagePlan(std::set<std::string> asked, bool removes, std::set<std::string> removals = {})
        : m_asked(std::move(asked)), m_removes(removes), m_removals(std::move(removals))
    {
    }

    void Add(const PlannedChange& change) { m_changes.push_back(change); }
    std::vector<PlannedChange>& Changes() { return m_changes; }

    ChangeReason ReasonOf(const PlannedChange& change) const;
    // The lines to print.
    std::vector<std::string> Lines() const;

private:
    // Which packages of the plan are found by a name. Made once for all reasons: a plan may
    // have thousands of packages.
    struct Names {
        using Found = std::map<std::string, std::vector<const PlannedChange*>>;
        std::map<std::string, Found> listed; // by field: who lists the name afterwards
        Found now, afterwards; // who has or provides it
    };

    Names MakeNames() const;
    ChangeReason ReasonOf(const PlannedChange& change, const Names& names) const;
    ChangeReason WhyInstalled(const PlannedChange& change, const Names& names) const;
    ChangeReason WhyRemoved(const PlannedChange& change, const Names& names) const;
    const PlannedChange* First(const Names::Found& found, const std::set<std::string>& of,
                               const PlannedChange& change) const;

    const std::set<std::string> m_asked;
    const bool m_removes;
    const std::set<std::string> m_removals;
    std::vector<PlannedChange> m_changes;
};
