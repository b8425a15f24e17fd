// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which store is asked and when, and what is kept on this computer.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

ListPage {
    id: page

    readonly property var places: desktop.places()
    readonly property var kept: [
        [i18n("Catalog, for all users"), places.catalog],
        [i18n("Package lists"), places.packageLists],
        [i18n("Recently used applications"), places.recentlyUsed],
        [i18n("Pictures, a copy of the store's"), places.pictures],
        [i18n("Settings of this window"), preferences.file()]
    ]

    objectName: "settingsPage"
    title: i18n("Settings")

    PageHeading {
        Layout.fillWidth: true
        text: page.title
    }
    ScrollColumn {
        SettingsPart {
            title: i18n("Store")
            Controls.Label {
                objectName: "storeAddress"
                Layout.fillWidth: true
                wrapMode: Text.WrapAnywhere
                horizontalAlignment: Text.AlignLeft
                textFormat: Text.PlainText
                text: i18n("Address: %1", page.places.address)
            }
            Controls.Label {
                objectName: "storeAddressFile"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignLeft
                textFormat: Text.PlainText
                text: page.places.addressFile === "" ? i18n("This address is built in: no settings file names another one.")
                                                     : i18n("This address is read from %1.", page.places.addressFile)
            }
            Controls.Label {
                objectName: "proxies"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignLeft
                text: i18n("Proxy servers are not set here: they are those of the system's settings and, for packages, those of apt.")
            }
        }
        SettingsPart {
            title: i18n("Updates")
            OffersCheck {
                app: page.app
                Layout.fillWidth: true
            }
            NotificationSwitch {
                Layout.fillWidth: true
            }
        }
        SettingsPart {
            title: i18n("Kept on this computer")
            Repeater {
                model: page.kept
                Controls.Label {
                    required property var modelData
                    objectName: "kept"
                    Layout.fillWidth: true
                    wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                    horizontalAlignment: Text.AlignLeft
                    textFormat: Text.PlainText
                    text: i18n("%1: %2", modelData[0], modelData[1])
                }
            }
        }
    }
}
