// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What came of a change, by dpkg's status, and how that is said. dpkg is the judge:
// neither the exit status of the package tools nor a box of the library says for sure
// what is installed.

#pragma once

#include "util/dpkgstatus.h"

#include <QString>
#include <QStringList>

using Agent::DpkgStatus;
using Agent::PackageState;

class Console;

// dpkg's status as it is now.
DpkgStatus ReadDpkgStatus();

// How a package is, if it is not installed as it should be, and what can be done:
// "x is unpacked ('install ok unpacked'): 'pakmart install --package x' ..."
QString Trouble(const QString& name, const PackageState& state);

// Complains of each of `names` that is not installed. True when all are.
bool AreInstalled(Console& console, const QStringList& names, const DpkgStatus& now);

// Complains of each package that was not half-way installed before and is now, but for
// `names`, of which has been said enough.
void SayNewTrouble(Console& console, const QStringList& names, const DpkgStatus& before,
                   const DpkgStatus& now);
