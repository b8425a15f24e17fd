// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A product in a list: what it is, what can be done with it, and what is being done.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Controls.ItemDelegate {
    id: row

    required property var app
    required property var model
    readonly property var change: app.changes.all[model.package] || null

    objectName: "product-" + model.package
    text: model.name
    highlighted: ListView.isCurrentItem && ListView.view.activeFocus
    Accessible.role: Accessible.ListItem
    Accessible.name: model.summary ? i18n("%1: %2", model.name, model.summary) : model.name
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    onClicked: app.push("ProductPage.qml", { serial: model.serial })

    contentItem: ColumnLayout {
        spacing: Kirigami.Units.smallSpacing
        RowLayout {
            spacing: Kirigami.Units.largeSpacing
            ProductIcon {
                iconName: row.model.iconName
                picture: row.model.picture
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
                    text: row.model.name
                }
                Controls.Label {
                    objectName: "summary"
                    Layout.fillWidth: true
                    elide: Text.ElideRight
                    textFormat: Text.PlainText
                    opacity: 0.75
                    visible: text !== ""
                    horizontalAlignment: Text.AlignLeft
                    text: row.model.summary
                }
            }
            ProductButtons {
                app: row.app
                product: row.model
                productState: row.model.productState
                change: row.change
                compact: true
            }
        }
        ChangeProgress {
            Layout.fillWidth: true
            change: row.change
        }
        ChangeProblem {
            Layout.fillWidth: true
            app: row.app
            change: row.change
        }
        OpenProblem {
            Layout.fillWidth: true
            app: row.app
            serial: row.model.serial
        }
    }
}
