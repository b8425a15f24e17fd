// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The applications of a machine's account: CAPISyncMyMachine, without parameters.

#include "agentfunction.h"

namespace
{

void AnswerProfile(const AgentRequest& request, Reply& reply)
{
    const auto profile = request.store.shelves().profile();
    reply.open("profile");
    for (const Application& application : *profile) {
        reply.open("application");
        reply.text("name", application.name);
        reply.text("packagename", application.package);
        reply.text("serialnumber", std::to_string(application.serial));
        reply.close();
    }
    reply.close();
}

const AgentFunction function("CAPISyncMyMachine", AnswerProfile);

} // namespace
