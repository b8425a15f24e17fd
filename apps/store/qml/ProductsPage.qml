// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Products of a category, or what a search finds as one types.

import QtQuick 2.15
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    property string category: ""
    property string text: ""
    property bool isSearch: false

    objectName: "productsPage"
    title: isSearch ? i18n("Search") : i18n("Products")

    PageHeading {
        Layout.fillWidth: true
        text: page.isSearch ? i18n("Results for \"%1\"", page.text) : page.title
    }
    ProductList {
        Layout.fillWidth: true
        Layout.fillHeight: true
        app: page.app
        offersRefresh: true
        model: Pakmart.ProductModel {
            category: page.category
            text: page.text
        }
    }
}
