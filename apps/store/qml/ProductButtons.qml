// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What can be done with a product in the state that it has. While something is done, it can be
// cancelled here.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

Flow {
    id: buttons

    required property var app
    // Has package, name and serial.
    required property var product
    required property int productState
    required property var change
    // In lists, only the first thing to do, and Open where there is room.
    property bool compact: false
    readonly property bool busy: change !== null && !change.failed
    readonly property bool there: productState === Pakmart.Product.Installed || productState === Pakmart.Product.Upgradable || productState === Pakmart.Product.Broken

    function begin(kind) {
        // What is on this computer is removed without asking the store.
        app.changes.begin(product.package, product.name,
                          kind === Pakmart.Request.Install ? { kind: kind, products: [product.serial] }
                                                           : { kind: kind, packages: [product.package] })
    }

    spacing: Kirigami.Units.smallSpacing
    Controls.Button {
        objectName: "install"
        visible: !buttons.busy && buttons.productState === Pakmart.Product.NotInstalled
        text: i18n("Install")
        icon.name: "download"
        Accessible.name: i18n("Install %1", buttons.product.name)
        onClicked: buttons.begin(Pakmart.Request.Install)
    }
    OpenButton {
        app: buttons.app
        serial: buttons.product.serial
        name: buttons.product.name
        visible: possible && !buttons.busy && buttons.there && (!buttons.compact || buttons.app.wide)
    }
    Controls.Button {
        objectName: "update"
        visible: !buttons.busy && buttons.productState === Pakmart.Product.Upgradable
        text: i18n("Update")
        icon.name: "update-none"
        Accessible.name: i18n("Update %1", buttons.product.name)
        onClicked: buttons.begin(Pakmart.Request.Install)
    }
    Controls.Button {
        objectName: "repair"
        visible: !buttons.busy && buttons.productState === Pakmart.Product.Broken
        text: i18n("Repair")
        icon.name: "tools"
        Accessible.name: i18n("Repair %1", buttons.product.name)
        onClicked: buttons.begin(Pakmart.Request.Repair)
    }
    Controls.Button {
        objectName: "remove"
        visible: !buttons.busy && buttons.there && (!buttons.compact || buttons.productState === Pakmart.Product.Installed)
        text: i18n("Remove")
        icon.name: "edit-delete"
        Accessible.name: i18n("Remove %1", buttons.product.name)
        onClicked: buttons.begin(Pakmart.Request.Remove)
    }
    Controls.Button {
        objectName: "cancel"
        visible: buttons.busy
        enabled: visible && buttons.change.work.running && buttons.change.work.cancellable
        text: i18n("Cancel")
        icon.name: "dialog-cancel"
        Accessible.name: i18n("Cancel: %1", buttons.product.name)
        onClicked: buttons.change.work.cancel()
    }
}
