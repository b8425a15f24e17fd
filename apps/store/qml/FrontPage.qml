// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The first page: the aisles of the store if it has any, and all categories, as tiles.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    readonly property int columns: Math.max(1, Math.floor(width / (Kirigami.Units.gridUnit * 12)))
    // Without the margins, and the spaces between the tiles.
    readonly property real tileWidth: Math.floor((width - Kirigami.Units.largeSpacing * 2 - Kirigami.Units.smallSpacing * (columns - 1)) / columns)

    objectName: "frontPage"
    title: i18n("Browse")

    ScrollColumn {
        InlineProblem {
            Layout.fillWidth: true
            visible: page.app.offers.failed
            sentence: page.app.offers.errorText
            details: page.app.offers.details
            canClose: false
            onRetried: page.app.offers.refresh()
        }
        Repeater {
            model: Pakmart.AisleModel {}
            AisleRow {
                app: page.app
                tileWidth: page.tileWidth
                Layout.fillWidth: true
            }
        }
        PageHeading {
            Layout.fillWidth: true
            text: i18n("Categories")
        }
        GridLayout {
            Layout.fillWidth: true
            columns: page.columns
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
