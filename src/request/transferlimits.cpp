// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/transferlimits.h"

#include "support/cconfigfile.h"
#include "util/paths.h"

#include <algorithm>

namespace Agent
{

TransferLimits ReadTransferLimits()
{
    constexpr long day = 24 * 60 * 60;
    constexpr long standardSize = 256L * 1024 * 1024;
    const CConfigFile settings(SettingsFile(), false);
    const long silence = settings.GetLongValue("response timeout", 120);
    const long total = settings.GetLongValue("transfer timeout", 60 * 60);
    const long size = settings.GetLongValue("max reply size", standardSize);
    return { int(std::clamp(silence, 1L, day)), int(std::clamp(total, 1L, day)),
             std::uint64_t(size > 0 ? size : standardSize) };
}

} // namespace Agent
