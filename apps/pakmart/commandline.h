// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The parsed command line, and the one table of commands: help and completion are made of
// it, and the manual page is compared with it.

#pragma once

#include "transaction.h"

#include <KLazyLocalizedString>
#include <QCommandLineParser>
#include <QList>
#include <QStringList>

class Console;
struct Command;
struct Option;

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

    static QList<const Command*> Commands();
    static const Command* Find(const QString& name); // null if there is no such command
    static QList<const Option*> AllOptions();
    // The options that only some commands have and this one has; with null those of all
    // commands.
    static QList<const Option*> OptionsOf(const Command* command);

private:
    QString CheckOptions() const;
    QString CheckArguments() const;

    QCommandLineParser m_parser;
    const Command* m_command = nullptr;
    QStringList m_arguments;
};

// What the arguments of a command are, for completion.
enum class Takes { Anything, Products, Packages, Category, Command };

// A command, with the options that not all commands have.
struct Command {
    const char* name;
    const char* arguments; // as the help shows them
    int least, most; // arguments; most: -1 for any number
    QStringList options;
    KLazyLocalizedString summary;
    int (*run)(Console& console, const CommandLine& line);
    Takes takes = Takes::Anything;
    bool isList = false; // of any length, made without waiting for the store
};

struct Option {
    const char* name;
    const char* shortName;
    const char* value; // what it takes; null: nothing
    KLazyLocalizedString summary;
    const char* values = ""; // the possible ones, if only some are
};

// The help for one command, or for all with null.
QString HelpText(const Command* command);
