// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a line of the package front end says about the progress of a run.

#pragma once

#include <QString>

namespace Pakmart
{

struct LineNews {
    int percent = -1; // of the whole; -1 if the line does not say
    QString package; // the one at work; empty if the line does not say
    bool downloads = false; // packages are being fetched
    bool dpkgWorks = false; // dpkg has begun: the run cannot be cancelled any more
    bool waits = false; // the line says for which lock the run waits
};

LineNews NewsOf(const QString& line);

} // namespace Pakmart
