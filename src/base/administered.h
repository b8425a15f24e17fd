// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Files that say what the administrator of a machine has decided. One that others can change
// says nothing.

#pragma once

#include <string>

namespace Agent
{

// The fault of a file or folder; empty if only the administrator can change it. `root` is the
// private root, empty without one; what is in a private root may belong to its user. Faults
// name the path without it.
std::string AdministeredFault(const std::string& path, const std::string& root);

// The text of such a file; empty with a fault.
std::string ReadAdministered(const std::string& path, const std::string& root, std::string& fault);

} // namespace Agent
