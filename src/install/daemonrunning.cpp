// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/daemonrunning.h"

#include "install/crun.h"
#include "support/coneinstancemutex.h"
#include "util/eventwait.h"
#include "util/loginstall.h"
#include "util/paths.h"

using namespace Agent;

namespace
{

constexpr int lookEvery = 100; // milliseconds between two looks: each takes the lock for a moment

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

// Whether the lock is held once the script has run. The daemon that the script started may
// need a moment; a script that is the daemon itself never ends.
bool IsHeldAfter(CRun& script)
{
    for (int waited = 0; waited < 10000 && script.IsRunning(); waited += lookEvery) {
        if (waited > 0 && LockIsHeld())
            return true;
        for (int i = 0; i < lookEvery / 10 && script.IsRunning(); ++i)
            PassEventsFor(10);
    }
    for (int look = 0; look < 3; ++look) {
        if (LockIsHeld())
            return true;
        PassEventsFor(lookEvery);
    }
    return false;
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
        running = run.pid() > 0 ? IsHeldAfter(run) : LockIsHeld();
    }
    return running;
}
