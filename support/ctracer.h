// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CTracer
/// Trace scopes: what a function of the agent was doing, for whoever debugs it.
///
/// A function opens a scope by making a CTracer on its stack and writes lines
/// through it. Scopes and lines go to one sink of the process. There is none by
/// default, and then a scope costs one test of a pointer. The environment
/// variable PAKMART_TRACE chooses one at the first use: "-" is standard error,
/// anything else the name of a file that is appended to.

#pragma once

#include <functional>
#include <string>

class CTracer
{
public:
    /// What a sink is told: a scope begins or ends (`text` is its name), or a
    /// line was written (`text` is the line, without a line end).
    enum class Event { Enter, Line, Leave };
    /// Where scopes and lines go.
    using Sink = std::function<void(Event event, const std::string& text)>;

    /// Opens the scope `scope` (for example "CAPI::Execute"); the destructor
    /// closes it. `scope` must outlive the object: string literals do.
    explicit CTracer(const char* scope);
    ~CTracer();
    CTracer(const CTracer&) = delete;
    CTracer& operator=(const CTracer&) = delete;

    /// Writes one line, as it stands.
    void trace_out(const std::string& line);

    /// Replaces the sink of the process; an empty function turns tracing off.
    /// Returns the sink that was there. Not for use from several threads.
    static Sink SetSink(Sink sink);

private:
    const char* m_scope;
};
