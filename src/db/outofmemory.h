// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The end of a public function of the databases after a failed allocation: it sets the
// record store's code for that, since no exception may reach a host.

#pragma once

#include "store/datafile.h"

#include <new>

namespace Agent
{

inline bool OutOfMemory()
{
    taerror = taNoMemory;
    return false;
}

} // namespace Agent
