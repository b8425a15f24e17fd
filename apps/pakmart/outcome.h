// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Judges the result of a change by dpkg's status, and reports it. Neither the exit status of
// the package tools nor a box of the library shows reliably what is installed.

#pragma once

#include "base/dpkgstatus.h"

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
