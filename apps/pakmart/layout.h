// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Lays out texts for a terminal, where a character may take 0, 1 or 2 cells. A width of 0
// means no limit.

#pragma once

#include <QDateTime>
#include <QString>

// The cells that a text takes.
int CellsOf(const QString& text);

// The text, or its beginning and "…" if it has more than `width` cells.
QString Fitted(const QString& text, int width);

// The text, padded with blanks to `width` cells.
QString Padded(const QString& text, int width);

// The lines of a text, wrapped to `width`, each with `indent` blanks before it. They are
// broken at blanks, and within a word that is too long for a line; an address stays whole,
// so that it can be copied. Lines are not joined, and those that begin with a blank, which
// are not running text, are broken only if they are too long.
QString Wrapped(const QString& text, int width, int indent);

// A date and its time as they are written in the user's country; "2026-11-23 16:05" in the C
// locale.
QString DateText(const QDateTime& date);
