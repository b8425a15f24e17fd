// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The private root: a directory that takes the place of the machine's own.

#pragma once

#include <string>

namespace Agent
{

// The directory that PAKMART_SYSROOT names, as an absolute path without a slash at its
// end; empty where there is none and the machine itself is meant. A relative name begins
// in the working directory of the first call. It is read once, and not at all in a
// set-user-id program.
const std::string& PrivateRoot();

} // namespace Agent
