// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Why a change has failed, with the ways on.

import QtQuick 2.15
import org.vantrelos.pakmart 1.0 as Pakmart

InlineProblem {
    id: problem

    required property var app
    required property var change

    visible: change !== null && change.failed
    sentence: visible ? change.work.errorText : ""
    details: visible ? change.work.details : ""
    canRepair: visible && change.repairable
    onRetried: change.prepare()
    onClosed: app.changes.drop(change)
    onRepairWanted: app.changes.begin(change.key, i18n("Repair"), { kind: Pakmart.Request.Repair })
}
