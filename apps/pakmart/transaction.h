// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A change of packages from the preview to the report: what is done is what was shown, and
// what is reported is what dpkg's status says.

#pragma once

#include "outcome.h"

#include <Pakmart/Plan>
#include <QString>

class Console;

// What the user permits beforehand.
struct Consent {
    bool yes = false; // asks nothing
    bool removals = false; // packages that were not named may go
    bool dryRun = false; // only shows the preview
    bool downloadOnly = false; // fetches the archives, and changes nothing
};

struct Change {
    Pakmart::Request request;
    Consent consent;
    QString question; // "Install?"
    QString nothing; // reported when the user declines
    QString needless; // reported when there is nothing to do; empty: each package is
};

// Asks for the consents that a plan needs: ExitDone if it has them. `changesMore`: something is
// done beside the plan.
int AskForConsent(Console& console, const Change& change, const Pakmart::Plan& plan,
                  bool changesMore = false);

// After a failure: what was done nevertheless, and what can be done about the rest.
void SayWhatFailed(Console& console, const Pakmart::Plan& plan, const DpkgStatus& before,
                   Pakmart::Error::Code code);

// Returns the exit status. `shown`: what was shown, and done.
int CarryOut(Console& console, const Change& change, Pakmart::Plan* shown = nullptr);
