// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks the store what it offers now, and says what came of it.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ColumnLayout {
    id: check

    required property var app
    readonly property var offers: app.offers
    readonly property string outcome: offers.running ? i18n("Looking for updates")
        : offers.offline ? i18n("The store could not be reached.")
        : offers.failed ? ""
        : !offers.asked || offers.cancelled ? dateText()
        : offers.job.unchanged ? i18n("The offers have not changed.")
        : i18n("The offers have changed: %1 new, %2 changed, %3 gone.", offers.job.addedCount, offers.job.changedCount, offers.job.goneCount)

    function dateText() {
        return desktop.offersDate === "" ? i18n("The offers have not been fetched yet.")
                                         : i18n("The offers are of %1.", desktop.offersDate)
    }

    spacing: Kirigami.Units.smallSpacing
    Pakmart.ProductModel {
        id: updates
        show: Pakmart.ProductModel.Upgradable
    }
    Controls.Label {
        objectName: "outcome"
        Layout.fillWidth: true
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignLeft
        visible: text !== ""
        text: check.outcome
    }
    Controls.ProgressBar {
        objectName: "checkProgress"
        Layout.fillWidth: true
        visible: check.offers.running
        to: 100
        value: check.offers.job.percent
        Accessible.name: check.outcome
    }
    InlineProblem {
        Layout.fillWidth: true
        visible: check.offers.failed
        sentence: check.offers.errorText
        details: check.offers.details
        canClose: false
        onRetried: check.offers.refresh()
    }
    Controls.Label {
        objectName: "updatable"
        Layout.fillWidth: true
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignLeft
        visible: desktop.offersDate !== "" && updates.state !== Pakmart.ProductModel.Loading
        text: updates.count === 0 ? i18n("Everything is up to date.")
                                  : i18np("%1 product can be updated.", "%1 products can be updated.", updates.count)
    }
    Flow {
        Layout.fillWidth: true
        spacing: Kirigami.Units.smallSpacing
        Controls.Button {
            objectName: "checkNow"
            visible: !check.offers.running
            text: i18n("Check for updates now")
            onClicked: check.offers.refresh()
        }
        Controls.Button {
            objectName: "endCheck"
            visible: check.offers.running
            enabled: visible && check.offers.job.cancellable
            text: i18n("Cancel")
            onClicked: check.offers.job.cancel()
        }
        Controls.Button {
            objectName: "showUpdates"
            visible: updates.count > 0
            text: i18n("Show the updates")
            onClicked: check.app.go("updates", "")
        }
    }
}
