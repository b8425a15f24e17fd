// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "updates.h"

#include "packagename.h"
#include "stanza.h"
#include "text.h"

#include <set>

Updates ParseUpdates(const std::string& text, const std::string& path)
{
    Updates updates;
    std::set<std::string> seen;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        for (const Field& field : stanza.fields) {
            if (field.key != "Package")
                FailAt(path, field.line, "an update has no field " + field.key);
            if (!IsPackageName(field.value))
                FailAt(path, field.line, "this is no name of a package: " + Quoted(field.value));
            if (!seen.insert(field.value).second)
                FailAt(path, field.line, "a second update of " + Quoted(field.value));
            updates.push_back(field.value);
        }
    }
    return updates;
}
