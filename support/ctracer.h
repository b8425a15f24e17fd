// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CTracer
/// Trace scopes, for debugging: they show what the functions of the agent do.
///
/// A function opens a scope by making a CTracer on its stack and writes lines
/// through it. Scopes and lines go to one sink per process. By default there is none,
/// and a scope then costs one test of a pointer. The environment variable
/// PAKMART_TRACE chooses a sink at the first use: "-" is standard error, anything else
/// the name of a file to append to.

#pragma once

#include <functional>
#include <string>

class CTracer
{
public:
    /// The events of a sink: a scope begins or ends (`text` is its name), or a
    /// line was written (`text` is the line, without a line end).
    enum class Event { Enter, Line, Leave };
    /// Receives scopes and lines.
    using Sink = std::function<void(Event event, const std::string& text)>;

    /// Opens the scope `scope` (for example "CAPI::Execute"); the destructor
    /// closes it. `scope` must outlive the object: string literals do.
    explicit CTracer(const char* scope);
    ~CTracer();
    CTracer(const CTracer&) = delete;
    CTracer& operator=(const CTracer&) = delete;

    /// Writes one line, unchanged.
    void trace_out(const std::string& line);

    /// Replaces the sink of the process; an empty function turns tracing off.
    /// Returns the previous sink. Not for use from several threads.
    static Sink SetSink(Sink sink);

private:
    const char* m_scope;
};
