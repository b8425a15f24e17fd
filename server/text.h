// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Text on its way to a client, and the reading of URLs.

#pragma once

#include <string>
#include <string_view>

// What is wrong with `text` as a store's text (a byte that is no UTF-8, a
// control character other than tab and line end), or null.
const char* TextFault(std::string_view text);

// Text for the elements and attributes that a client takes through its URL
// decoding: a blank is written as '+', and whatever means something to that
// decoding or to XML, and every byte that is no printable ASCII, as %XX.
// Decoding gives `text` back, to the byte. `text` must be valid (TextFault).
std::string EncodeText(const std::string& text);
void AppendEncoded(std::string& result, const std::string& text);

// Text for the elements and attributes that a client takes as they stand. A
// control character, which XML cannot hold, becomes a question mark.
std::string EscapeXml(const std::string& text);

// Decodes the %XX of a URL; '+' stays. False for a % without two digits.
bool DecodePercent(const std::string& text, std::string& decoded);

// `text` in single quotes, cut to a length that fits in a message, with a
// question mark for each byte that is no printable ASCII.
std::string Quoted(const std::string& text);

// The number that `text` is, in decimal digits alone, from 1 to 2147483647; 0
// for any other text.
long PositiveNumber(const std::string& text);
