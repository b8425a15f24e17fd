// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Colours that mean something, for texts.

.pragma library

// The colours that themes have for removals and warnings are made for areas: as that of a text on
// a light ground they are too pale, so that some of the usual colour is mixed in.
function readable(meaning, text) {
    const share = 0.5
    const mix = (one, other) => one * (1 - share) + other * share
    return Qt.rgba(mix(meaning.r, text.r), mix(meaning.g, text.g), mix(meaning.b, text.b), 1)
}
