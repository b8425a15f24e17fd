// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Checks that a picture is a whole PNG file of a reasonable size, without decoding it.

#pragma once

#include <cstddef>
#include <string_view>

constexpr std::size_t largestPicture = 256 * 1024; // bytes
constexpr unsigned mostPicturePixels = 1024; // in a row, and in a column

// What is wrong with it as a picture of a store ("it is not ..."), or null. Its signature, its
// size, and the length and sum of each part are checked; the pixels are not.
const char* PngFault(std::string_view bytes);
