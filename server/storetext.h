// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Text on its way into a reply and out of a query.

#pragma once

#include <string>
#include <utility>
#include <vector>

// XML's own escaping, for text that the agent takes as it stands. Characters
// that XML cannot hold become '?'.
std::string EscapeXml(const std::string& text);

// Escaped such that the agent, which decodes most texts (a backslash keeps the
// next character, '+' is a blank, percent escapes last), gets exactly `text`
// (UTF-8, without zero bytes), in an attribute as well as in an element.
std::string EncodeForAgent(const std::string& text);

// The parameters of a request target, in order. Only percent escapes are
// decoded: the agent sends file names as they are, and a plus is a plus.
std::vector<std::pair<std::string, std::string>> QueryParameters(const std::string& target);
