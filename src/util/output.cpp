// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/output.h"

#include <cstdio>

void WriteLine(const std::string& line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void WriteLine(const QString& line)
{
    WriteLine(line.toStdString());
}
