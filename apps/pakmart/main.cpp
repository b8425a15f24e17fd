// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart: the store on the command line.

#include "boxwatcher.h"
#include "commands.h"
#include "display.h"
#include "interrupt.h"

#include <QApplication>
#include <cstdio>

namespace
{

const char usage[] = R"(Usage: pakmart [OPTION]... COMMAND [ARGUMENT]...

Installs and removes the products of the Pakmart store.

Commands:
  install SERIAL...          install products by their serial numbers
  install --package NAME...  install packages by name
  remove NAME...             remove packages
  update-sources             fetch the store's lists of package sources
  aisles                     fetch and show how the store is arranged
  sync                       show what of your account is on this machine
  os-update                  bring the system's packages up to date
  status                     tell whether the store can be reached
  register                   tell the store which system builder this machine
                             comes from

Options:
  -y, --yes        do not ask before downloading or removing
      --json       aisles, sync, os-update, status, register: tell the result as
                   one line of JSON; nothing is asked then, so os-update needs --yes
  -v, --verbose    show the lines of the library and of the package tools
      --dialogs    show the library's dialogs on the display
      --pictures DIR  write a PNG picture of each dialog to DIR
      --help       show this text
      --version    show the version

Exit status: 0 done, 1 failed, 2 usage, 3 declined, 130 interrupted.
)";

struct CommandLine {
    QString command;
    QStringList arguments;
    QString pictures;
    InstallOptions install;
    bool verbose = false;
    bool dialogs = false;
    bool json = false;
    bool help = false;
    bool version = false;
};

// Reads the options, wherever they stand. Returns what is wrong, if anything.
QString Parse(const QStringList& words, CommandLine& line)
{
    bool options = true;
    for (int i = 0; i < words.size(); ++i) {
        const QString& word = words[i];
        if (!options || !word.startsWith(QLatin1Char('-')))
            line.arguments << word;
        else if (word == QLatin1String("--"))
            options = false;
        else if (word == QLatin1String("-y") || word == QLatin1String("--yes"))
            line.install.yes = true;
        else if (word == QLatin1String("-v") || word == QLatin1String("--verbose"))
            line.verbose = true;
        else if (word == QLatin1String("--dialogs"))
            line.dialogs = true;
        else if (word == QLatin1String("--json"))
            line.json = true;
        else if (word == QLatin1String("--package"))
            line.install.byPackage = true;
        else if (word == QLatin1String("--help"))
            line.help = true;
        else if (word == QLatin1String("--version"))
            line.version = true;
        else if (word == QLatin1String("--pictures") && i + 1 < words.size())
            line.pictures = words[++i];
        else
            return QStringLiteral("unknown option, or no argument behind it: %1").arg(word);
    }
    if (!line.arguments.isEmpty())
        line.command = line.arguments.takeFirst();
    return QString();
}

// Whether the options go with the command.
QString CheckOptions(const CommandLine& line)
{
    static const QStringList withJson{ QStringLiteral("os-update"), QStringLiteral("status"),
                                       QStringLiteral("register"), QStringLiteral("aisles"),
                                       QStringLiteral("sync") };
    if (line.install.byPackage && line.command != QLatin1String("install"))
        return QStringLiteral("--package goes with install");
    if (line.json && !withJson.contains(line.command))
        return QStringLiteral("--json goes with ") + withJson.join(QStringLiteral(", "));
    if (line.json && line.command == withJson.first() && !line.install.yes)
        return QStringLiteral("os-update --json asks nothing, so it needs --yes");
    return QString();
}

// Whether the command and its arguments go together.
QString Check(const CommandLine& line)
{
    static const QStringList alone{ QStringLiteral("update-sources"), QStringLiteral("os-update"),
                                    QStringLiteral("status"), QStringLiteral("register"),
                                    QStringLiteral("aisles"), QStringLiteral("sync") };
    if (line.command.isEmpty())
        return QStringLiteral("no command");
    const bool install = line.command == QLatin1String("install");
    const bool remove = line.command == QLatin1String("remove");
    if (!install && !remove && !alone.contains(line.command))
        return QStringLiteral("unknown command: %1").arg(line.command);
    if ((install || remove) == line.arguments.isEmpty())
        return line.arguments.isEmpty() ? QStringLiteral("%1 what?").arg(line.command)
                                        : QStringLiteral("%1 takes no arguments").arg(line.command);
    for (const QString& argument : line.arguments) {
        bool number = false;
        if (install && !line.install.byPackage && (argument.toLong(&number) <= 0 || !number))
            return QStringLiteral("not a serial number: %1").arg(argument);
    }
    return CheckOptions(line);
}

// What Qt has to say is for the log, where the library's own lines go.
void WriteQtMessage(QtMsgType, const QMessageLogContext&, const QString& text)
{
    std::printf("%s\n", qUtf8Printable(text));
    std::fflush(stdout);
}

int RunCommand(const CommandLine& line)
{
    Display display(line.verbose);
    qInstallMessageHandler(WriteQtMessage);
    Interrupt::install();
    BoxWatcher boxes(display, line.dialogs, line.pictures);
    int status = ExitDone;
    if (line.command == QLatin1String("install"))
        status = InstallCommand(display, boxes, line.arguments, line.install);
    else if (line.command == QLatin1String("remove"))
        status = RemoveCommand(display, line.arguments, line.install.yes);
    else if (line.command == QLatin1String("aisles"))
        status = AislesCommand(display, boxes, line.json);
    else if (line.command == QLatin1String("sync"))
        status = SyncCommand(display, boxes, line.json);
    else if (line.command == QLatin1String("os-update"))
        status = OSUpdateCommand(display, boxes, { line.install.yes, line.json });
    else if (line.command == QLatin1String("status"))
        status = StatusCommand(display, line.json);
    else if (line.command == QLatin1String("register"))
        status = RegisterCommand(display, line.json);
    else
        status = UpdateSourcesCommand(display, boxes);
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
    QString wrong = Parse(words, line);
    if (wrong.isEmpty() && line.help) {
        std::fputs(usage, stdout);
        return ExitDone;
    }
    if (wrong.isEmpty() && line.version) {
        std::puts("pakmart " PAKMART_VERSION);
        return ExitDone;
    }
    if (wrong.isEmpty())
        wrong = Check(line);
    if (!wrong.isEmpty()) {
        std::fprintf(stderr, "pakmart: %s\nTry 'pakmart --help'.\n", qUtf8Printable(wrong));
        return ExitUsage;
    }
    if (!line.dialogs && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    return RunCommand(line);
}
