// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One change of packages: prepared, shown, agreed to or declined, and carried out.

import QtQuick 2.15
import org.vantrelos.pakmart 1.0 as Pakmart

QtObject {
    id: change

    required property string key
    // Of the product, or what else it is about, for the user.
    required property string name
    required property var request
    property bool asking: false
    property bool failed: false
    readonly property bool removes: request.kind === Pakmart.Request.Remove
    readonly property bool repairable: failed && [Pakmart.Error.ScriptFailed, Pakmart.Error.ToolsFailed, Pakmart.Error.OutcomeDiffers].indexOf(work.error) >= 0

    // For the user, while it runs.
    readonly property string stepText: work.waitingFor !== "" ? i18n("Waiting for %1", work.waitingFor)
        : work.phase === Pakmart.Job.Preparing ? i18n("Preparing")
        : work.phase === Pakmart.Job.Downloading ? i18n("Downloading %1", work.package)
        : work.phase === Pakmart.Job.Applying ? (removes ? i18n("Removing %1", work.package) : i18n("Installing %1", work.package))
        : work.phase === Pakmart.Job.Checking ? i18n("Checking") : i18n("Waiting")

    readonly property Pakmart.Transaction work: Pakmart.Transaction {
        onPrepared: change.show()
        onFinished: change.finish()
    }

    signal asked(var change)
    signal answered(var change)
    signal ended(var change)

    function prepare() {
        failed = false
        if (request.undo !== undefined) {
            work.prepareRequest(request.undo)
            return
        }
        work.kind = request.kind
        work.packages = request.packages || []
        work.products = request.products || []
        work.prepare()
    }
    function show() {
        if (work.error !== 0)
            finish()
        else if (work.plan.count === 0)
            ended(change) // what is wanted is so already
        else {
            asking = true
            asked(change)
        }
    }
    function agree(toRemovals) {
        asking = false
        work.allowRemovals = toRemovals
        work.commit()
        answered(change)
    }
    function decline() {
        asking = false
        answered(change)
        ended(change)
    }
    // A failure stays until it is closed or tried again. What the user has ended is none.
    function finish() {
        if (work.error === 0 || work.error === Pakmart.Error.Cancelled)
            ended(change)
        else
            failed = true
    }
}
