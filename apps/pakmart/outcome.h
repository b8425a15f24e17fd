// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// dpkg's status, for reports.

#pragma once

#include "base/dpkgstatus.h"

#include <QMap>
#include <QString>

using Agent::DpkgStatus;
using Agent::PackageState;

// dpkg's current status.
DpkgStatus ReadDpkgStatus();

// The state of a package that is not installed as it should be, and what to do about it:
// "x is unpacked ('install ok unpacked'): 'pakmart install --package x' ..."
QString Trouble(const QString& name, const PackageState& state);

// The versions of all installed packages by name: those of the machine's architecture, or
// else of another one.
QMap<QString, QString> InstalledVersions();

// The version of one package; null if it is not installed.
QString InstalledVersion(const DpkgStatus& status, const char* package);
