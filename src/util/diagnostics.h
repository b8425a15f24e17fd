// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the library writes: messages for developers, and lines on standard output.

#pragma once

#include <QLoggingCategory>
#include <QString>
#include <string>

namespace Agent
{

// Messages for developers: why a reply was refused, how a transfer and a child process ended,
// which files could not be read or replaced.
//
// These are Qt logging categories, silent by default. QT_LOGGING_RULES turns them on,
// for example "vantrel.agent.*=true". Debug messages follow the course of events;
// info messages report what a host cannot learn otherwise.
Q_DECLARE_LOGGING_CATEGORY(logRequest) // transfers and replies
Q_DECLARE_LOGGING_CATEGORY(logCatalog) // the files made of replies
Q_DECLARE_LOGGING_CATEGORY(logInstall) // child processes, package sources
Q_DECLARE_LOGGING_CATEGORY(logDb) // the databases, dpkg's status file
Q_DECLARE_LOGGING_CATEGORY(logSettings) // the settings file

// A line on standard output: writes `line` and a line end, and flushes, so that the line precedes
// the output of a child process and is not lost in a crash.
void WriteLine(const std::string& line);
void WriteLine(const QString& line);

} // namespace Agent
