// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The heading of a page.

import QtQuick 2.15
import org.kde.kirigami 2.20 as Kirigami

Kirigami.Heading {
    objectName: "heading"
    padding: Kirigami.Units.largeSpacing
    horizontalAlignment: Text.AlignLeft
    wrapMode: Text.Wrap
    textFormat: Text.PlainText
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
