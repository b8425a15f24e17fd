// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products of which the store has a newer version, to be updated one by one or all at once.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    readonly property var change: app.changes.all["updates"] || null

    // All products that are shown, in one change with one preview.
    function updateAll() {
        const serials = []
        for (let row = 0; row < products.count; ++row)
            serials.push(products.value(row, "serial"))
        app.changes.begin("updates", i18n("Update all"), { kind: Pakmart.Request.Install, products: serials })
    }

    objectName: "updatesPage"
    title: i18n("Updates")

    ColumnLayout {
        Layout.fillWidth: true
        PageHeading {
            Layout.fillWidth: true
            text: page.title
        }
        Controls.Label {
            objectName: "offersDate"
            Layout.leftMargin: Kirigami.Units.largeSpacing
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: page.app.offers.running ? i18n("Looking for updates")
                : desktop.offersDate === "" ? i18n("The offers have not been fetched yet.") : i18n("The offers are of %1.", desktop.offersDate)
        }
        RestartBar {
            Layout.fillWidth: true
            Layout.leftMargin: Kirigami.Units.largeSpacing
        }
        Flow {
            Layout.fillWidth: true
            Layout.leftMargin: Kirigami.Units.largeSpacing
            spacing: Kirigami.Units.smallSpacing
            Controls.Button {
                objectName: "updateAll"
                visible: products.count > 0 && !(page.change && !page.change.failed)
                text: i18n("Update all")
                onClicked: page.updateAll()
            }
            Controls.Button {
                objectName: "cancelAll"
                visible: page.change !== null && page.change.work.running
                enabled: visible && page.change.work.cancellable
                text: i18n("Cancel")
                onClicked: page.change.work.cancel()
            }
            Controls.Button {
                objectName: "look"
                enabled: !page.app.offers.running
                text: i18n("Look for updates")
                onClicked: page.app.offers.refresh()
            }
        }
        ChangeProgress {
            Layout.fillWidth: true
            change: page.change
        }
        ChangeProblem {
            Layout.fillWidth: true
            app: page.app
            change: page.change
        }
    }
    ProductList {
        Layout.fillWidth: true
        Layout.fillHeight: true
        app: page.app
        emptyText: i18n("Everything is up to date.")
        model: Pakmart.ProductModel {
            id: products
            show: Pakmart.ProductModel.Upgradable
        }
    }
}
