// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whether the user is told of updates after logging in.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import "colours.js" as Colours

ColumnLayout {
    id: setting

    property bool failed: false

    Controls.CheckBox {
        id: box
        objectName: "notify"
        Layout.fillWidth: true
        text: i18n("Tell me of updates after logging in")
        checked: preferences.notifies
        onToggled: {
            setting.failed = !preferences.setNotifies(checked)
            checked = Qt.binding(() => preferences.notifies)
        }
        // On several lines where there is no room.
        contentItem: Controls.Label {
            readonly property real beside: box.indicator.width + box.spacing
            leftPadding: box.mirrored ? 0 : beside
            rightPadding: box.mirrored ? beside : 0
            text: box.text
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignLeft
            verticalAlignment: Text.AlignVCenter
        }
    }
    Controls.Label {
        objectName: "notifyProblem"
        Layout.fillWidth: true
        visible: setting.failed
        wrapMode: Text.WrapAtWordBoundaryOrAnywhere
        horizontalAlignment: Text.AlignLeft
        textFormat: Text.PlainText
        color: Colours.readable(Kirigami.Theme.negativeTextColor, Kirigami.Theme.textColor)
        text: i18n("The setting could not be written to %1.", preferences.file())
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }
}
