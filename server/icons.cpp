// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "icons.h"

#include "base/text.h"
#include "stanza.h"

using namespace Agent;

bool IsPictureSum(const std::string& text)
{
    const std::size_t digits = 64;
    return text.size() == digits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

Icons ParseIcons(const std::string& text, const std::string& path)
{
    Icons icons;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        CheckKeys(stanza, "an icon", { "Serial", "Picture" }, path);
        const std::string& sum = Required(stanza, "Picture", path);
        if (!IsPictureSum(sum))
            FailAt(path, stanza.Find("Picture")->line,
                   "a picture is the SHA-256 of its file in small letters, not " + Quoted(sum));
        if (!icons.emplace(RequiredSerial(stanza, path), sum).second)
            FailAt(path, stanza.line, "a second icon of this product");
    }
    return icons;
}
