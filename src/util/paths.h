// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Where things are: the system's fixed paths and their private counterparts,
/// the agent's data folder and settings, folders made on the way.

#pragma once

#include "export.h"

#include <QString>
#include <string>

/// The place of a fixed, absolute path of the system: `path` itself, or below
/// the directory that PAKMART_SYSROOT names, where it is set. The variable is
/// read once, and not at all in a set-user-id program; a relative name begins in
/// the working directory of then.
/// @{
VANTRELAGENT_EXPORT QString SystemPath(const QString& path);
VANTRELAGENT_EXPORT std::string SystemPath(const std::string& path);
VANTRELAGENT_EXPORT std::string SystemPath(const char* path);
/// @}

/// The path that a message shows for `path`: without the private root.
VANTRELAGENT_EXPORT QString PlainPath(const QString& path);

/// The agent's data folder, with its trailing slash, as the system knows it
/// (open what is in it through SystemPath). It is fixed: SetRootPath does
/// nothing.
/// @{
VANTRELAGENT_EXPORT void SetRootPath(const char* path);
VANTRELAGENT_EXPORT QString GetRootPath();
/// @}

/// The file with the agent's settings, as it is to be opened.
VANTRELAGENT_EXPORT std::string SettingsFile();

/// Makes the folder `path` and what is missing above it; only the user may write to
/// a new one. A relative path begins in the working directory. Returns true also when a level could
/// not be made: the caller looks whether the folder is there if it matters.
VANTRELAGENT_EXPORT bool CreateFolderTree(QString path);

/// The text of /etc/vantrelos-version, line ends included; empty without it.
VANTRELAGENT_EXPORT QString GetVantrelOSVersionInfo();
