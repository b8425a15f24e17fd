// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a command has to find out for itself, since neither the library, its boxes nor the
// exit status of the package tools report it reliably: what dpkg has installed, what the
// package front end would do, and whether a reply was saved.

#pragma once

#include "base/dpkgstatus.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

class Console;

using Agent::DpkgStatus;
using Agent::PackageState;

// dpkg's current status.
DpkgStatus ReadDpkgStatus();

// The state of a package that is not installed as it should be, and what to do about it:
// "x is unpacked ('install ok unpacked'): 'pakmart install --package x' ..."
QString Trouble(const QString& name, const PackageState& state);

// Complains about each of `names` that is not installed. True if all are.
bool AreInstalled(Console& console, const QStringList& names, const DpkgStatus& now);

// Complains about each package that is half-installed now but was not before, except for
// `names`, which have been reported already.
void SayNewTrouble(Console& console, const QStringList& names, const DpkgStatus& before,
                   const DpkgStatus& now);

// The versions of all installed packages by name: those of the machine's architecture, or
// else of another one.
QMap<QString, QString> InstalledVersions();

// The version of one package; null if it is not installed.
QString InstalledVersion(const DpkgStatus& status, const char* package);

// The result of the package front end, run directly: it says which packages a remove would
// take away.
struct FrontEndResult {
    int status = -1; // the exit status; -1 if it could not be started or was killed
    QStringList lines;

    // The error lines, without their prefix.
    QStringList errors() const;
};

// Runs the front end to its end, on the private tree that is used to resolve dependencies.
// An interruption ends the run. Its lines also go to the log.
FrontEndResult RunFrontEnd(const QStringList& words);

// Detects whether a file of the agent's data folder was written: the library does not
// report whether it could save a reply.
class SavedMark
{
public:
    // Remembers the current state of the file `name`.
    explicit SavedMark(const char* name);

    // Whether it has been written since.
    bool isNew() const { return Mark() != m_before; }

    // Its path without the private root.
    QString path() const { return m_path; }

private:
    QByteArray Mark() const;

    const QString m_path;
    const QByteArray m_before;
};
