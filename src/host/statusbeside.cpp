// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/statusbeside.h"

#include "host/beside.h"
#include "util/paths.h"

namespace Pakmart
{

void ReadStatusBeside(QObject* context, const std::function<void(const SharedStatus&)>& done)
{
    const auto result = std::make_shared<SharedStatus>();
    RunBeside(
        context,
        [result, folder = Agent::SystemPath(std::string("/var/lib/dpkg"))] {
            *result = std::make_shared<const Agent::DpkgStatus>(folder);
        },
        [result, done] { done(*result); });
}

} // namespace Pakmart
