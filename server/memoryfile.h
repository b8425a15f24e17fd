// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A text as a file without a name, for libraries that read only files.

#pragma once

#include "base/descriptor.h"

#include <string>

// The file, at its beginning. Throws StoreError when the system does not give one.
Agent::Descriptor MemoryFile(const std::string& text);
