// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The files that an archive publishes packed, and that apt keeps so.

#pragma once

#include <cstddef>
#include <string>

// The text of a file, decompressed if the name ends in .gz, .xz, .lz4, .zst or .bz2. Throws
// StoreError, which names the file, if it cannot be read completely or its text is over
// `largest` bytes.
std::string ReadPackedFile(const std::string& file, std::size_t largest);
