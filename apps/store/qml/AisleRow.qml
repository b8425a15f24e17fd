// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An aisle of the store: its name, what the store says about it, and its categories.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

ColumnLayout {
    id: row

    required property var app
    required property var model
    required property real tileWidth

    objectName: "aisle"
    spacing: Kirigami.Units.smallSpacing
    PageHeading {
        objectName: "aisleName"
        Layout.fillWidth: true
        text: row.model.name
    }
    Controls.Label {
        objectName: "aisleText"
        Layout.fillWidth: true
        Layout.leftMargin: Kirigami.Units.largeSpacing
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignLeft
        textFormat: Text.PlainText
        visible: text !== ""
        text: row.model.description
    }
    Flow {
        Layout.fillWidth: true
        spacing: Kirigami.Units.smallSpacing
        Repeater {
            model: row.model.categories
            CategoryTile {
                required property var modelData
                app: row.app
                model: modelData
                objectName: "aisleCategory-" + modelData.category
                width: row.tileWidth
            }
        }
    }
}
