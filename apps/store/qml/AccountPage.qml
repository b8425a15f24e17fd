// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products of this computer's account that are installed here. The store knows the account, so
// it is asked when the user wants that.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.20 as Kirigami

ListPage {
    id: page

    readonly property var account: app.account
    readonly property string stateText: account.running ? i18n("Asking the store")
        : account.offline ? i18n("The store cannot be reached. It has the list of the account: try again later.")
        : account.failed ? ""
        : !account.known ? i18n("The store keeps a list of the products of this computer's account. Fetch it to see those that are installed here.")
        : account.applications.length > 0 ? i18np("%1 product of the account is installed here.", "%1 products of the account are installed here.", account.applications.length)
        : i18n("The store knows of no product of an account that is installed here. If you have an account, ask the store's support to add this computer to it. All installed products are on the page \"Installed\".")

    objectName: "accountPage"
    title: i18n("My products")

    PageHeading {
        Layout.fillWidth: true
        text: page.title
    }
    ColumnLayout {
        Layout.fillWidth: true
        Layout.leftMargin: Kirigami.Units.largeSpacing
        Layout.rightMargin: Kirigami.Units.largeSpacing
        Controls.Label {
            objectName: "accountText"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignLeft
            visible: text !== ""
            text: page.stateText
        }
        InlineProblem {
            Layout.fillWidth: true
            visible: page.account.failed
            sentence: page.account.job.errorText
            details: page.account.job.details
            canClose: false
            onRetried: page.account.ask()
        }
        Flow {
            Layout.fillWidth: true
            spacing: Kirigami.Units.smallSpacing
            Controls.Button {
                objectName: "sync"
                visible: !page.account.running
                text: i18n("Fetch the list")
                onClicked: page.account.ask()
            }
            Controls.Button {
                objectName: "endSync"
                visible: page.account.running
                enabled: visible && page.account.job.cancellable
                text: i18n("Cancel")
                onClicked: page.account.job.cancel()
            }
        }
    }
    ListView {
        id: list
        Layout.fillWidth: true
        Layout.fillHeight: true
        objectName: "account"
        activeFocusOnTab: true
        clip: true
        Controls.ScrollBar.vertical: Controls.ScrollBar {}
        Accessible.role: Accessible.List
        Accessible.name: page.title
        Keys.onReturnPressed: if (currentItem) currentItem.clicked()
        Keys.onEnterPressed: if (currentItem) currentItem.clicked()
        model: page.account.applications
        delegate: AccountRow {
            app: page.app
            width: ListView.view.width
        }
    }
}
