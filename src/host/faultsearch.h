// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The search for what a repair has to mend: in dpkg's status, in the databases, and among the
// files that dead processes have left. Nothing is changed.

#pragma once

#include "host/repairfinding.h"

#include <functional>

class QObject;

namespace Pakmart
{

// Searches in a thread, and calls `done` from the event loop unless `context` is gone by then.
void SearchFaults(QObject* context,
                  const std::function<void(const QList<RepairFinding>& found)>& done);

// Removes what dead processes have left, in the same way.
void RemoveLeftovers(QObject* context, const std::function<void()>& done);

// What to do about a package whose script fails.
QString AdviceOnScript(const QString& package);

} // namespace Pakmart
