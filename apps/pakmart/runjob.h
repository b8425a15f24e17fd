// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs a job of the library to its end, and shows what it does.

#pragma once

#include <functional>

namespace Pakmart
{
class Job;
}
class Console;

// The exit status: ExitDone, ExitFailed or ExitInterrupted. A failure has been reported then.
// An interruption cancels the job as soon as that is possible.
// `isExpected`: the failure is one that the caller wants, and is not reported.
int RunJob(Console& console, Pakmart::Job& job, const std::function<bool()>& isExpected = nullptr);
