// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commandline.h"

#include "commands.h"
#include "console.h"

#include <KLazyLocalizedString>
#include <KLocalizedString>
#include <algorithm>
#include <iterator>

namespace
{

constexpr int many = -1; // arguments

// The options of every command that changes packages.
const QStringList changing{ QStringLiteral("dry-run"), QStringLiteral("allow-removals") };
const QStringList installing = changing + QStringList{ QStringLiteral("download-only") };
const QStringList none;

DialogStyle StyleOf(const CommandLine& line)
{
    return { line.Has("dialogs"), line.Value("pictures") };
}

bool WantsDialogs(const CommandLine& line)
{
    return line.Has("dialogs") || line.Has("pictures");
}

int Install(Console& console, const CommandLine& line)
{
    const Consent consent = line.GetConsent();
    if (WantsDialogs(line) && !consent.dryRun && !consent.downloadOnly)
        return InstallWithDialogs(console, line.Arguments(), line.Has("package"), consent.yes,
                                  StyleOf(line));
    return InstallCommand(console, line.Arguments(), line.Has("package"), consent);
}

int List(Console& console, const CommandLine& line)
{
    if (line.Has("installed") || line.Has("upgradable"))
        return ListInstalledCommand(console, line.Has("upgradable"));
    return ListCommand(console, line.Arguments().join(QLatin1Char(' ')));
}

// clang-format off
const Command commands[] = {
    { "update", "", 0, 0, none, kli18n("fetch the store's catalog"),
      [](Console& c, const CommandLine&) { return UpdateCommand(c); } },
    { "categories", "", 0, 0, none, kli18n("show its categories"),
      [](Console& c, const CommandLine&) { return CategoriesCommand(c); }, Takes::Anything, true },
    { "list", "CATEGORY", 0, many, { QStringLiteral("installed"), QStringLiteral("upgradable") },
      kli18n("show the products of a category, or those that are installed or can be upgraded"), List,
      Takes::Category, true },
    { "search", "WORD...", 1, many, none, kli18n("find products by name, package or description"),
      [](Console& c, const CommandLine& l) { return SearchCommand(c, l.Arguments()); }, Takes::Anything, true },
    { "show", "NAME...", 1, many, none, kli18n("show all that is known of products"),
      [](Console& c, const CommandLine& l) { return ShowCommand(c, l.Arguments()); }, Takes::Products, true },
    { "install", "NAME...", 1, many, installing + QStringList{ QStringLiteral("package") },
      kli18n("install products by their serial numbers, names or packages"), Install, Takes::Products },
    { "remove", "NAME...", 1, many, changing, kli18n("remove packages"),
      [](Console& c, const CommandLine& l) { return RemoveCommand(c, l.Arguments(), l.GetConsent()); }, Takes::Packages },
    { "reinstall", "NAME...", 1, many, installing, kli18n("install the same versions again"),
      [](Console& c, const CommandLine& l) { return ReinstallCommand(c, l.Arguments(), l.GetConsent()); }, Takes::Packages },
    { "upgrade", "[NAME...]", 0, many, installing, kli18n("upgrade packages, or all of them"),
      [](Console& c, const CommandLine& l) { return UpgradeCommand(c, l.Arguments(), l.GetConsent()); }, Takes::Packages },
    { "repair", "", 0, 0, changing + QStringList{ QStringLiteral("check") },
      kli18n("finish what was interrupted, and mend packages that are installed in part"),
      [](Console& c, const CommandLine& l) { return RepairCommand(c, l.Has("check"), l.GetConsent()); } },
    { "autoremove", "", 0, 0, changing, kli18n("remove packages that came for others, and that none needs any more"),
      [](Console& c, const CommandLine& l) { return AutoremoveCommand(c, l.GetConsent()); } },
    { "hold", "NAME...", 1, many, none, kli18n("keep packages in their versions"),
      [](Console& c, const CommandLine& l) { return HoldCommand(c, l.Arguments(), true); }, Takes::Packages },
    { "unhold", "NAME...", 1, many, none, kli18n("let them be changed again"),
      [](Console& c, const CommandLine& l) { return HoldCommand(c, l.Arguments(), false); }, Takes::Packages },
    { "installed", "[PATTERN]", 0, 1, none, kli18n("show the packages of this machine"),
      [](Console& c, const CommandLine& l) { return InstalledCommand(c, l.Arguments().value(0)); }, Takes::Anything, true },
    { "depends", "NAME...", 1, many, none, kli18n("show what installed packages need"),
      [](Console& c, const CommandLine& l) { return DependsCommand(c, l.Arguments()); }, Takes::Packages, true },
    { "why", "NAME...", 1, many, none, kli18n("show which installed packages need a package"),
      [](Console& c, const CommandLine& l) { return WhyCommand(c, l.Arguments()); }, Takes::Packages, true },
    { "history", "[undo N]", 0, 2, changing, kli18n("show the changes of packages, newest first, or undo the N-th"),
      [](Console& c, const CommandLine& l) {
          return l.Arguments().isEmpty() ? HistoryCommand(c)
                                         : UndoCommand(c, l.Arguments()[1].toInt(), l.GetConsent());
      } },
    { "recent", "", 0, 0, { QStringLiteral("run") }, kli18n("show the applications used last, newest first"),
      [](Console& c, const CommandLine& l) { return RecentCommand(c, l.Value("run").toInt()); } },
    { "forget", "SERIAL...", 1, many, none, kli18n("take applications out of that list"),
      [](Console& c, const CommandLine& l) { return ForgetCommand(c, l.Arguments()); } },
    { "update-sources", "", 0, 0, none, kli18n("fetch the store's lists of package sources"),
      [](Console& c, const CommandLine& l) {
          return WantsDialogs(l) ? UpdateSourcesWithDialogs(c, StyleOf(l)) : UpdateSourcesCommand(c);
      } },
    { "aisles", "", 0, 0, none, kli18n("fetch and show how the store is arranged"),
      [](Console& c, const CommandLine&) { return AislesCommand(c); } },
    { "sync", "", 0, 0, none, kli18n("show what of your account is on this machine"),
      [](Console& c, const CommandLine&) { return SyncCommand(c); } },
    { "os-update", "", 0, 0, installing, kli18n("bring the system's packages up to date"),
      [](Console& c, const CommandLine& l) { return OSUpdateCommand(c, l.GetConsent()); } },
    { "status", "", 0, 0, none, kli18n("show whether the store can be reached"),
      [](Console& c, const CommandLine&) { return StatusCommand(c); } },
    { "register", "", 0, 0, none, kli18n("report the system builder of this machine to the store"),
      [](Console& c, const CommandLine&) { return RegisterCommand(c); } },
    { "help", "[COMMAND]", 0, 1, none, kli18n("show this text, or more of one command"), nullptr,
      Takes::Command },
};

const Option options[] = {
    { "yes", "y", nullptr, kli18n("do not ask") },
    { "dry-run", "", nullptr, kli18n("only show what would be done") },
    { "download-only", "", nullptr, kli18n("fetch the packages, and install nothing") },
    { "allow-removals", "", nullptr, kli18n("packages that were not named may be removed") },
    { "package", "", nullptr, kli18n("the names are those of packages, not of products") },
    { "installed", "", nullptr, kli18n("products that are installed") },
    { "upgradable", "", nullptr, kli18n("products with a newer version in the catalog") },
    { "check", "", nullptr, kli18n("only show what is broken; fail if anything is") },
    { "run", "", "N", kli18n("start the N-th application of the list") },
    { "json", "", nullptr, kli18n("print the result, or the error, as one line of JSON") },
    { "verbose", "v", nullptr, kli18n("show the lines of the package tools") },
    { "color", "", "WHEN", kli18n("auto (on a terminal), always or never"), "auto always never" },
    { "no-pager", "", nullptr, kli18n("do not show long lists page by page") },
    { "dialogs", "", nullptr, kli18n("show the library's dialogs: install, update-sources") },
    { "pictures", "", "DIR", kli18n("write a PNG picture of each dialog to DIR") },
    { "help", "h", nullptr, kli18n("show help") },
    { "version", "", nullptr, kli18n("show the version") },
};
// clang-format on

// The commands that have an option; empty for an option of all commands.
QStringList CommandsWith(const QString& option)
{
    QStringList names;
    for (const Command& command : commands) {
        if (command.options.contains(option))
            names << QLatin1String(command.name);
    }
    return names;
}

bool IsPositive(const QString& text)
{
    bool isNumber = false;
    return text.toLongLong(&isNumber) > 0 && isNumber;
}

bool IsValueOf(const char* name, const QString& value)
{
    const auto found
        = std::find_if(std::begin(options), std::end(options),
                       [name](const Option& o) { return QLatin1String(o.name) == name; });
    return QString::fromLatin1(found->values).split(QLatin1Char(' ')).contains(value);
}

// Why the words cannot be read. Qt's own sentences are not in our catalogs.
QString ErrorOf(const QCommandLineParser& parser)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.size() == 1)
        return i18n("unknown option '%1'", unknown.first());
    if (!unknown.isEmpty())
        return i18n("unknown options: %1", unknown.join(QStringLiteral(", ")));
    const QString option = parser.errorText().section(QLatin1Char('\''), 1, 1);
    return parser.errorText().startsWith(QLatin1String("Missing value"))
        ? i18n("missing value after '%1'", option)
        : i18n("unexpected value after '%1'", option);
}

} // namespace

CommandLine::CommandLine()
{
    for (const Option& option : options) {
        QStringList names{ QLatin1String(option.name) };
        if (*option.shortName)
            names << QLatin1String(option.shortName);
        m_parser.addOption(QCommandLineOption(names, QString(), QLatin1String(option.value)));
    }
}

QString CommandLine::Parse(const QStringList& words)
{
    if (!m_parser.parse(QStringList(QStringLiteral("pakmart")) + words)) {
        return ErrorOf(m_parser);
    }
    m_arguments = m_parser.positionalArguments();
    if (m_arguments.isEmpty())
        return Has("help") || Has("version") ? QString() : i18n("no command");
    const QString name = m_arguments.takeFirst();
    m_command = Find(name);
    if (!m_command)
        return i18n("unknown command: %1", name);
    if (Has("help"))
        return QString();
    const QString wrong = CheckOptions();
    return wrong.isEmpty() ? CheckArguments() : wrong;
}

QString CommandLine::CheckOptions() const
{
    for (const QString& option : m_parser.optionNames()) {
        const QStringList names = CommandsWith(option);
        if (!names.isEmpty() && !m_command->options.contains(option))
            return i18nc("%1: an option, %2: commands", "--%1 goes with %2", option,
                         names.join(QStringLiteral(", ")));
    }
    const bool onlyShows = m_command->name == QLatin1String("history") && m_arguments.isEmpty();
    const bool asks = m_command->options.contains(QStringLiteral("dry-run")) && !onlyShows;
    if (Has("json") && asks && !Has("yes") && !Has("dry-run") && !Has("check"))
        return i18n("%1 --json asks nothing, so it needs --yes or --dry-run",
                    QLatin1String(m_command->name));
    if (Has("run") && !IsPositive(Value("run")))
        return i18n("not a place in the list: %1", Value("run"));
    const QString when = Value("color");
    if (Has("color") && !IsValueOf("color", when))
        return i18n("--color takes auto, always or never, not '%1'", when);
    if (Has("pictures") && Value("pictures").isEmpty())
        return i18n("--pictures needs a folder");
    return QString();
}

QString CommandLine::CheckArguments() const
{
    const QString name = QLatin1String(m_command->name);
    const int count = int(m_arguments.size());
    const bool isList = Has("installed") || Has("upgradable");
    if (count < m_command->least || (name == QLatin1String("list") && !isList && count == 0))
        return i18n("%1 what?", name);
    if (m_command->most == 0 && count > 0)
        return i18n("%1 takes no arguments", name);
    if ((m_command->most >= 0 && count > m_command->most) || (isList && count > 0))
        return i18n("%1 takes one argument", name);
    const bool isUndo = name == QLatin1String("history") && count > 0;
    if (isUndo && m_arguments[0] != QLatin1String("undo"))
        return i18n("history cannot %1", m_arguments[0]);
    if (isUndo && !IsPositive(m_arguments.value(1)))
        return i18n("not a place in the history: %1", m_arguments.value(1));
    // What looks like a number is one.
    const bool takesNames = QByteArray(m_command->arguments).contains("NAME");
    const bool takesSerials = name == QLatin1String("forget");
    for (const QString& argument : m_arguments) {
        bool isNumber = false;
        argument.toDouble(&isNumber);
        const bool mustBeSerial = takesSerials || (takesNames && isNumber && !Has("package"));
        if (mustBeSerial && !IsPositive(argument))
            return i18n("not a serial number: %1", argument);
    }
    return QString();
}

Consent CommandLine::GetConsent() const
{
    return { Has("yes"), Has("allow-removals"), Has("dry-run"), Has("download-only") };
}

QList<const Command*> CommandLine::Commands()
{
    QList<const Command*> all;
    for (const Command& command : commands)
        all << &command;
    return all;
}

const Command* CommandLine::Find(const QString& name)
{
    const auto found
        = std::find_if(std::begin(commands), std::end(commands),
                       [&](const Command& c) { return name == QLatin1String(c.name); });
    return found == std::end(commands) ? nullptr : found;
}

QList<const Option*> CommandLine::AllOptions()
{
    QList<const Option*> all;
    for (const Option& option : options)
        all << &option;
    return all;
}

QList<const Option*> CommandLine::OptionsOf(const Command* command)
{
    QList<const Option*> some;
    for (const Option& option : options) {
        const QString name = QLatin1String(option.name);
        if (command ? command->options.contains(name) : CommandsWith(name).isEmpty())
            some << &option;
    }
    return some;
}
