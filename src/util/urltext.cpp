// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/urltext.h"

#include "util/urlcodec.h"

namespace Agent
{

namespace
{

// The bytes of a text that is plain; false for any other.
bool TakePlain(const QString& text, std::string& bytes)
{
    bytes.resize(std::size_t(text.size()));
    char* out = &bytes[0];
    for (const QChar c : text) {
        const ushort code = c.unicode();
        if (code == '%' || code == '+' || code == '\\' || code == 0 || code >= 0x80)
            return false;
        *out++ = char(code);
    }
    return true;
}

} // namespace

std::string url_decode_utf8(const QString& text)
{
    std::string bytes;
    return TakePlain(text, bytes) ? bytes : url_decode(text.toStdString());
}

} // namespace Agent
