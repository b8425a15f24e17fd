// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products that can be opened, by their serial numbers, and those that are being opened. What
// could not be opened stays until it is closed or tried again.

import QtQuick 2.15
import org.vantrelos.pakmart 1.0 as Pakmart

QtObject {
    id: openings

    // Programs by serial number.
    property var programs: ({})
    // Jobs by serial number; another object with each change of the set.
    property var all: ({})

    readonly property Pakmart.RecentModel used: Pakmart.RecentModel {
        onRowsInserted: openings.take()
        onRowsRemoved: openings.take()
        onDataChanged: openings.take()
        onModelReset: openings.take()
        Component.onCompleted: openings.take()
    }
    readonly property Component component: Component {
        Pakmart.OpenJob {
            id: job
            onFinished: if (error === 0 || error === Pakmart.Error.Cancelled) openings.drop(job)
        }
    }

    function take() {
        const found = {}
        for (let row = 0; row < used.count; ++row)
            if (used.value(row, "program"))
                found[used.value(row, "serial")] = used.value(row, "program")
        programs = found
    }
    function begin(serial) {
        const job = all[serial] || component.createObject(openings, { serial: serial })
        put(serial, job)
        job.start()
    }
    function drop(job) {
        put(job.serial, null)
        job.destroy()
    }
    function put(serial, job) {
        const others = Object.assign({}, all)
        delete others[serial]
        if (job)
            others[serial] = job
        all = others
    }
}
