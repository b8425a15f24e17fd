// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A change of the past: when, by whom, what, and a way back.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Controls.ItemDelegate {
    id: row

    required property var app
    required property var history
    required property var model
    required property int index
    readonly property string key: "undo " + Number(model.date)
    readonly property var change: app.changes.all[key] || null
    // Kinds of changes with their packages, as far as there are any.
    readonly property var lines: [
        [i18n("Installed"), model.installed], [i18n("Updated"), model.upgraded],
        [i18n("Gone back"), model.downgraded], [i18n("Installed again"), model.reinstalled],
        [i18n("Removed"), model.removed], [i18n("Removed with its settings"), model.purged]
    ].filter(line => line[1] && line[1].length > 0).map(line => i18n("%1: %2", line[0], line[1].join(", ")))

    objectName: "entry"
    text: model.requestedBy ? i18n("%1, by %2", desktop.date(model.date), model.requestedBy) : desktop.date(model.date)
    Accessible.role: Accessible.ListItem
    Accessible.name: [text].concat(lines).join("\n")
    contentItem: ColumnLayout {
        RowLayout {
            Controls.Label {
                Layout.fillWidth: true
                elide: Text.ElideRight
                font.bold: true
                horizontalAlignment: Text.AlignLeft
                text: row.text
            }
            Controls.Button {
                objectName: "undo"
                text: i18n("Undo")
                Accessible.name: i18n("Undo the change of %1", row.text)
                visible: !row.change || row.change.failed
                onClicked: row.app.changes.begin(row.key, i18n("Undo"), { undo: row.history.undoRequest(row.index) })
            }
        }
        Controls.Label {
            objectName: "lines"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
            horizontalAlignment: Text.AlignLeft
            text: row.lines.concat(row.model.error ? [row.model.error] : []).join("\n")
        }
        ChangeProgress {
            Layout.fillWidth: true
            change: row.change
        }
        ChangeProblem {
            Layout.fillWidth: true
            app: row.app
            change: row.change
        }
    }
}
