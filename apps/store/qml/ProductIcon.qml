// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The icon of a product or category: the desktop's, or a shape of our own where it has none.

import QtQuick 2.15

Item {
    id: icon

    property string iconName
    readonly property var own: ["development", "education", "games", "graphics", "multimedia", "network", "office", "science", "system", "utilities"]

    function shape() {
        const known = own.filter(one => icon.iconName.indexOf(one) >= 0)
        return "qrc:/store/icons/" + (known.length > 0 ? known[0] : "other") + ".svg"
    }

    Accessible.ignored: true
    Image {
        id: theirs
        anchors.fill: parent
        asynchronous: true
        fillMode: Image.PreserveAspectFit
        sourceSize: Qt.size(width, height)
        source: icon.iconName === "" || width <= 0 || !desktop.hasIcon(icon.iconName) ? "" : "image://pakmart/" + icon.iconName
    }
    Image {
        anchors.fill: parent
        visible: theirs.status !== Image.Ready
        fillMode: Image.PreserveAspectFit
        sourceSize: Qt.size(width, height)
        source: icon.shape()
    }
}
