// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The locks of apt and dpkg, which every program holds that changes packages.

#pragma once

#include <QString>

namespace Pakmart
{

// The process that holds one of them, for the user: "process 12 (apt-get)". Empty if there is
// none, or if this user cannot see it.
QString HolderOfPackageLock();

} // namespace Pakmart
