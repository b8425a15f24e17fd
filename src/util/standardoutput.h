// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Lines on standard output.

#pragma once

#include <QString>
#include <string>

namespace Agent
{

// A line on standard output: writes `line` and a line end, and flushes, so that the line precedes
// the output of a child process and is not lost in a crash.
void WriteLine(const std::string& line);
void WriteLine(const QString& line);

} // namespace Agent
