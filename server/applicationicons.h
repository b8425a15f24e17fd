// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The icons of an archive's applications, which it publishes in one packed file for each size.

#pragma once

#include "debianindex.h"

#include <cstddef>
#include <string>

// Gives packages the pictures that their `icon` names in such a file (icons-64x64.tar.gz).
// Returns how many have one. An entry that is not a plain file in the archive's own folder, and
// an icon that is too large or not a whole PNG file, are left out, with a message in the index.
// Throws StoreError when the file cannot be read.
std::size_t AddPictures(DebianIndex& index, const std::string& file);
