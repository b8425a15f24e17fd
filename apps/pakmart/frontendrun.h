// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs the package front end directly, for facts that the library does not report: which
// packages a remove would take away, and whether a refresh has worked.

#pragma once

#include <QStringList>

struct FrontEndResult {
    int status = -1; // the exit status; -1 if it could not be started or was killed
    QStringList lines;

    // The error lines, without their prefix.
    QStringList errors() const;
};

// Runs the front end to its end, on the private tree that is used to resolve dependencies.
// An interruption ends the run. Its lines also go to the log.
FrontEndResult RunFrontEnd(const QStringList& words);
