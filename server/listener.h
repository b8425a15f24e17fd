// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The socket at which clients arrive.

#pragma once

#include "storefile.h"

#include <string>

// Listens at a name or number of this machine, and at `port`, or a free one for 0;
// `waiting` connections may be there before one is accepted. No handle when that
// failed, with errno, or errno 0 where the address is not of this machine.
FileHandle Listen(const std::string& address, int port, int waiting);

int PortOf(const FileHandle& listener);
