// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A run of the package front end of our own, for what the library does not say: what
// a remove would take, and whether a refresh has worked.

#pragma once

#include <QStringList>

struct FrontEndResult {
    int status = -1; // its exit status; -1 when it could not be started or was killed
    QStringList lines;

    // The error lines, without their mark.
    QStringList errors() const;
};

// Runs the front end on the tree in which dependencies are worked out, to its end. An
// interruption ends it. Its lines go to the log as well.
FrontEndResult RunFrontEnd(const QStringList& words);
