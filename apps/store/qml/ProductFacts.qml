// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the store says about a product, as far as it says it.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

ColumnLayout {
    id: facts

    required property var product
    property var needs: []
    readonly property var rows: !product ? [] : [
        [i18n("Version"), product.version],
        [i18n("Installed version"), product.installedVersion],
        [i18n("Category"), product.category],
        [i18n("Download"), product.size > 0 ? desktop.size(product.size) : ""],
        [i18n("Maker"), product.vendor],
        [i18n("Price"), product.price],
        [i18n("Released"), product.released],
        [i18n("Rating"), product.reviewScore],
        [i18n("Downloads"), product.downloads > 0 ? String(product.downloads) : ""],
        [i18n("Package"), product.package],
        [i18n("Needs"), needs.join(", ")]
    ].filter(row => row[1])

    spacing: Kirigami.Units.smallSpacing
    Repeater {
        model: facts.rows
        Controls.Label {
            required property var modelData
            objectName: "fact"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
            text: i18n("%1: %2", modelData[0], modelData[1])
        }
    }
}
