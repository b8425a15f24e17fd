// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart: the store on the command line.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"

#include <QApplication>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <langinfo.h>

namespace
{

const char usage[] = R"(Usage: pakmart [OPTION]... COMMAND [ARGUMENT]...

Installs and removes the products of the Pakmart store.

Commands:
  update                     fetch the store's catalog
  categories                 show its categories
  list CATEGORY              show the products of one
  search WORD...             find products by name, package or description
  show SERIAL...             show all that is known of products
  install SERIAL...          install products by their serial numbers
  install --package NAME...  install packages by name
  remove NAME...             remove packages
  installed [PATTERN]        show the packages of this machine
  recent                     show the applications used last, newest first
  recent --run N             start the N-th of them
  forget SERIAL...           take applications out of that list
  update-sources             fetch the store's lists of package sources
  aisles                     fetch and show how the store is arranged
  sync                       show what of your account is on this machine
  os-update                  bring the system's packages up to date
  status                     show whether the store can be reached
  register                   report the system builder of this machine to the
                             store

Options:
  -y, --yes        do not ask before downloading or removing
      --json       print the result as one line of JSON: update, categories, list,
                   search, show, installed, aisles, sync, status, register, and
                   os-update, which needs --yes then, since nothing is asked
  -v, --verbose    show the lines of the library and of the package tools
      --dialogs    show the library's dialogs on the display
      --pictures DIR  write a PNG picture of each dialog to DIR
      --help       show this text
      --version    show the version

Exit status: 0 done, 1 failed, 2 usage, 3 declined, 130 interrupted.
)";

// The parsed command line.
struct CommandLine {
    QString command;
    QStringList arguments;
    QStringList options; // as written, without their values
    QString pictures;
    int run = 0; // place in the list of applications; 0: not given

    bool has(const char* option) const { return options.contains(QLatin1String(option)); }
};

// The arguments of a command. One: at most one.
enum class Arguments { None, One, Some, Serials };

// A command, with the options that only some commands have.
struct Command {
    const char* name;
    Arguments arguments;
    QStringList options;
    int (*run)(Console& display, const BoxWatcher& boxes, const CommandLine& line);
};

const QString package = QStringLiteral("--package");
const QString json = QStringLiteral("--json");
const QString run = QStringLiteral("--run");

const Command commands[] = {
    { "update",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher& boxes, const CommandLine& line) {
          return UpdateCommand(display, boxes, line.has("--json"));
      } },
    { "categories",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return CategoriesCommand(display, line.has("--json"));
      } },
    { "list",
      Arguments::Some,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return ListCommand(display, line.arguments.join(QLatin1Char(' ')), line.has("--json"));
      } },
    { "search",
      Arguments::Some,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return SearchCommand(display, line.arguments, line.has("--json"));
      } },
    { "show",
      Arguments::Serials,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return ShowCommand(display, line.arguments, line.has("--json"));
      } },
    { "installed",
      Arguments::One,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return InstalledCommand(display, line.arguments.value(0), line.has("--json"));
      } },
    { "install",
      Arguments::Serials,
      { package },
      [](Console& display, const BoxWatcher& boxes, const CommandLine& line) {
          return InstallCommand(display, boxes, line.arguments,
                                { line.has("--package"), line.has("--yes") });
      } },
    { "remove",
      Arguments::Some,
      {},
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return RemoveCommand(display, line.arguments, line.has("--yes"));
      } },
    { "recent",
      Arguments::None,
      { run },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return RecentCommand(display, line.run);
      } },
    { "forget",
      Arguments::Serials,
      {},
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return ForgetCommand(display, line.arguments);
      } },
    { "update-sources",
      Arguments::None,
      {},
      [](Console& display, const BoxWatcher& boxes, const CommandLine&) {
          return UpdateSourcesCommand(display, boxes);
      } },
    { "aisles",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher& boxes, const CommandLine& line) {
          return AislesCommand(display, boxes, line.has("--json"));
      } },
    { "sync",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher& boxes, const CommandLine& line) {
          return SyncCommand(display, boxes, line.has("--json"));
      } },
    { "os-update",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher& boxes, const CommandLine& line) {
          return OSUpdateCommand(display, boxes, { line.has("--yes"), line.has("--json") });
      } },
    { "status",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return StatusCommand(display, line.has("--json"));
      } },
    { "register",
      Arguments::None,
      { json },
      [](Console& display, const BoxWatcher&, const CommandLine& line) {
          return RegisterCommand(display, line.has("--json"));
      } },
};

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

// Reads the options, at any position; a short option is stored under its long name.
// Returns an error message, or an empty text.
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
            return QStringLiteral("unknown option, or its argument is missing: %1").arg(word);
        line.options << QLatin1String(option->name);
    }
    if (!line.arguments.isEmpty())
        line.command = line.arguments.takeFirst();
    return QString();
}

const Command* FindCommand(const QString& name)
{
    for (const Command& command : commands) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

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

QString CheckOptions(const CommandLine& line, const Command& command)
{
    for (const QString& option : line.options) {
        const QStringList names = CommandsWith(option);
        if (!names.isEmpty() && !command.options.contains(option))
            return option + QStringLiteral(" goes with ") + names.join(QStringLiteral(", "));
    }
    if (line.has("--json") && line.command == QLatin1String("os-update") && !line.has("--yes"))
        return QStringLiteral("os-update --json asks nothing, so it needs --yes");
    return QString();
}

QString CheckArguments(const CommandLine& line, const Command& command)
{
    if (command.arguments == Arguments::One)
        return line.arguments.size() > 1 ? QStringLiteral("%1 takes one argument").arg(line.command)
                                         : QString();
    if ((command.arguments == Arguments::None) != line.arguments.isEmpty())
        return line.arguments.isEmpty() ? QStringLiteral("%1 what?").arg(line.command)
                                        : QStringLiteral("%1 takes no arguments").arg(line.command);
    if (command.arguments != Arguments::Serials || line.has("--package"))
        return QString();
    for (const QString& argument : line.arguments) {
        bool number = false;
        if (argument.toLong(&number) <= 0 || !number)
            return QStringLiteral("not a serial number: %1").arg(argument);
    }
    return QString();
}

// An error message if the command, its options and its arguments do not go together.
QString Check(const CommandLine& line)
{
    if (line.command.isEmpty())
        return QStringLiteral("no command");
    const Command* command = FindCommand(line.command);
    if (!command)
        return QStringLiteral("unknown command: %1").arg(line.command);
    const QString wrong = CheckOptions(line, *command);
    return wrong.isEmpty() ? CheckArguments(line, *command) : wrong;
}

// Qt's messages go to the log, like the library's own lines.
void WriteQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    std::printf("%s\n", qUtf8Printable(qFormatLogMessage(type, context, text)));
    std::fflush(stdout);
}

// Texts are UTF-8 in every locale, but wcwidth depends on the locale of the process.
void UseWideCharacters()
{
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

// Qt 6 warns about a locale that is not UTF-8 when the application object is made.
QtMessageHandler messages = nullptr;

void LeaveOutLocale(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (!text.startsWith(QLatin1String("Detected locale")))
        messages(type, context, text);
}

int RunCommand(const CommandLine& line)
{
    Console display(line.has("--verbose"));
    qInstallMessageHandler(WriteQtMessage);
    Interrupt::install();
    BoxWatcher boxes(display, line.has("--dialogs"), line.pictures);
    const int status = FindCommand(line.command)->run(display, boxes, line);
    if (status == ExitInterrupted)
        display.complain(QStringLiteral("interrupted"));
    else if (status == ExitFailed && !display.logFile().isEmpty())
        display.complain(QStringLiteral("the log is in %1").arg(display.logFile()));
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words << QString::fromLocal8Bit(argv[i]);
    CommandLine line;
    QString wrong = ParseCommandLine(words, line);
    if (wrong.isEmpty() && line.has("--help")) {
        std::fputs(usage, stdout);
        return ExitDone;
    }
    if (wrong.isEmpty() && line.has("--version")) {
        std::puts("pakmart " PAKMART_VERSION);
        return ExitDone;
    }
    if (wrong.isEmpty())
        wrong = Check(line);
    if (!wrong.isEmpty()) {
        std::fprintf(stderr, "pakmart: %s\nTry 'pakmart --help'.\n", qUtf8Printable(wrong));
        return ExitUsage;
    }
    if (!line.has("--dialogs") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    messages = qInstallMessageHandler(LeaveOutLocale);
    const QApplication application(argc, argv);
    UseWideCharacters();
    return RunCommand(line);
}
