// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/categoryicon.h"

namespace Pakmart
{

namespace
{

struct Icon {
    const char* begin; // of the category, in lower case
    const char* name;
};

// Names of stores and sections of Debian.
constexpr Icon icons[] = {
    { "game", "applications-games" },
    { "educat", "applications-education" },
    { "scien", "applications-science" },
    { "math", "applications-science" },
    { "graph", "applications-graphics" },
    { "photo", "applications-graphics" },
    { "sound", "applications-multimedia" },
    { "video", "applications-multimedia" },
    { "audio", "applications-multimedia" },
    { "music", "applications-multimedia" },
    { "multimedia", "applications-multimedia" },
    { "office", "applications-office" },
    { "business", "applications-office" },
    { "financ", "applications-office" },
    { "text", "applications-office" },
    { "editor", "accessories-text-editor" },
    { "net", "applications-internet" },
    { "web", "applications-internet" },
    { "mail", "applications-internet" },
    { "internet", "applications-internet" },
    { "devel", "applications-development" },
    { "program", "applications-development" },
    { "utilit", "applications-utilities" },
    { "util", "applications-utilities" },
    { "admin", "applications-system" },
    { "system", "applications-system" },
    { "font", "preferences-desktop-font" },
};

} // namespace

QString CategoryIcon(const QString& category)
{
    const QString path = category.toLower();
    for (int end = int(path.size()); end > 0;) {
        const int slash = int(path.lastIndexOf(QLatin1Char('/'), end - 1));
        const QString part = path.mid(slash + 1, end - slash - 1);
        for (const Icon& icon : icons)
            if (part.startsWith(QLatin1String(icon.begin)))
                return QLatin1String(icon.name);
        end = slash;
    }
    return QStringLiteral("package-x-generic");
}

} // namespace Pakmart
