// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The limits that the settings set for the store server, read together since each
// reading opens the settings file.

#pragma once

#include <cstdint>

namespace Agent
{

struct TransferLimits {
    int silence; // seconds without data: "response timeout", 1 to 86400, 120 unless set
    int total; // seconds in all: "transfer timeout", 1 to 86400, an hour unless set
    std::uint64_t size; // bytes of a reply: "max reply size", 256 MB where not positive
};

TransferLimits ReadTransferLimits();

} // namespace Agent
