#!/bin/bash
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# The texts of the library, which have the context "Pakmart" of Qt. tools/make-catalogs runs
# this.
$XGETTEXT -kQT_TRANSLATE_NOOP:2 -ktranslate:2 -kTr:1 -kTranslated:1 ./*.cpp models/*.cpp ../catalog/*.cpp ../install/*.cpp ../request/*.cpp worker/*.cpp \
    -o "$podir/libvantrelagent.pot"
