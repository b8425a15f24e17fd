// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What was installed, changed and removed on this computer, the last first.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    objectName: "historyPage"
    title: i18n("History")

    PageHeading {
        Layout.fillWidth: true
        text: page.title
    }
    ListView {
        Layout.fillWidth: true
        Layout.fillHeight: true
        id: list
        objectName: "history"
        activeFocusOnTab: true
        clip: true
        Controls.ScrollBar.vertical: Controls.ScrollBar {}
        Accessible.role: Accessible.List
        Accessible.name: page.title
        model: Pakmart.HistoryModel {}
        delegate: HistoryRow {
            app: page.app
            history: list.model
            width: ListView.view.width
        }
        EmptyState {
            app: page.app
            list: list.model
        }
    }
}
