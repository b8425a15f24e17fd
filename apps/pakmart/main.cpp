// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart: the store on the command line.

#include "commandline.h"
#include "commands.h"
#include "completion.h"
#include "console.h"
#include "ownhome.h"

#include <KLocalizedString>
#include <QApplication>
#include <QLocale>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <langinfo.h>
#include <memory>

namespace
{

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

// Whether numbers and dates are those of the C locale. Qt would separate their digits there, and
// asks LANGUAGE, too.
bool HasPlainNumbers()
{
    for (const char* name : { "LC_ALL", "LC_NUMERIC", "LANG" }) {
        const QByteArray value = qgetenv(name);
        if (!value.isEmpty())
            return value == "POSIX" || value == "C" || value.startsWith("C.");
    }
    return true;
}

// Before there is an application, which does the same. Programs read JSON: it is in English.
void UseLanguage(const QStringList& words)
{
    std::setlocale(LC_ALL, "");
    KLocalizedString::setApplicationDomain(TRANSLATION_DOMAIN);
    const bool isForPrograms = words.contains(QLatin1String("--json"));
    if (isForPrograms) {
        KLocalizedString::setLanguages({ QStringLiteral("en_US") });
        qputenv("LANGUAGE", "en_US"); // for the worker program
    }
    if (isForPrograms || HasPlainNumbers()) {
        QLocale plain = QLocale::c();
        plain.setNumberOptions(QLocale::OmitGroupSeparator);
        QLocale::setDefault(plain);
    }
}

// Qt 6 warns about a locale that is not UTF-8 when the application object is made, and KI18n
// about texts before that.
QtMessageHandler messages = nullptr;

void LeaveOutLocale(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (!text.startsWith(QLatin1String("Detected locale"))
        && !text.contains(QLatin1String("without a Q*Application")))
        messages(type, context, text);
}

Console::Style StyleOf(const CommandLine& line)
{
    const bool isHistory = line.Chosen()->name == QLatin1String("history");
    const bool isList = line.Chosen()->isList || (isHistory && line.Arguments().isEmpty());
    Console::Style style;
    style.verbose = line.Has("verbose");
    style.json = line.Has("json");
    style.pages = isList && !style.verbose && !line.Has("no-pager");
    style.color = line.Value("color");
    return style;
}

int RunCommand(const CommandLine& line)
{
    Console console(StyleOf(line));
    qInstallMessageHandler(WriteQtMessage);
    Interrupt::Install();
    int status = line.Chosen()->run(console, line);
    if (status == ExitInterrupted)
        console.Fail(QStringLiteral("cancelled"), i18n("interrupted"));
    else if (status == ExitFailed && !console.LogFile().isEmpty())
        console.Complain(i18n("the log is in %1", console.LogFile()));
    console.FinishJson(status == ExitFailed || status == ExitInterrupted);
    return status == ExitDone && !console.IsWritten() ? ExitFailed : status;
}

// Prints a text that needs no application.
int Print(const QString& text)
{
    std::fputs(qUtf8Printable(text), stdout);
    if (std::fflush(stdout) == 0)
        return ExitDone;
    const QString why = i18n("the output cannot be written: %1", qt_error_string());
    std::fprintf(stderr, "pakmart: %s\n", qUtf8Printable(why));
    return ExitFailed;
}

int Refuse(const QString& why)
{
    std::fprintf(stderr, "pakmart: %s\n%s\n", qUtf8Printable(Printable(why)),
                 qUtf8Printable(i18n("Try 'pakmart --help'.")));
    return ExitUsage;
}

// "help COMMAND", "COMMAND --help" and "--help".
int Help(const CommandLine& line)
{
    const Command* command = line.Chosen();
    const QString name = line.Arguments().value(0);
    if (command && !command->run) {
        command = CommandLine::Find(name);
        if (!command && !name.isEmpty())
            return Refuse(i18n("unknown command: %1", name));
    }
    return Print(HelpText(command));
}

// Only dialogs need a display.
std::unique_ptr<QCoreApplication> MakeApplication(const CommandLine& line, int& argc, char** argv)
{
    if (!line.Has("dialogs") && !line.Has("pictures"))
        return std::make_unique<QCoreApplication>(argc, argv);
    if (!line.Has("dialogs") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return std::make_unique<QApplication>(argc, argv);
}

} // namespace

int main(int argc, char** argv)
{
    UseOwnHome(argv); // before anything is read from there, such as catalogs of texts
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words << QString::fromLocal8Bit(argv[i]);
    messages = qInstallMessageHandler(LeaveOutLocale);
    UseLanguage(words);
    if (words.value(0) == QLatin1String("--complete"))
        return Print(Completions(words.mid(1)));
    CommandLine line;
    const QString wrong = line.Parse(words);
    if (!wrong.isEmpty())
        return Refuse(wrong);
    if (line.Has("version"))
        return Print(QStringLiteral("pakmart " PAKMART_VERSION "\n"));
    if (line.Has("help") || !line.Chosen()->run)
        return Help(line);
    const auto application = MakeApplication(line, argc, argv);
    QCoreApplication::setQuitLockEnabled(false); // the end of a job is not that of the program
    UseWideCharacters();
    return RunCommand(line);
}
