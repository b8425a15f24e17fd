// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What dpkg has to finish before apt-get can work.

#pragma once

#include "platform/arguments.h"
#include "platform/relay.h"

#include <string>

// Lets dpkg take over what it left when it was killed, without which apt-get changes nothing. A
// repair that names packages has those set up first that are only unpacked: apt-get does not
// find their archives. Writes dpkg's lines. Whether it worked shows in the run that follows.
void FinishInterrupted(const Arguments& arguments, const std::string& root, const Writer& write);
