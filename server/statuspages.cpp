// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "statuspages.h"

#include "base/text.h"
#include "freshness.h"

namespace
{

const char healthPath[] = "/status/health";
const char readyPath[] = "/status/ready";
const char metricsPath[] = "/status/metrics";
const char plainType[] = "text/plain; charset=UTF-8";
const char metricsType[] = "text/plain; version=0.0.4; charset=utf-8";

// What cannot be read; empty if the server is ready.
std::string Fault(Store& store, PersonalData& personal)
{
    try {
        store.GetState();
    } catch (const StoreError& error) {
        return error.what();
    }
    return personal.Check().text;
}

void ServeReady(const std::string& fault, HttpReply& reply)
{
    reply.status = fault.empty() ? 200 : 503;
    reply.SetBody(fault.empty() ? "ready\n" : fault + '\n', plainType);
}

} // namespace

bool IsStatusPath(const std::string& path)
{
    return path == healthPath || path == readyPath || path == metricsPath;
}

bool IsWatcher(const std::string& address, const std::string& monitor, const HttpRequest& request)
{
    const bool isHere = Agent::BeginsWith(address, "127.") || address == "::1";
    return request.Count("X-Forwarded-For") == 0 && (isHere || address == monitor);
}

void ServeStatus(const std::string& path, Store& store, PersonalData& personal,
                 const Metrics& metrics, HttpReply& reply)
{
    ForbidKeeping(reply);
    if (path == readyPath)
        ServeReady(Fault(store, personal), reply);
    else if (path == metricsPath)
        reply.SetBody(metrics.Text(), metricsType);
    else
        reply.SetBody("alive\n", plainType);
}
