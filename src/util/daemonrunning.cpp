// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/daemonrunning.h"

// The one place where the ground floor looks upwards: the start script is run
// by the process runner.
#include "install/crun.h"
#include "support/coneinstancemutex.h"
#include "util/diagnostics.h"
#include "util/paths.h"

namespace
{

bool LockIsHeld()
{
    COneInstanceMutex mutex;
    const int taken = mutex.Create("pakmartd");
    qCDebug(logInstall, "the lock \"pakmartd\" is %s",
            taken == 0       ? "held"
                : taken == 1 ? "free"
                             : "not to be tried");
    return taken == 0;
}

} // namespace

bool DaemonRunning(bool bStart)
{
    if (!bStart)
        return LockIsHeld();
    bool running = false;
    for (int attempt = 0; attempt < 3 && !running; ++attempt) {
        CRun run;
        run.Run(SystemPath(QStringLiteral("/etc/init.d/pakmartd.sh")), QStringLiteral("start"),
                false);
        running = LockIsHeld();
    }
    return running;
}
