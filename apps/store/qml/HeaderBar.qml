// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The header of the window: menu, back, search, and below it the bar that says that the store
// cannot be reached.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import "colours.js" as Colours

Controls.ToolBar {
    id: bar

    required property var app
    // In a narrow window the words of some languages would leave no room for the search.
    readonly property int display: app.wide ? Controls.AbstractButton.TextBesideIcon : Controls.AbstractButton.IconOnly

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

    // Not a layout, which would keep the height of what is hidden.
    contentItem: Column {
        RowLayout {
            width: parent.width
            Controls.ToolButton {
                objectName: "menu"
                text: i18n("Menu")
                display: bar.display
                icon.name: "application-menu"
                icon.source: "qrc:/store/icons/menu.svg"
                Controls.ToolTip.text: text
                Controls.ToolTip.visible: hovered
                checkable: true
                checked: bar.app.menuOpen
                visible: !bar.app.wide
                onClicked: bar.app.menuOpen = !bar.app.menuOpen
            }
            Controls.ToolButton {
                objectName: "back"
                text: i18n("Back")
                display: bar.display
                icon.name: bar.mirrored ? "go-next" : "go-previous"
                icon.source: bar.mirrored ? "qrc:/store/icons/next.svg" : "qrc:/store/icons/previous.svg"
                Controls.ToolTip.text: text
                Controls.ToolTip.visible: hovered && display === Controls.AbstractButton.IconOnly
                enabled: bar.app.stack.depth > 1
                onClicked: bar.app.back()
            }
            Controls.TextField {
                id: field
                objectName: "search"
                Layout.fillWidth: true
                Layout.maximumWidth: Kirigami.Units.gridUnit * 30
                placeholderText: bar.app.wide ? Accessible.name : i18n("Search")
                placeholderTextColor: Colours.readable(Kirigami.Theme.disabledTextColor, Kirigami.Theme.textColor)
                Accessible.name: i18n("Search for software")
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
            width: parent.width
            offers: bar.app.offers
        }
    }
}
