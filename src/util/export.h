// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Marks what the library shows to its hosts; all else stays inside.

#pragma once

#define VANTRELAGENT_EXPORT __attribute__((visibility("default")))
