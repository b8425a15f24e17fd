// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Why a product could not be opened, with the ways on.

import QtQuick 2.15

InlineProblem {
    id: problem

    required property var app
    required property int serial
    readonly property var job: app.openings.all[serial] || null

    objectName: "openProblem"
    visible: job !== null && !job.running && job.error !== 0
    sentence: visible ? job.errorText : ""
    details: visible ? job.details : ""
    onRetried: app.openings.begin(serial)
    onClosed: app.openings.drop(job)
}
