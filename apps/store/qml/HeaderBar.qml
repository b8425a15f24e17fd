// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The header of the window: menu, back, search, and below it the bar that says that the store
// cannot be reached.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Controls.ToolBar {
    id: bar

    required property var app

    function clear() {
        field.text = ""
    }
    function search(text) {
        field.text = text
    }
    function focusSearch() {
        field.forceActiveFocus()
        field.selectAll()
    }

    contentItem: ColumnLayout {
        spacing: 0
        RowLayout {
            Controls.ToolButton {
                objectName: "menu"
                text: i18n("Menu")
                icon.name: "application-menu"
                checkable: true
                checked: bar.app.menuOpen
                visible: !bar.app.wide
                onClicked: bar.app.menuOpen = !bar.app.menuOpen
            }
            Controls.ToolButton {
                objectName: "back"
                text: i18n("Back")
                icon.name: LayoutMirroring.enabled ? "go-next" : "go-previous"
                enabled: bar.app.stack.depth > 1
                onClicked: bar.app.back()
            }
            Controls.TextField {
                id: field
                objectName: "search"
                Layout.fillWidth: true
                Layout.maximumWidth: Kirigami.Units.gridUnit * 30
                placeholderText: i18n("Search for software")
                Accessible.name: placeholderText
                Accessible.searchEdit: true
                inputMethodHints: Qt.ImhNoPredictiveText
                onTextChanged: bar.app.search(text)
                Keys.onDownPressed: bar.app.stack.currentItem.nextItemInFocusChain().forceActiveFocus(Qt.TabFocusReason)
                Keys.onEscapePressed: (event) => {
                    event.accepted = text !== ""
                    clear()
                }
            }
            Item {
                Layout.fillWidth: true
                Layout.preferredWidth: 0
            }
        }
        OfflineBar {
            objectName: "offline"
            Layout.fillWidth: true
            offers: bar.app.offers
        }
    }
}
