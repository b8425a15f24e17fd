// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Text on its way to a client, and the reading of URLs.

#pragma once

#include <string>
#include <string_view>

// The fault of `text` as a store's text (invalid UTF-8, a control character other than
// tab and line end), or null.
const char* TextFault(std::string_view text);

// Text for the elements and attributes that a client takes through its URL
// decoding: a blank is written as '+'; every character that is special to that
// decoding or to XML, and every byte that is not printable ASCII, is written as %XX.
// Decoding gives back exactly `text`, which must be valid (TextFault).
std::string EncodeText(const std::string& text);
void AppendEncoded(std::string& result, const std::string& text);

// Text for the elements and attributes that a client does not decode. A control
// character, which XML cannot contain, becomes a question mark.
std::string EscapeXml(const std::string& text);

// Decodes the %XX of a URL; '+' stays. False for a % without two digits.
bool DecodePercent(const std::string& text, std::string& decoded);

// `text` in single quotes, cut to a length that fits in a message, with a
// question mark for each byte that is not printable ASCII.
std::string Quoted(const std::string& text);

// The value of `text` if it is a number from 1 to 2147483647 in decimal digits only; 0
// for any other text.
long PositiveNumber(const std::string& text);
