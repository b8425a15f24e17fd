// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "location.h"

#include "options.h"
#include "stanza.h"
#include "text.h"

std::string ParseLocation(const std::string& text, const std::string& path)
{
    const std::vector<Stanza> stanzas = ParseStanzas(text, path);
    if (stanzas.size() != 1 || stanzas[0].fields.size() != 1)
        FailAt(path, 1, "a location is one field, Archives");
    const std::string& address = Required(stanzas[0], "Archives", path);
    if (!IsServerUrl(address))
        FailAt(path, stanzas[0].line,
               Quoted(address) + " is no address such as http://deb.debian.org/debian");
    return address;
}
