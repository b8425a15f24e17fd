// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The optional file `icons` of a store, which pictures.h describes.

#pragma once

#include <map>
#include <string>

using Icons = std::map<long, std::string>; // sums of pictures by the products' serial numbers

Icons ParseIcons(const std::string& text, const std::string& path);

// Whether this can be the sum of a picture: 64 hexadecimal digits, in small letters.
bool IsPictureSum(const std::string& text);
