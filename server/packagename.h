// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What Debian packages may be called. Clients hand these texts to their package
// tools, so nothing else passes.

#pragma once

#include <string>

bool IsPackageName(const std::string& name);
bool IsPackageVersion(const std::string& version);
