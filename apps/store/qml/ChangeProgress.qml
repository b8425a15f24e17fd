// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How far a change is, where it was asked for.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

ColumnLayout {
    id: progress

    required property var change

    visible: change !== null && change.work.running
    Controls.Label {
        objectName: "step"
        Layout.fillWidth: true
        elide: Text.ElideRight
        textFormat: Text.PlainText
        text: progress.visible ? progress.change.stepText : ""
    }
    Controls.ProgressBar {
        objectName: "progress"
        Layout.fillWidth: true
        to: 100
        value: progress.visible ? progress.change.work.percent : 0
        Accessible.name: progress.visible ? progress.change.stepText : ""
    }
}
