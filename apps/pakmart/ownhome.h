// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whose home this process works in.

#pragma once

// "sudo -E" leaves root the home and the folders of the user: files of root's there would lock
// the user out later. Root gets a home of its own instead, and the program is started again with
// it, since the library reads the home when it is loaded.
void UseOwnHome(char** argv);
