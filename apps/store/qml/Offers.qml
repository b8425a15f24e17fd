// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog on this computer, and how it is kept up to date: what is there is shown at once. The
// store is asked when the user wants that; if it cannot be reached, it is asked again until it answers.

import QtQuick 2.15
import org.vantrelos.pakmart 1.0 as Pakmart

QtObject {
    id: offers

    // The store was asked, and could not be reached.
    property bool offline: false
    // The store was asked, and what became of that is known.
    property bool asked: false
    property int retryInterval: 60000
    readonly property bool running: job.running
    readonly property string errorText: job.errorText
    readonly property string details: job.details
    readonly property bool cancelled: job.error === Pakmart.Error.Cancelled
    readonly property bool failed: !offline && !cancelled && !job.running && job.error !== 0

    readonly property Pakmart.RefreshCatalogJob job: Pakmart.RefreshCatalogJob {
        onFinished: {
            offers.asked = true
            offers.offline = offers.isUnreachable(error)
            if (error === 0) {
                offers.aisles.start()
                offers.pictures.start()
            }
            desktop.offersChanged()
        }
    }
    // How the store arranges its categories; a store that has no answer has no arrangement.
    readonly property Pakmart.AislesJob aisles: Pakmart.AislesJob {}
    // The products' icons; without them those of the categories are shown.
    readonly property Pakmart.PicturesJob pictures: Pakmart.PicturesJob {}
    readonly property Timer retry: Timer {
        interval: offers.retryInterval
        repeat: true
        running: offers.offline
        onTriggered: offers.refresh()
    }

    function isUnreachable(error) {
        return error === Pakmart.Error.ServerUnreachable || error === Pakmart.Error.TimedOut
    }
    function refresh() {
        job.start()
    }
}
