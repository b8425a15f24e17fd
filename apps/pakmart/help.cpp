// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The help, from the table of commands.

#include "commandline.h"

#include <KLocalizedString>

namespace
{

QString Line(const QString& left, const KLazyLocalizedString& summary)
{
    constexpr int column = 27;
    return QLatin1String("  ") + left.leftJustified(column - 2)
        + (left.size() > column - 3 ? QLatin1String("\n") + QString(column, QLatin1Char(' '))
                                    : QString())
        + summary.toString() + QLatin1Char('\n');
}

QString OptionLine(const Option& option)
{
    const QString shortName = *option.shortName
        ? QStringLiteral("-%1, ").arg(QLatin1String(option.shortName))
        : QStringLiteral("    ");
    const QString value = option.value ? QLatin1Char(' ') + QLatin1String(option.value) : QString();
    return Line(shortName + QLatin1String("--") + QLatin1String(option.name) + value,
                option.summary);
}

QString OptionLines(const Command* command)
{
    QString text;
    for (const Option* option : CommandLine::OptionsOf(command))
        text += OptionLine(*option);
    return text;
}

QString Synopsis(const Command& command)
{
    return (QLatin1String(command.name) + QLatin1Char(' ') + QLatin1String(command.arguments))
        .trimmed();
}

} // namespace

QString HelpText(const Command* command)
{
    if (command) {
        const QString own = OptionLines(command);
        return i18n("Usage: pakmart [OPTION]... %1\n\n%2", Synopsis(*command),
                    command->summary.toString())
            + QLatin1Char('\n')
            + (own.isEmpty()
                   ? QString()
                   : QLatin1Char('\n') + i18n("Options of this command:") + QLatin1Char('\n') + own)
            + QLatin1Char('\n') + i18n("Options of all commands:") + QLatin1Char('\n')
            + OptionLines(nullptr);
    }
    QString text = i18n("Usage: pakmart [OPTION]... COMMAND [ARGUMENT]...\n\n"
                        "Installs and removes the products of the Pakmart store.\n\n"
                        "Commands:")
        + QLatin1Char('\n');
    for (const Command* one : CommandLine::Commands())
        text += Line(Synopsis(*one), one->summary);
    text += QLatin1Char('\n')
        + i18n("A NAME is a serial number, the name of a product, or of a package.\n\nOptions:")
        + QLatin1Char('\n');
    for (const Option* option : CommandLine::AllOptions())
        text += OptionLine(*option);
    return text + QLatin1Char('\n')
        + i18n("Exit status: 0 done, 1 failed, 2 usage, 3 declined, 130 interrupted.")
        + QLatin1Char('\n');
}
