// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a change of packages needs, said before anything is downloaded or asked.

#pragma once

#include <QStringList>

struct Change;
class Console;

namespace Pakmart
{
class Plan;
} // namespace Pakmart

// Whether this user can make the change, perhaps with an administrator's permission: ExitDone,
// or ExitFailed after a sentence with the way to make it.
int SayWhatIsNeeded(Console& console, const Change& change, const Pakmart::Plan& plan);

// The same for changes of packages that no plan shows.
int SayWhatPackagesNeed(Console& console);

// Why a user who is not root cannot make the change at all, with the command that can: this one,
// which has these words, with sudo. Empty if the helper makes it.
QString RefusalWithoutRoot(const Change& change, const Pakmart::Plan& plan,
                           const QStringList& words);
