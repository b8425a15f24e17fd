// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The library's lines on standard output.

#pragma once

#include <QString>
#include <string>

namespace Agent
{

// Writes `line` and a line end, and flushes: what is told there is to be seen
// before a child process or a crash tells more.
void WriteLine(const std::string& line);
void WriteLine(const QString& line);

} // namespace Agent
