// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What this program is.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

ListPage {
    id: page

    objectName: "aboutPage"
    title: i18n("About")

    ScrollColumn {
        Image {
            sourceSize: Qt.size(64, 64)
            source: "qrc:/store/icons/org.vantrelos.pakmart-store.svg"
            Accessible.ignored: true
        }
        PageHeading {
            Layout.fillWidth: true
            text: i18n("Software Store")
        }
        Controls.Label {
            objectName: "version"
            text: i18n("Version %1", desktop.version)
        }
        Controls.Label {
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: i18n("Finds, installs, updates and removes the products of the Pakmart store. Before anything is changed, you see what will change.")
        }
        Controls.Label {
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: i18n("Free software under the GNU Lesser General Public License, version 2.1 or later.")
        }
    }
}
