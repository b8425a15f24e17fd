// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a change would do, before anything is done. What goes has a colour of its own, and what goes
// without having been asked for needs a yes of its own.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart
import "colours.js" as Colours

ListPage {
    id: page

    required property var change
    readonly property var plan: change ? change.work.plan : null
    readonly property var others: plan ? plan.otherRemovals : []

    function decline() {
        change.decline()
    }

    objectName: "preview"
    title: change ? change.name : ""

    ColumnLayout {
        Layout.fillWidth: true
        Kirigami.Heading {
            objectName: "previewTitle"
            Layout.fillWidth: true
            Layout.margins: Kirigami.Units.largeSpacing
            wrapMode: Text.Wrap
            text: page.change && page.change.removes ? i18n("Remove %1?", page.title) : i18n("%1: this will be changed", page.title)
        }
        Controls.Label {
            objectName: "sizes"
            Layout.fillWidth: true
            Layout.leftMargin: Kirigami.Units.largeSpacing
            wrapMode: Text.Wrap
            text: !page.plan ? "" : page.plan.diskSize >= 0
                ? i18n("%1 to download, %2 more on the disk", desktop.size(page.plan.downloadSize), desktop.size(page.plan.diskSize))
                : i18n("%1 to download, %2 less on the disk", desktop.size(page.plan.downloadSize), desktop.size(-page.plan.diskSize))
        }
        Repeater {
            model: page.plan ? page.plan.problems : []
            Controls.Label {
                required property string modelData
                Layout.fillWidth: true
                Layout.leftMargin: Kirigami.Units.largeSpacing
                wrapMode: Text.Wrap
                color: Colours.readable(Kirigami.Theme.neutralTextColor, Kirigami.Theme.textColor)
                horizontalAlignment: Text.AlignLeft
                text: modelData
            }
        }
    }

    ListView {
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        Controls.ScrollBar.vertical: Controls.ScrollBar {}
        objectName: "planRows"
        model: page.plan
        activeFocusOnTab: true
        Accessible.role: Accessible.List
        Accessible.name: i18n("Packages that change")
        delegate: PlanRowItem {
            width: ListView.view.width
        }
    }

    ColumnLayout {
        Layout.fillWidth: true
        Controls.CheckBox {
            id: consent
            objectName: "consent"
            Layout.fillWidth: true
            Layout.margins: Kirigami.Units.smallSpacing
            visible: page.others.length > 0
            text: i18n("Also remove: %1", page.others.join(", "))
            contentItem: Controls.Label {
                leftPadding: consent.indicator.width + consent.spacing
                text: consent.text
                wrapMode: Text.Wrap
                color: Colours.readable(Kirigami.Theme.negativeTextColor, Kirigami.Theme.textColor)
                verticalAlignment: Text.AlignVCenter
            }
        }
        Flow {
            Layout.fillWidth: true
            Layout.margins: Kirigami.Units.largeSpacing
            spacing: Kirigami.Units.smallSpacing
            Controls.Button {
                objectName: "agree"
                focus: true
                enabled: page.plan !== null && page.plan.possible && (page.others.length === 0 || consent.checked)
                text: page.change && page.change.removes ? i18n("Remove") : i18n("Apply")
                onClicked: page.change.agree(consent.checked)
            }
            Controls.Button {
                objectName: "decline"
                text: i18n("Do nothing")
                onClicked: page.decline()
            }
        }
    }
}
