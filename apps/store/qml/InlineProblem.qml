// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An error where it happened: its sentence, its details on demand, and ways on. It can be copied.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

Controls.Frame {
    id: problem

    property string sentence
    property string details
    property bool canRetry: true
    property bool canRepair: false
    property bool canClose: true
    property bool showsDetails: false

    signal retried()
    signal closed()
    signal repairWanted()

    objectName: "problem"
    Accessible.role: Accessible.AlertMessage
    Accessible.name: sentence
    background: Rectangle {
        color: Kirigami.Theme.negativeBackgroundColor
        border.color: Kirigami.Theme.negativeTextColor
        radius: Kirigami.Units.smallSpacing
    }
    contentItem: ColumnLayout {
        Controls.Label {
            objectName: "problemText"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
            text: problem.sentence
        }
        Flow {
            Layout.fillWidth: true
            spacing: Kirigami.Units.smallSpacing
            Controls.Button {
                objectName: "retry"
                visible: problem.canRetry
                text: i18n("Try again")
                onClicked: problem.retried()
            }
            Controls.Button {
                objectName: "repairAll"
                visible: problem.canRepair
                text: i18n("Repair")
                onClicked: problem.repairWanted()
            }
            Controls.Button {
                objectName: "details"
                visible: problem.details !== ""
                checkable: true
                checked: problem.showsDetails
                text: i18n("Details")
                onClicked: problem.showsDetails = !problem.showsDetails
            }
            Controls.Button {
                objectName: "copy"
                text: i18n("Copy")
                onClicked: desktop.copy(problem.sentence + (problem.details === "" ? "" : "\n" + problem.details))
            }
            Controls.Button {
                objectName: "close"
                visible: problem.canClose
                text: i18n("Close")
                onClicked: problem.closed()
            }
        }
        // Below the buttons, since it may be long.
        Controls.TextArea {
            objectName: "problemDetails"
            Layout.fillWidth: true
            visible: problem.showsDetails
            readOnly: true
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
            text: problem.details
            Accessible.name: i18n("Details")
        }
    }
}
