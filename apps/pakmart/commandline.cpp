// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commandline.h"

namespace
{

struct Option {
    const char* name;
    const char* shortName;
    bool (*take)(CommandLine& line, const QString& value); // null: it takes no value
};

bool TakePictures(CommandLine& line, const QString& value)
{
    line.pictures = value;
    return !value.isEmpty();
}

bool TakeRun(CommandLine& line, const QString& value)
{
    line.run = value.toInt();
    return line.run > 0;
}

const Option knownOptions[] = {
    { "--yes", "-y", nullptr },   { "--verbose", "-v", nullptr },     { "--package", "", nullptr },
    { "--json", "", nullptr },    { "--dialogs", "", nullptr },       { "--help", "", nullptr },
    { "--version", "", nullptr }, { "--pictures", "", TakePictures }, { "--run", "", TakeRun },
};

const Option* FindOption(const QString& word)
{
    for (const Option& option : knownOptions) {
        if (word == QLatin1String(option.name) || word == QLatin1String(option.shortName))
            return &option;
    }
    return nullptr;
}

} // namespace

QString ParseCommandLine(const QStringList& words, CommandLine& line)
{
    bool options = true;
    for (int i = 0; i < words.size(); ++i) {
        const QString& word = words[i];
        if (!options || !word.startsWith(QLatin1Char('-'))) {
            line.arguments << word;
            continue;
        }
        if (word == QLatin1String("--")) {
            options = false;
            continue;
        }
        const Option* option = FindOption(word);
        const bool takes = option && option->take;
        if (!option || (takes && (++i == words.size() || !option->take(line, words[i]))))
            return QStringLiteral("unknown option, or no argument behind it: %1").arg(word);
        line.options << QLatin1String(option->name);
    }
    if (!line.arguments.isEmpty())
        line.command = line.arguments.takeFirst();
    return QString();
}
