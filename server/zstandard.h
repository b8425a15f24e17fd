// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compression with zstd.

#pragma once

#include <string>

// The compressed text, the same for the same text.
std::string Zstd(const std::string& text);
