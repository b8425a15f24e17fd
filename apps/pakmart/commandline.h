// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The parsed command line, and the one table of commands from which the help comes.

#pragma once

#include "transaction.h"

#include <QCommandLineParser>
#include <QStringList>

class Console;
struct Command;

class CommandLine
{
public:
    CommandLine();

    // Reads the words after the program's name. Returns an error message, or an empty text.
    QString Parse(const QStringList& words);

    // The command; null without one, as after "--help".
    const Command* Chosen() const { return m_command; }
    const QStringList& Arguments() const { return m_arguments; }
    bool Has(const char* option) const { return m_parser.isSet(QLatin1String(option)); }
    QString Value(const char* option) const { return m_parser.value(QLatin1String(option)); }
    Consent GetConsent() const;

    // The help for one command, or for all with null.
    static QString Help(const Command* command);
    // The commands' names and long options, for the shells.
    static QStringList CommandNames();

private:
    QString CheckOptions() const;
    QString CheckArguments() const;

    QCommandLineParser m_parser;
    const Command* m_command = nullptr;
    QStringList m_arguments;
};

// A command, with the options that not all commands have.
struct Command {
    const char* name;
    const char* arguments; // as the help shows them
    int least, most; // arguments; most: -1 for any number
    QStringList options;
    const char* summary;
    int (*run)(Console& console, const CommandLine& line);
};
