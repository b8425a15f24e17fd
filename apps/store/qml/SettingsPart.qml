// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Settings that belong together, below a heading.

import QtQuick 2.15
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

ColumnLayout {
    id: part

    property alias title: heading.text

    Layout.fillWidth: true
    Layout.leftMargin: Kirigami.Units.largeSpacing
    Layout.rightMargin: Kirigami.Units.largeSpacing
    spacing: Kirigami.Units.smallSpacing
    Kirigami.Heading {
        id: heading
        objectName: "partHeading"
        level: 3
        Layout.fillWidth: true
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignLeft
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
}
