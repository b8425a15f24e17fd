// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Texts from outside as they may be shown: nothing in them changes how the texts around them are
// read.

#pragma once

#include <QString>

namespace Agent
{

// Lines stay. Other controls become blanks, and marks of the writing direction go.
QString ShownText(const QString& text);

// The same on one line, without blanks at its ends and without two in a row.
QString ShownLine(const QString& text);

} // namespace Agent
