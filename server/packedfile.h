// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reading a file that may be compressed, by whichever way apt knows.

#pragma once

#include <string>

// The text of a file; one whose name ends in .gz, .xz, .lz4, .zst or .bz2 is
// unpacked. Throws StoreError, naming the file, when it cannot be read whole or
// its text is over `largest` bytes.
std::string ReadPackedFile(const std::string& file, std::size_t largest);
