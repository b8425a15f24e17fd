// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A product: what it is, what can be done with it, and what is being done.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    required property int serial
    property var product: null
    property string description: ""
    property var needs: []
    readonly property var change: product ? app.changes.all[product.package] || null : null

    // Takes what the catalog and dpkg say now; what was shown before stays if the product has gone.
    function take() {
        const row = found.rowOf(serial)
        if (row < 0)
            return
        product = found.product(row)
        description = found.value(row, "description") || ""
        needs = found.value(row, "needs") || []
    }

    objectName: "productPage"
    title: product ? product.name : i18n("Product")

    Pakmart.ProductModel {
        id: found
        serial: page.serial
        onDataChanged: page.take()
        onRowsInserted: page.take()
        onRowsRemoved: page.take()
        Component.onCompleted: page.take()
    }

    Flickable {
        id: view
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.margins: Kirigami.Units.largeSpacing
        contentHeight: column.height
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        activeFocusOnTab: true
        Controls.ScrollBar.vertical: Controls.ScrollBar {}
        Keys.onUpPressed: flick(0, 800)
        Keys.onDownPressed: flick(0, -800)
        ColumnLayout {
            id: column
            width: view.width
            spacing: Kirigami.Units.largeSpacing
            Controls.Label {
                objectName: "missing"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                visible: page.product === null
                text: found.busy || found.state === Pakmart.ProductModel.Loading ? i18n("Loading") : i18n("The store does not have this product.")
            }
            RowLayout {
                visible: page.product !== null
                spacing: Kirigami.Units.largeSpacing
                ProductIcon {
                    iconName: page.product ? page.product.iconName : ""
                    picture: page.product ? page.product.picture : ""
                    Layout.preferredWidth: Kirigami.Units.iconSizes.large
                    Layout.preferredHeight: Kirigami.Units.iconSizes.large
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    PageHeading {
                        Layout.fillWidth: true
                        padding: 0
                        text: page.title
                    }
                    Controls.Label {
                        objectName: "summary"
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        textFormat: Text.PlainText
                        horizontalAlignment: Text.AlignLeft
                        text: page.product ? page.product.summary : ""
                    }
                }
            }
            Loader {
                Layout.fillWidth: true
                active: page.product !== null
                sourceComponent: ProductButtons {
                    app: page.app
                    product: page.product
                    productState: page.product.state
                    change: page.change
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
            OpenProblem {
                Layout.fillWidth: true
                app: page.app
                serial: page.serial
            }
            Controls.Label {
                objectName: "description"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                textFormat: Text.PlainText
                visible: text !== ""
                horizontalAlignment: Text.AlignLeft
                text: page.description
            }
            ProductFacts {
                Layout.fillWidth: true
                visible: page.product !== null
                product: page.product
                needs: page.needs
            }
        }
    }
}
