// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A category: its icon, its name, and how many products it has.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Controls.ItemDelegate {
    id: tile

    required property var app
    required property var model

    objectName: "category-" + model.category
    text: model.name
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: i18np("%2, %1 product", "%2, %1 products", model.products, model.name)
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    onClicked: app.push("ProductsPage.qml", { title: model.name, category: model.category })
    contentItem: RowLayout {
        spacing: Kirigami.Units.largeSpacing
        ProductIcon {
            iconName: tile.model.iconName
            Layout.preferredWidth: Kirigami.Units.iconSizes.medium
            Layout.preferredHeight: Kirigami.Units.iconSizes.medium
        }
        ColumnLayout {
            spacing: 0
            Layout.fillWidth: true
            Controls.Label {
                objectName: "name"
                Layout.fillWidth: true
                elide: Text.ElideRight
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                text: tile.text
            }
            Controls.Label {
                objectName: "number"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                opacity: 0.75
                text: i18np("%1 product", "%1 products", tile.model.products)
            }
        }
    }
}
