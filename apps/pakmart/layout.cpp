// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "layout.h"

#include <QStringList>
#include <QVector>
#include <algorithm>
#include <cwchar>

namespace
{

// wcwidth has no answer for what the C library does not know as a character.
int CellsOf(uint character)
{
    return std::max(0, wcwidth(wchar_t(character)));
}

QString WrappedLine(const QString& line, int width, const QString& indent)
{
    if (width <= 0 || line.startsWith(QLatin1Char(' ')))
        return indent + line;
    QStringList lines;
    QString current;
    for (const QString& word : line.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (!current.isEmpty() && indent.size() + CellsOf(current) + 1 + CellsOf(word) > width) {
            lines << indent + current;
            current.clear();
        }
        current += (current.isEmpty() ? QString() : QStringLiteral(" ")) + word;
    }
    lines << indent + current;
    return lines.join(QLatin1Char('\n'));
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
    QVector<uint> kept;
    int cells = 1; // of the mark
    for (const uint character : text.toUcs4()) {
        cells += CellsOf(character);
        if (cells > width)
            break;
        kept << character;
    }
    return QString::fromUcs4(kept.constData(), kept.size()) + QChar(0x2026);
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
