// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The parsed command line.

#pragma once

#include <QStringList>

struct CommandLine {
    QString command;
    QStringList arguments;
    QStringList options; // as written, without their values
    QString pictures;
    int run = 0; // place in the list of applications; 0: not given

    bool has(const char* option) const { return options.contains(QLatin1String(option)); }
};

// Reads the options, at any position; a short option is stored under its long name.
// Returns an error message, or an empty text.
QString ParseCommandLine(const QStringList& words, CommandLine& line);
