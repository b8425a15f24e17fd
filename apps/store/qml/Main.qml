// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The window: header with the search, the pages, the bar that leads to them, and what they share.

import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import org.kde.kirigami 2.20 as Kirigami
import org.vantrelos.pakmart 1.0 as Pakmart

Kirigami.AbstractApplicationWindow {
    id: app

    readonly property Changes changes: Changes {
        onAsked: (change) => app.push("PreviewPage.qml", { change: change })
        onAnswered: (change) => app.closePreview(change)
    }
    readonly property Offers offers: Offers {}
    readonly property Account account: Account {}
    readonly property Openings openings: Openings {}
    readonly property alias stack: pages
    readonly property bool wide: width >= Kirigami.Units.gridUnit * 45
    // The page of the side bar that was chosen last.
    property string place: ""
    // In a narrow window, the side bar takes the place of the page.
    property bool menuOpen: false

    // Shows a page instead of all others.
    function go(page, value) {
        changes.declineAll()
        menuOpen = false
        place = page
        bar.clear()
        while (pages.depth > 0)
            drop()
        if (["front", "search", "product", "category"].indexOf(page) < 0) {
            push(page.charAt(0).toUpperCase() + page.slice(1) + "Page.qml", {})
            return
        }
        push("FrontPage.qml", {})
        if (page === "search")
            bar.search(value)
        else if (page === "product")
            push("ProductPage.qml", { serial: parseInt(value) })
        else if (page === "category")
            push("ProductsPage.qml", { title: value, category: value })
    }
    function push(file, values) {
        values.app = app
        const component = Qt.createComponent(Qt.resolvedUrl(file))
        const page = component.createObject(app.contentItem, values)
        if (!page)
            console.warn(component.errorString())
        pages.push(page)
        return page
    }
    // Removes the page in front.
    function drop() {
        const page = pages.currentItem
        if (pages.depth > 1)
            pages.pop()
        else
            pages.clear()
        page.destroy()
    }
    function back() {
        const page = pages.currentItem
        if (menuOpen)
            menuOpen = false
        else if (page && page.change && page.change.asking)
            page.decline()
        else if (pages.depth > 1)
            drop()
    }
    // What is typed is searched for at once, on one page.
    function search(text) {
        const page = pages.currentItem
        if (page && page.isSearch === true)
            page.text = text
        else if (text !== "")
            push("ProductsPage.qml", { isSearch: true, text: text })
    }
    function closePreview(change) {
        const page = pages.currentItem
        if (page && page.objectName === "preview" && page.change === change)
            drop()
    }

    objectName: "store"
    title: i18n("Software Store")
    width: 1000
    height: 720
    minimumWidth: 360
    minimumHeight: 294
    visible: true
    color: Kirigami.Theme.backgroundColor
    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true
    header: HeaderBar {
        id: bar
        app: app
    }

    Rectangle {
        anchors.fill: parent
        color: Kirigami.Theme.backgroundColor
    }
    SideBar {
        id: side
        anchors { left: parent.left; top: parent.top; bottom: parent.bottom }
        width: app.wide ? Math.min(implicitWidth, parent.width / 3) : parent.width
        visible: app.wide || app.menuOpen
        app: app
    }
    Controls.StackView {
        id: pages
        anchors { left: app.wide ? side.right : parent.left; right: parent.right; top: parent.top; bottom: parent.bottom }
        visible: app.wide || !app.menuOpen
        clip: true
        pushEnter: null
        pushExit: null
        popEnter: null
        popExit: null
    }

    Shortcut {
        sequences: [StandardKey.Back, "Escape"]
        onActivated: app.back()
    }
    Shortcut {
        sequences: [StandardKey.Find]
        onActivated: bar.focusSearch()
    }
    Shortcut {
        sequences: [StandardKey.Refresh]
        onActivated: app.offers.refresh()
    }
    Shortcut {
        sequences: [StandardKey.Quit]
        onActivated: app.close()
    }
}
