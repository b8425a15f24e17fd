// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The icon of a product or category: its own picture as soon as that is there, until then the
// desktop's icon, or a shape of our own where it has none.

import QtQuick 2.15

Item {
    id: icon

    property string iconName
    property string picture
    readonly property var shapes: ["development", "education", "games", "graphics", "multimedia", "network", "office", "science", "system", "utilities"]

    function shape() {
        const known = shapes.filter(one => icon.iconName.indexOf(one) >= 0)
        return "qrc:/store/icons/" + (known.length > 0 ? known[0] : "other") + ".svg"
    }

    Accessible.ignored: true
    Image {
        id: own
        objectName: "ownPicture"
        anchors.fill: parent
        asynchronous: true
        fillMode: Image.PreserveAspectFit
        sourceSize: Qt.size(width, height)
        source: icon.picture === "" || width <= 0 ? "" : "image://pakmart/" + icon.picture
    }
    Image {
        id: theirs
        anchors.fill: parent
        visible: own.status !== Image.Ready
        asynchronous: true
        fillMode: Image.PreserveAspectFit
        sourceSize: Qt.size(width, height)
        source: icon.iconName === "" || width <= 0 || !desktop.hasIcon(icon.iconName) ? "" : "image://pakmart/" + icon.iconName
    }
    Image {
        anchors.fill: parent
        visible: own.status !== Image.Ready && theirs.status !== Image.Ready
        fillMode: Image.PreserveAspectFit
        sourceSize: Qt.size(width, height)
        source: icon.shape()
    }
}
