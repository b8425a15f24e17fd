// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Messages for developers, in addition to the lines on standard output and the trace
// scopes: why a reply was refused, how a transfer and a child process ended, which
// files could not be read or replaced.
//
// These are Qt logging categories, silent by default. QT_LOGGING_RULES turns them on,
// for example "vantrel.agent.*=true". Debug messages follow the course of events;
// info messages report what a host cannot learn otherwise.

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
