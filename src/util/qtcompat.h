// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the library does in one way with Qt 5 and in another with Qt 6. Nothing
// else in the sources may ask which one it is; cmake/QtVersion.cmake does the same
// for the build.

#pragma once

#include <QDomDocument>
#include <QString>
#include <QXmlStreamReader>

// Builds `document` of what `reader` reads. False with `error` and its `line` when the
// text is not well formed.
inline bool SetContent(QDomDocument& document, QXmlStreamReader& reader, QString& error, int& line)
{
#if QT_VERSION_MAJOR < 6
    return document.setContent(&reader, false, &error, &line);
#else
    const QDomDocument::ParseResult result = document.setContent(&reader);
    error = result.errorMessage;
    line = int(result.errorLine);
    return bool(result);
#endif
}
