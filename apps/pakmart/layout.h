// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Texts as they stand on a terminal, whose cells some characters take two of and
// some none. A width of 0 is without limit.

#pragma once

#include <QString>

// The cells that a text takes.
int CellsOf(const QString& text);

// The text, or its beginning and "…" where it has more than `width` cells.
QString Fitted(const QString& text, int width);

// The text, filled up with blanks to `width` cells.
QString Padded(const QString& text, int width);

// The lines of a text, broken to fit, each with `indent` blanks before it: at
// blanks, and in a word that is too long for a line. An address stays whole, so
// that it can be copied. Lines stay apart; those that begin with a blank, which are
// not running text, are broken only where they are too long.
QString Wrapped(const QString& text, int width, int indent);
