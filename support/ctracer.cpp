// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "support/ctracer.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace
{

const char* Mark(CTracer::Event event)
{
    switch (event) {
    case CTracer::Event::Enter:
        return "> ";
    case CTracer::Event::Leave:
        return "< ";
    case CTracer::Event::Line:
        break;
    }
    return "  ";
}

CTracer::Sink WriteTo(std::FILE* stream)
{
    return [stream](CTracer::Event event, const std::string& text) {
        std::fprintf(stream, "%s%s\n", Mark(event), text.c_str());
        std::fflush(stream);
    };
}

// The sink that the environment names; empty without one, and for a file that cannot be
// opened: tracing never stops a program.
CTracer::Sink SinkFromEnvironment()
{
    const char* target = secure_getenv("PAKMART_TRACE");
    if (!target || !*target)
        return {};
    if (std::string(target) == "-")
        return WriteTo(stderr);
    // The stream stays open as long as the process.
    std::FILE* stream = std::fopen(target, "ae");
    return stream ? WriteTo(stream) : CTracer::Sink();
}

CTracer::Sink& TheSink()
{
    // Never destroyed: objects that trace may outlive this unit's statics.
    static auto* sink = new CTracer::Sink(SinkFromEnvironment());
    return *sink;
}

void Tell(CTracer::Event event, const std::string& text)
{
    if (const CTracer::Sink& sink = TheSink())
        sink(event, text);
}

} // namespace

CTracer::CTracer(const char* scope) : m_scope(scope)
{
    if (TheSink())
        Tell(Event::Enter, m_scope);
}

CTracer::~CTracer()
{
    if (TheSink())
        Tell(Event::Leave, m_scope);
}

void CTracer::trace_out(const std::string& line)
{
    Tell(Event::Line, line);
}

CTracer::Sink CTracer::SetSink(Sink sink)
{
    return std::exchange(TheSink(), std::move(sink));
}
