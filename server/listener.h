// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The socket at which the server listens.

#pragma once

#include "base/descriptor.h"

#include <string>

// Listens on an address of this machine (a name or a number) and on `port`, or on a free
// port for 0; up to `waiting` connections may be pending. On failure the handle is empty and
// errno is set; it is 0 if the address does not belong to this machine.
Agent::Descriptor Listen(const std::string& address, int port, int waiting);

// The port that it is bound to; 0 on failure.
int PortOf(const Agent::Descriptor& listener);
