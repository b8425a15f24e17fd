// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Words in place of rows: a list is loading, empty, or cannot be read.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

Column {
    id: empty

    required property var app
    required property var list
    // What there is to say if nothing is there, where the list's own words are not enough.
    property string emptyText: ""
    property bool offersRefresh: false

    visible: list.count === 0
    spacing: Kirigami.Units.smallSpacing
    anchors.centerIn: parent
    width: Math.max(0, parent.width - Kirigami.Units.gridUnit * 2)
    Controls.Label {
        objectName: "stateText"
        width: parent.width
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        text: empty.list.state === 1 && empty.emptyText !== "" ? empty.emptyText : empty.list.stateText
    }
    Controls.Button {
        objectName: "fetch"
        anchors.horizontalCenter: parent.horizontalCenter
        visible: empty.offersRefresh && desktop.offersDate === ""
        enabled: !empty.app.offers.running
        text: empty.app.offers.running ? i18n("Fetching the offers") : i18n("Fetch the offers")
        onClicked: empty.app.offers.refresh()
    }
}
