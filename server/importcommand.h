// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// `pakmart-storeserver import`: makes a store out of a Debian package index.

#pragma once

// Takes the words after the program's name, "import" first. Returns the exit
// status: 0 made, 1 failed, 2 wrong usage.
int ImportCommand(int argc, char** argv);
