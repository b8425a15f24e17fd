// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The shared library consists of the objects of vantrelagent-static; CMake
// wants a source of its own for it.
