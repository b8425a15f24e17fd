// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// dpkg's status, read without blocking the event loop: on a machine with some thousand
// packages that takes longer than a frame on the screen.

#pragma once

#include "base/dpkgstatus.h"

#include <functional>
#include <memory>

class QObject;

namespace Pakmart
{

using SharedStatus = std::shared_ptr<const Agent::DpkgStatus>;

// Calls `done` from the event loop, unless `context` is gone by then.
void ReadStatusBeside(QObject* context, const std::function<void(const SharedStatus&)>& done);

} // namespace Pakmart
