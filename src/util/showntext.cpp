// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/showntext.h"

#include "base/text.h"

#include <algorithm>

namespace Agent
{

QString ShownText(const QString& text)
{
    const auto isHidden = [](QChar c) { return IsUnprintable(c.unicode()); };
    if (std::none_of(text.begin(), text.end(), isHidden))
        return text; // shares its data
    QString shown;
    shown.reserve(text.size());
    for (const QChar c : text) {
        if (!isHidden(c) || c == QLatin1Char('\n'))
            shown += c;
        else if (!IsDirectionMark(c.unicode()))
            shown += QLatin1Char(' ');
    }
    return shown;
}

QString ShownLine(const QString& text)
{
    return ShownText(text).simplified();
}

} // namespace Agent
