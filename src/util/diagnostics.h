// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the library tells a developer who asks, beside its lines on standard output
// and its trace scopes: why a reply was refused, how a transfer and a child process
// ended, which files could not be read or replaced.
//
// Qt logging categories, with nothing shown by default. QT_LOGGING_RULES chooses,
// for example "vantrel.agent.*=true". Debug messages follow the course of things,
// informative ones tell of what a host is not told otherwise.

#pragma once

#include <QLoggingCategory>

namespace Agent
{

Q_DECLARE_LOGGING_CATEGORY(logRequest) // transfers and replies
Q_DECLARE_LOGGING_CATEGORY(logCatalog) // the files made of replies
Q_DECLARE_LOGGING_CATEGORY(logInstall) // child processes, package sources
Q_DECLARE_LOGGING_CATEGORY(logDb) // the databases, dpkg's status file
Q_DECLARE_LOGGING_CATEGORY(logSettings) // the settings file

} // namespace Agent
