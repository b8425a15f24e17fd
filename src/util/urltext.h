// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Decoding of the many texts of a catalog, most of which are plain.

#pragma once

#include <QString>
#include <string>

namespace Agent
{

// url_decode with UTF-8 as the result. A text that decodes to itself is converted in
// one step.
std::string url_decode_utf8(const QString& text);

} // namespace Agent
