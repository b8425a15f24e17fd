// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The first page: the categories, as tiles.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    objectName: "frontPage"
    title: i18n("Browse")

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
            PageHeading {
                Layout.fillWidth: true
                text: i18n("Categories")
            }
            InlineProblem {
                Layout.fillWidth: true
                visible: page.app.offers.failed
                sentence: page.app.offers.errorText
                details: page.app.offers.details
                canClose: false
                onRetried: page.app.offers.refresh()
            }
            GridLayout {
                Layout.fillWidth: true
                columns: Math.max(1, Math.floor(page.width / (Kirigami.Units.gridUnit * 12)))
                Repeater {
                    model: Pakmart.CategoryModel {
                        id: categories
                    }
                    CategoryTile {
                        app: page.app
                        Layout.fillWidth: true
                    }
                }
            }
            Item {
                Layout.fillWidth: true
                Layout.preferredHeight: Kirigami.Units.gridUnit * 8
                visible: categories.stateText !== ""
                EmptyState {
                    app: page.app
                    list: ({ count: categories.stateText === "" ? 1 : 0, state: categories.state, stateText: categories.stateText })
                    offersRefresh: true
                }
            }
        }
    }
}
