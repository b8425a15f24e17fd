// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page of a store without a line of C++: the catalog is fetched, a search as one types, and an
// install with a preview.
// Try it with "qmlscene StorePage.qml".

import QtQuick 2.15
import org.vantrelos.pakmart 1.0

Item {
    id: page

    property alias searchText: search.text
    property alias products: products
    property alias refresh: refresh
    property alias transaction: transaction
    property alias rows: list

    // Works out what installing a product would do.
    function preview(packageName) {
        transaction.packages = [packageName]
        transaction.prepare()
    }

    width: 480
    height: 640

    ProductModel {
        id: products
        text: search.text
    }
    RefreshCatalogJob {
        id: refresh
        title: "Fetch the catalog"
    }
    Transaction {
        id: transaction
        kind: Request.Install
    }

    TextInput {
        id: search
        width: parent.width
        height: 30
        focus: true
    }

    ListView {
        id: list
        anchors { top: search.bottom; left: parent.left; right: parent.right; bottom: plan.top }
        clip: true
        model: products
        delegate: Text {
            id: product
            required property var model
            objectName: "product"
            width: list.width
            elide: Text.ElideRight
            text: model.name + " " + model.version
                  + (model.productState === Product.Installed ? " (installed)" : "")
                  + (model.summary ? ": " + model.summary : "")
            MouseArea {
                anchors.fill: parent
                onClicked: page.preview(product.model.package)
            }
        }
    }
    // Loading, empty and failed have words of their own. The products appear by themselves when
    // the catalog has been fetched.
    Column {
        anchors.centerIn: list
        visible: products.count === 0
        Text {
            text: products.stateText
        }
        Text {
            text: refresh.running ? refresh.percent + " %" : "Fetch the catalog"
            MouseArea {
                anchors.fill: parent
                onClicked: refresh.start()
            }
        }
        Text {
            objectName: "refreshError"
            text: refresh.errorText
        }
    }

    Column {
        id: plan
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        Repeater {
            model: transaction.plan
            Text {
                required property var model
                objectName: "planRow"
                color: model.action === PlanRow.Removed ? "red" : "black"
                text: model.package + " " + model.newVersion + " (" + model.reasonText + ")"
            }
        }
        Text {
            visible: transaction.plan.count > 0
            text: transaction.running ? transaction.percent + " %" : "Install"
            MouseArea {
                anchors.fill: parent
                onClicked: transaction.commit()
            }
        }
        Text {
            visible: transaction.errorText !== ""
            text: transaction.errorText
        }
    }
}
