// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Ctrl-C and SIGTERM: passed to the programs that run for us, and to the requests
// that wait for the server. Their end is the end of what the library waits for, so
// that it cleans up behind itself.

#pragma once

namespace Interrupt
{

// Catches the two signals from now on; there must be an application.
void install();

// Whether one has come.
bool received();

} // namespace Interrupt
