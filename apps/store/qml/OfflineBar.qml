// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Says that the store cannot be reached, and of which date the offers are. Everything that is on
// this computer works.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

RowLayout {
    id: bar

    required property var offers

    visible: offers.offline
    Controls.Label {
        objectName: "offlineText"
        Layout.fillWidth: true
        Layout.margins: Kirigami.Units.smallSpacing
        wrapMode: Text.Wrap
        text: desktop.offersDate === "" ? i18n("The store cannot be reached.")
                                        : i18n("The store cannot be reached. The offers are of %1.", desktop.offersDate)
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }
    Controls.Button {
        objectName: "tryAgain"
        text: i18n("Try again")
        enabled: !bar.offers.running
        onClicked: bar.offers.refresh()
    }
}
