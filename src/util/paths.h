// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Paths: the system's fixed paths and their private counterparts, the agent's data
/// folder and settings, and making folder trees.

#pragma once

#include <QString>
#include <string>
#include <vantrelagent/export.h>

namespace Agent
{

/// The place of a fixed, absolute path of the system: `path` itself, or below
/// the directory that PAKMART_SYSROOT names, if it is set. The variable is read once,
/// and not at all in a set-user-id program; a relative name is resolved in the working
/// directory of that moment.
/// @{
VANTRELAGENT_EXPORT QString SystemPath(const QString& path);
VANTRELAGENT_EXPORT std::string SystemPath(const std::string& path);
VANTRELAGENT_EXPORT std::string SystemPath(const char* path);
/// @}

/// `path` as messages should show it: without the private root.
VANTRELAGENT_EXPORT QString PlainPath(const QString& path);

} // namespace Agent

/// The agent's data folder, with its trailing slash, without the private root
/// (open its files through SystemPath). It is fixed: SetRootPath does nothing.
/// @{
VANTRELAGENT_EXPORT void SetRootPath(const char* path);
VANTRELAGENT_EXPORT QString GetRootPath();
/// @}

namespace Agent
{

/// The path to open for the agent's settings file.
VANTRELAGENT_EXPORT std::string SettingsFile();

} // namespace Agent

/// Makes the folder `path` and its missing parents; only the user may write to a new
/// one. A relative path begins in the working directory. Returns true even when a level
/// could not be made: a caller that cares checks whether the folder exists.
VANTRELAGENT_EXPORT bool CreateFolderTree(QString path);

/// The text of /etc/vantrelos-version, line ends included; empty without it.
VANTRELAGENT_EXPORT QString GetVantrelOSVersionInfo();
