// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "layout.h"

#include <QLocale>
#include <QStringList>
#include <algorithm>
#include <cwchar>
#include <string>

namespace
{

// wcwidth returns -1 for a code point that the C library does not know.
int CellsOf(uint character)
{
    return std::max(0, wcwidth(wchar_t(character)));
}

// The beginning of a text that fits into `width` cells, but at least one character.
QString Beginning(const QString& text, int width)
{
    std::u32string kept;
    int cells = 0;
    for (const uint character : text.toUcs4()) {
        cells += CellsOf(character);
        if (cells > width && !kept.empty())
            break;
        kept += char32_t(character);
    }
    return QString::fromStdU32String(kept);
}

// Splits text that has no place to break into pieces that fit.
QStringList Pieces(QString text, int width)
{
    QStringList pieces;
    while (CellsOf(text) > width) {
        pieces << Beginning(text, width);
        text.remove(0, pieces.last().size());
    }
    if (!text.isEmpty())
        pieces << text;
    return pieces;
}

QStringList WordsOf(const QString& line, int width)
{
    QStringList words;
    for (const QString& word : line.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (word.contains(QLatin1String("://")))
            words << word;
        else
            words += Pieces(word, width);
    }
    return words;
}

QString WrappedLine(const QString& line, int width, const QString& indent)
{
    const int room = std::max(1, width - int(indent.size()));
    if (width <= 0 || CellsOf(line) <= room)
        return indent + line;
    const QString separator = QLatin1Char('\n') + indent;
    if (line.startsWith(QLatin1Char(' ')))
        return indent + Pieces(line, room).join(separator);
    QStringList lines;
    QString current;
    for (const QString& word : WordsOf(line, room)) {
        if (!current.isEmpty() && CellsOf(current) + 1 + CellsOf(word) > room) {
            lines << current;
            current.clear();
        }
        current += (current.isEmpty() ? QString() : QStringLiteral(" ")) + word;
    }
    lines << current;
    return indent + lines.join(separator);
}

} // namespace

int CellsOf(const QString& text)
{
    int cells = 0;
    for (const uint character : text.toUcs4())
        cells += CellsOf(character);
    return cells;
}

QString Fitted(const QString& text, int width)
{
    if (width <= 0 || CellsOf(text) <= width)
        return text;
    std::u32string kept;
    int cells = 1; // for the ellipsis
    for (const uint character : text.toUcs4()) {
        cells += CellsOf(character);
        if (cells > width)
            break;
        kept += char32_t(character);
    }
    return QString::fromStdU32String(kept) + QChar(0x2026);
}

QString Padded(const QString& text, int width)
{
    return text + QString(std::max(0, width - CellsOf(text)), QLatin1Char(' '));
}

QString Wrapped(const QString& text, int width, int indent)
{
    QStringList lines;
    for (const QString& line : text.split(QLatin1Char('\n')))
        lines << WrappedLine(line, width, QString(indent, QLatin1Char(' ')));
    return lines.join(QLatin1Char('\n'));
}

QString DateText(const QDateTime& date)
{
    const QLocale locale;
    return locale.language() == QLocale::C ? date.toString(QStringLiteral("yyyy-MM-dd hh:mm"))
                                           : locale.toString(date, QLocale::ShortFormat);
}
