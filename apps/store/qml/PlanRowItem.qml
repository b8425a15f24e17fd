// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One package of a plan: what happens to it, and why.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart
import "colours.js" as Colours

Controls.ItemDelegate {
    id: row

    required property var model
    readonly property bool goes: model.action === Pakmart.PlanRow.Removed
    readonly property string actionText: goes ? i18n("is removed")
        : model.action === Pakmart.PlanRow.Installed ? i18n("%1 is installed", model.newVersion)
        : model.action === Pakmart.PlanRow.Upgraded ? i18n("is updated from %1 to %2", model.oldVersion, model.newVersion)
        : model.action === Pakmart.PlanRow.Downgraded ? i18n("goes back from %1 to %2", model.oldVersion, model.newVersion)
        : model.action === Pakmart.PlanRow.Reinstalled ? i18n("%1 is installed again", model.newVersion)
        : model.action === Pakmart.PlanRow.Configured ? i18n("%1 is set up", model.newVersion) : i18n("is changed")

    objectName: "planRow"
    text: i18n("%1 %2 (%3)", model.package, actionText, model.reasonText)
    Accessible.role: Accessible.ListItem
    Accessible.name: text
    contentItem: Controls.Label {
        objectName: "planText"
        horizontalAlignment: Text.AlignLeft
        text: row.text
        wrapMode: Text.Wrap
        color: row.goes ? Colours.readable(Kirigami.Theme.negativeTextColor, Kirigami.Theme.textColor) : Kirigami.Theme.textColor
    }
}
