// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "aisles.h"

#include "stanza.h"

Aisles ParseAisles(const std::string& text, const std::string& path)
{
    Aisles aisles;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        CheckKeys(stanza, "an aisle", { "Name", "Description", "Category*" }, path);
        Aisle aisle{ Required(stanza, "Name", path), Optional(stanza, "Description"), {} };
        Required(stanza, "Category", path);
        for (const Field& field : stanza.fields) {
            if (field.key == "Category")
                aisle.categories.push_back(field.value);
        }
        aisles.push_back(aisle);
    }
    return aisles;
}
