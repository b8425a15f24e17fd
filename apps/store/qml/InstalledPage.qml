// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products that are installed. All of them can be removed here, also without the store.

import QtQuick 2.15
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    objectName: "installedPage"
    title: i18n("Installed")

    PageHeading {
        Layout.fillWidth: true
        text: page.title
    }
    ProductList {
        Layout.fillWidth: true
        Layout.fillHeight: true
        app: page.app
        emptyText: i18n("No product of the store is installed.")
        model: Pakmart.InstalledModel {}
    }
}
