// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-helper: installs and removes packages for users whom polkit allows it. The system
// bus starts it. docs/security.md reviews it.

#include "platform/helper/helper.h"
#include "platform/helper/places.h"

#include <cstdlib>

int main()
{
    // Nothing of the environment reaches libraries or the package front end.
    if (!isForTests)
        clearenv();
    Helper helper;
    return helper.Start() ? helper.Run() : 1;
}
