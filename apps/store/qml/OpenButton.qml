// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Starts a product whose program is known.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import org.kde.kirigami 2.20 as Kirigami

Controls.Button {
    id: button

    required property var app
    required property int serial
    required property string name
    readonly property bool possible: app.openings.programs[serial] !== undefined
    readonly property var job: app.openings.all[serial] || null

    objectName: "open"
    visible: possible
    enabled: possible && !(job && job.running)
    text: i18nc("start an application", "Open")
    icon.name: "media-playback-start"
    Accessible.name: i18nc("start an application", "Open %1", name)
    onClicked: app.openings.begin(serial)
}
