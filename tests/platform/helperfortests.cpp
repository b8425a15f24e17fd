// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The privileged helper with a front end and a bus of the tests, and less patience. It is never
// installed: the one that is has no way to name them.

#include "platform/helper/helper.h"

#include <cstdlib>

int main()
{
    // DBUS_SYSTEM_BUS_ADDRESS counts here, too.
    const char* const frontEnd = std::getenv("TEST_FRONT_END");
    return frontEnd ? Helper(frontEnd, 3).Run() : 2;
}
