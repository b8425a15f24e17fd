// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the shells offer when a user presses Tab. Their scripts in apps/pakmart/completion ask
// for it with the hidden command "pakmart --complete WORD...".

#pragma once

#include <QStringList>

// The lines "CANDIDATE<tab>SUMMARY" for the last one of the words after the program's name,
// which may be empty. Both come from the store in part: they are printable and on one line,
// but the shell has to quote the candidates.
QString Completions(const QStringList& words);
