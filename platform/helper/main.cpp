// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-helper, which the system bus starts. docs/security.md reviews it.

#include "platform/helper/helper.h"

#include <cstdlib>

int main()
{
    clearenv(); // nothing of it reaches libraries, and the bus is the machine's
    return Helper("/usr/bin/vos-apt-get", 600).Run();
}
