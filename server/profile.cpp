// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "profile.h"

#include "stanza.h"

Profile ParseProfile(const std::string& text, const std::string& path)
{
    Profile profile;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        CheckKeys(stanza, "an application", { "Serial", "Name", "Package" }, path);
        profile.push_back({ RequiredSerial(stanza, path), Required(stanza, "Name", path),
                            Required(stanza, "Package", path) });
    }
    return profile;
}
