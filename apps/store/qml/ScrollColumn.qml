// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Parts of a page below each other, to be scrolled by pointer and keys. What gets the focus is
// brought into view.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15
import org.kde.kirigami 2.20 as Kirigami

Flickable {
    id: view

    default property alias parts: column.data
    readonly property Item focused: Window.activeFocusItem

    function isInside(item) {
        for (let one = item; one; one = one.parent)
            if (one === column)
                return true
        return false
    }
    onFocusedChanged: {
        if (!focused || !isInside(focused))
            return
        const top = focused.mapToItem(column, 0, 0).y
        const bottom = top + focused.height
        if (top < contentY || bottom > contentY + height)
            contentY = Math.max(0, Math.min(top, contentHeight - height))
    }

    Layout.fillWidth: true
    Layout.fillHeight: true
    Layout.margins: Kirigami.Units.largeSpacing
    contentHeight: column.height
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    activeFocusOnTab: true
    Controls.ScrollBar.vertical: Controls.ScrollBar {}
    Keys.onUpPressed: flick(0, 800)
    Keys.onDownPressed: flick(0, -800)
    ColumnLayout {
        id: column
        width: view.width
        spacing: Kirigami.Units.largeSpacing
    }
}
