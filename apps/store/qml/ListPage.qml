// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page: its heading and its parts, below each other.

import QtQuick 2.15
import QtQuick.Layouts 1.15

ColumnLayout {
    required property var app
    property string title

    spacing: 0
    Accessible.role: Accessible.Pane
    Accessible.name: title
}
