// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The packages of the operating system that have updates: CAPIGetOSVer, without
// parameters. What a machine has already, its package tools leave out.

#include "agentfunction.h"

namespace
{

void AnswerOSVer(const AgentRequest& request, Reply& reply)
{
    const auto updates = request.store.updates();
    for (const std::string& name : *updates) {
        reply.open("package");
        reply.text("name", name);
        reply.close();
    }
}

const AgentFunction function("CAPIGetOSVer", AnswerOSVer);

} // namespace
