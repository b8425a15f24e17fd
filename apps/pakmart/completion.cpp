// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "completion.h"

#include "base/packagename.h"
#include "commandline.h"
#include "console.h"
#include "outcome.h"

#include <QMap>
#include <algorithm>
#include <vantrelagent/db/catalogscan.h>

using Agent::CatalogScan;

namespace
{

using Candidates = QMap<QString, QString>; // with their summaries

// Such a text can be offered: one line, as the command would take it.
bool IsPlain(const QString& text)
{
    return !text.isEmpty() && text == Printable(text).simplified();
}

// What is before the word to complete: the command, and an option that waits for its value.
struct Before {
    const Command* command = nullptr;
    const Option* open = nullptr;
    bool onlyArguments = false; // after "--"
    bool hasUnknownCommand = false;
};

const Option* OptionWithValue(const QString& word)
{
    const QList<const Option*> all = CommandLine::AllOptions();
    const auto found = std::find_if(all.begin(), all.end(), [&word](const Option* option) {
        return option->value && word == QLatin1String("--") + QLatin1String(option->name);
    });
    return found == all.end() ? nullptr : *found;
}

Before Read(const QStringList& words)
{
    Before before;
    for (const QString& word : words) {
        if (before.open)
            before.open = nullptr;
        else if (!before.onlyArguments && word == QLatin1String("--"))
            before.onlyArguments = true;
        else if (!before.onlyArguments && word.startsWith(QLatin1Char('-')))
            before.open = OptionWithValue(word);
        else if (!before.command && !before.hasUnknownCommand)
            before.hasUnknownCommand = !(before.command = CommandLine::Find(word));
    }
    return before;
}

void AddCommands(Candidates& found)
{
    for (const Command* command : CommandLine::Commands())
        found[QLatin1String(command->name)] = command->summary.toString();
}

void AddOptions(Candidates& found, const Command* command)
{
    QList<const Option*> options = CommandLine::OptionsOf(nullptr);
    if (command)
        options += CommandLine::OptionsOf(command);
    for (const Option* option : options)
        found[QLatin1String("--") + QLatin1String(option->name)] = option->summary.toString();
}

void AddValues(Candidates& found, const Option& option, const QString& start)
{
    for (const QString& value :
         QString::fromLatin1(option.values).split(QLatin1Char(' '), Qt::SkipEmptyParts))
        found[start + value] = QString();
}

// The names and packages of the catalog that begin with `start`. Most products are passed
// over without a conversion of their texts.
void AddProducts(Candidates& found, const QString& start)
{
    const QByteArray bytes = start.toUtf8();
    const auto begins = [&bytes](const char* text) {
        return qstrncmp(text, bytes.constData(), std::size_t(bytes.size())) == 0;
    };
    CatalogScan scan;
    while (scan && scan.Next()) {
        const bool byName = begins(scan.Name()), byPackage = begins(scan.PackageName());
        if ((!byName && !byPackage) || scan.Hidden())
            continue;
        const QString name = QString::fromUtf8(scan.Name());
        if (byPackage && Agent::IsPackageWord(scan.PackageName()))
            found[QString::fromUtf8(scan.PackageName())] = Printable(name).simplified();
        if (byName && IsPlain(name))
            found[name] = Printable(QString::fromUtf8(scan.PackageName())).simplified();
    }
}

void AddPackages(Candidates& found)
{
    const QMap<QString, QString> versions = InstalledVersions();
    for (auto at = versions.begin(); at != versions.end(); ++at) {
        if (Agent::IsPackageWord(at.key().toStdString()))
            found[at.key()] = Printable(at.value()).simplified();
    }
}

void AddCategories(Candidates& found)
{
    CatalogScan scan;
    QByteArray last;
    while (scan && scan.Next()) {
        if (scan.Hidden() || last == scan.Category())
            continue;
        last = scan.Category();
        const QString name = QString::fromUtf8(last);
        if (IsPlain(name))
            found[name] = QString();
    }
}

void AddArguments(Candidates& found, const Command& command, const QString& start)
{
    switch (command.takes) {
    case Takes::Anything:
        break;
    case Takes::Products: // all of a catalog would be no help
        return start.isEmpty() ? void() : AddProducts(found, start);
    case Takes::Packages:
        return AddPackages(found);
    case Takes::Category:
        return AddCategories(found);
    case Takes::Command:
        return AddCommands(found);
    }
}

Candidates Find(const QStringList& before, const QString& word)
{
    Candidates found;
    const Before read = Read(before);
    const QString name = word.section(QLatin1Char('='), 0, 0);
    const Option* const named = word.contains(QLatin1Char('=')) ? OptionWithValue(name) : nullptr;
    if (read.open)
        AddValues(found, *read.open, QString());
    else if (!read.onlyArguments && named)
        AddValues(found, *named, name + QLatin1Char('='));
    else if (!read.onlyArguments && word.startsWith(QLatin1Char('-')))
        AddOptions(found, read.command);
    else if (read.command)
        AddArguments(found, *read.command, word);
    else if (!read.hasUnknownCommand)
        AddCommands(found);
    return found;
}

} // namespace

QString Completions(const QStringList& words)
{
    if (words.isEmpty())
        return QString();
    const QString word = words.last();
    const Candidates found = Find(words.mid(0, words.size() - 1), word);
    QString lines;
    for (auto at = found.begin(); at != found.end(); ++at) {
        if (at.key().startsWith(word))
            lines += at.key() + QLatin1Char('\t') + at.value() + QLatin1Char('\n');
    }
    return lines;
}
