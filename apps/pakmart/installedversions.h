// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The installed packages according to dpkg.

#pragma once

#include <QMap>
#include <QString>

// The versions of all installed packages by name; for a package that is installed for
// several architectures, the version of the last one.
QMap<QString, QString> InstalledVersions();
