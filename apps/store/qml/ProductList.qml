// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A list of products, for keyboard and pointer.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import org.kde.kirigami 2.20 as Kirigami

ListView {
    id: list

    required property var app
    property string emptyText: ""
    property bool offersRefresh: false

    objectName: "products"
    reuseItems: true
    clip: true
    Controls.ScrollBar.vertical: Controls.ScrollBar {}
    activeFocusOnTab: true
    keyNavigationEnabled: true
    currentIndex: 0
    Accessible.role: Accessible.List
    Accessible.name: i18n("Products")
    Keys.onReturnPressed: if (currentItem) currentItem.clicked()
    Keys.onEnterPressed: if (currentItem) currentItem.clicked()
    delegate: ProductRow {
        app: list.app
        width: ListView.view.width
    }

    EmptyState {
        app: list.app
        list: list.model
        emptyText: list.emptyText
        offersRefresh: list.offersRefresh
    }
}
