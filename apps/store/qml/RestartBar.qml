// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Says that updates take effect only after a restart of the computer, and which ones.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart
import "colours.js" as Colours

Controls.Label {
    objectName: "restartHint"
    visible: hint.needed
    wrapMode: Text.Wrap
    horizontalAlignment: Text.AlignLeft
    textFormat: Text.PlainText
    color: Colours.readable(Kirigami.Theme.neutralTextColor, Kirigami.Theme.textColor)
    text: hint.packages.length === 0 ? i18n("Restart the computer to finish its updates.")
                                     : i18n("Restart the computer to finish the updates of: %1", hint.packages.join(", "))
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    Pakmart.RestartHint {
        id: hint
    }
}
