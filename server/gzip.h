// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Packing a reply for clients that unpack it.

#pragma once

#include <string>

// Whether a client that sends this Accept-Encoding takes gzip. Nothing else is
// offered: what packs better takes minutes for a large catalog.
bool AcceptsGzip(const std::string& acceptEncoding);

std::string Gzip(const std::string& text);
