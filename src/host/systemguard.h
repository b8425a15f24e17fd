// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What protects a change of the system from its end: while an object of this class exists, the
// application does not quit by itself, and logind does not shut the machine down. Without
// logind, or without its permission, it can be shut down.

#pragma once

#include "host/workerrun.h"

#include <QEventLoopLocker>

namespace Pakmart
{

class SystemGuard
{
public:
    SystemGuard();

private:
    const QEventLoopLocker m_quitLock;
    WorkerRun m_inhibition;
};

} // namespace Pakmart
