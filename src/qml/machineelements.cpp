// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "machineelements.h"

namespace Pakmart
{

Job* RepairElement::make()
{
    auto* const job = new RepairJob(this);
    job->setAllowRemovals(m_allowRemovals);
    return job;
}

Job* SystemUpdateElement::make()
{
    auto* const job = new SystemUpdateJob(this);
    job->setAllowRemovals(m_allowRemovals);
    return job;
}

} // namespace Pakmart
