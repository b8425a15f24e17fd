// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The changes of packages that this window has begun, by what they are about: a package, or "updates".

import QtQuick 2.15

QtObject {
    id: changes

    // Change objects by key; another object with each change of the set.
    property var all: ({})

    // A preview is ready, and wants an answer.
    signal asked(var change)
    // It has got one.
    signal answered(var change)

    readonly property Component component: Component {
        Change {
            onAsked: (change) => changes.asked(change)
            onAnswered: (change) => changes.answered(change)
            onEnded: (change) => changes.drop(change)
        }
    }

    function of(key) {
        return all[key] || null
    }
    // Begins with a preview. `request` has the properties of a Transaction: kind, packages, products.
    function begin(key, name, request) {
        const before = of(key)
        if (before && !before.failed)
            return before
        if (before)
            drop(before)
        const change = component.createObject(changes, { key: key, name: name, request: request })
        put(key, change)
        change.prepare()
        return change
    }
    // What is not answered yet is left undone.
    function declineAll() {
        for (const key of Object.keys(all))
            if (all[key].asking)
                all[key].decline()
    }
    function drop(change) {
        if (of(change.key) === change)
            put(change.key, null)
        change.destroy()
    }
    function put(key, change) {
        const others = Object.assign({}, all)
        delete others[key]
        if (change)
            others[key] = change
        all = others
    }
}
