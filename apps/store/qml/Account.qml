// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products of the account that are installed here, as the store has said last.

import QtQuick 2.15
import org.vantrelos.pakmart 1.0 as Pakmart

QtObject {
    id: account

    // The store has been asked, and has answered.
    readonly property bool known: asked && job.error === 0
    property bool asked: false
    readonly property bool running: job.running
    readonly property bool offline: job.error === Pakmart.Error.ServerUnreachable || job.error === Pakmart.Error.TimedOut
    readonly property bool failed: !running && !offline && job.error !== 0 && job.error !== Pakmart.Error.Cancelled
    property var applications: []

    readonly property Pakmart.SyncJob job: Pakmart.SyncJob {
        onFinished: {
            account.asked = true
            if (error === 0)
                account.applications = applications
        }
    }

    function ask() {
        job.start()
    }
}
