// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The applications that were used last.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    objectName: "recentPage"
    title: i18n("Recently used")

    PageHeading {
        Layout.fillWidth: true
        text: page.title
    }
    ListView {
        Layout.fillWidth: true
        Layout.fillHeight: true
        id: list
        objectName: "recent"
        activeFocusOnTab: true
        clip: true
        Controls.ScrollBar.vertical: Controls.ScrollBar {}
        Accessible.role: Accessible.List
        Accessible.name: page.title
        Keys.onReturnPressed: if (currentItem) currentItem.clicked()
        model: Pakmart.RecentModel {}
        delegate: Controls.ItemDelegate {
            id: row
            required property var model
            objectName: "recent-" + model.serial
            width: ListView.view.width
            text: i18n("%1, %2", model.name, desktop.date(model.lastUsed))
            highlighted: ListView.isCurrentItem && ListView.view.activeFocus
            Accessible.role: Accessible.ListItem
            Accessible.name: text
            onClicked: page.app.push("ProductPage.qml", { serial: model.serial })
            contentItem: ColumnLayout {
                RowLayout {
                    Controls.Label {
                        objectName: "used"
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        horizontalAlignment: Text.AlignLeft
                        textFormat: Text.PlainText
                        text: row.text
                    }
                    OpenButton {
                        app: page.app
                        serial: row.model.serial
                        name: row.model.name
                    }
                }
                OpenProblem {
                    Layout.fillWidth: true
                    app: page.app
                    serial: row.model.serial
                }
            }
        }
        EmptyState {
            app: page.app
            list: list.model
        }
    }
}
