// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Leads to the pages: beside them where there is room, otherwise in their place.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Rectangle {
    id: side

    required property var app

    // As wide as the names of the pages need, which are longer in some languages.
    implicitWidth: Math.max(Kirigami.Units.gridUnit * 11, entries.implicitWidth)
    color: Kirigami.Theme.backgroundColor
    Accessible.role: Accessible.PageTabList
    Accessible.name: i18n("Pages")
    ColumnLayout {
        id: entries
        anchors.fill: parent
        spacing: 0
        Repeater {
            model: [
                { page: "front", icon: "go-home", name: i18n("Browse") },
                { page: "installed", icon: "drive-harddisk", name: i18n("Installed") },
                { page: "updates", icon: "update-none", name: i18n("Updates") },
                { page: "recent", icon: "document-open-recent", name: i18n("Recently used") },
                { page: "history", icon: "view-history", name: i18n("History") },
                { page: "account", icon: "user-identity", name: i18n("My products") },
                { page: "settings", icon: "configure", name: i18n("Settings") },
                { page: "about", icon: "help-about", name: i18n("About") }
            ]
            Controls.ItemDelegate {
                id: entry
                required property var modelData
                required property int index
                objectName: "to-" + modelData.page
                Layout.fillWidth: true
                text: modelData.name
                icon.name: modelData.icon
                activeFocusOnTab: true
                highlighted: side.app.place === modelData.page
                Accessible.role: Accessible.PageTab
                Accessible.name: text
                Accessible.onPressAction: clicked()
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
                onClicked: side.app.go(modelData.page, "")
                Shortcut {
                    sequence: "Alt+" + (entry.index + 1)
                    onActivated: entry.clicked()
                }
            }
        }
        Item {
            Layout.fillHeight: true
        }
    }
    Kirigami.Separator {
        anchors { right: parent.right; top: parent.top; bottom: parent.bottom }
    }
}
