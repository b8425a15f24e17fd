// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A product of the account.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Controls.ItemDelegate {
    id: row

    required property var app
    required property var modelData

    objectName: "account-" + modelData.package
    text: modelData.name
    highlighted: ListView.isCurrentItem && ListView.view.activeFocus
    Accessible.role: Accessible.ListItem
    Accessible.name: text
    Accessible.onPressAction: clicked()
    onClicked: app.push("ProductPage.qml", { serial: modelData.serial })
    contentItem: ColumnLayout {
        RowLayout {
            Controls.Label {
                objectName: "name"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignLeft
                textFormat: Text.PlainText
                text: row.text
            }
            OpenButton {
                app: row.app
                serial: row.modelData.serial
                name: row.text
            }
        }
        OpenProblem {
            Layout.fillWidth: true
            app: row.app
            serial: row.modelData.serial
        }
    }
}
