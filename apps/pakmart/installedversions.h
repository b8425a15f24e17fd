// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the package manager says is installed.

#pragma once

#include <QMap>
#include <QString>

// The versions of all installed packages by their names; where a package is
// installed for several architectures, that of the last one.
QMap<QString, QString> InstalledVersions();
