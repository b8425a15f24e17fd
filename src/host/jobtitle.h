// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The titles of jobs that change packages, as a list of jobs shows them.

#pragma once

#include "host/plan.h"

namespace Pakmart
{

// "Install app": names products if they are known, and otherwise the packages of the request, the
// first few of them.
QString TitleOf(const Request& request, const QList<PlanProduct>& products = {});
// The same for a job that only makes the plan.
QString TitleOfPreview(const Request& request, const QList<PlanProduct>& products = {});

} // namespace Pakmart
