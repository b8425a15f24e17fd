#!/bin/bash
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# The texts of the window. tools/make-catalogs runs this, as KDE's translators do.
$XGETTEXT ./*.cpp ./*.h qml/*.qml -o "$podir/pakmart-store.pot"
