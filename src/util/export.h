// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Marks what the library exports to its hosts; everything else stays internal.

#pragma once

/// In front of the name of a public class or function.
#define VANTRELAGENT_EXPORT __attribute__((visibility("default")))
