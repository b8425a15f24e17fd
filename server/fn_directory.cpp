// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The directory: where each function of the server is.

#include "agentfunction.h"

void AnswerDirectory(const AgentRequest& request, Reply& reply)
{
    reply.open("getagentapi");
    for (const auto& [name, handler] : AgentFunction::all()) {
        reply.open("api");
        reply.plainText("name", name);
        reply.plainText("url", request.address + AgentFunction::path() + name);
        reply.close();
    }
    reply.close();
}
