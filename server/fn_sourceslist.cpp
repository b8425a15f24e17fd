// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package sources of clients: CAPIGetSourcesList, without parameters.

#include "agentfunction.h"

namespace
{

std::string WithAddress(std::string entry, const std::string& address)
{
    const std::string mark = "@SERVER@";
    for (auto at = entry.find(mark); at != std::string::npos;
         at = entry.find(mark, at + address.size()))
        entry.replace(at, mark.size(), address);
    return entry;
}

void AnswerSourcesList(const AgentRequest& request, Reply& reply)
{
    const auto lists = request.store.sources();
    for (const SourcesList& list : *lists) {
        reply.open("list", { { "type", list.type } });
        for (const SourceEntry& entry : list.entries)
            reply.text("entry", WithAddress(entry.entry, request.address),
                       { { "timestamp", entry.timestamp } });
        reply.close();
    }
}

const AgentFunction function("CAPIGetSourcesList", AnswerSourcesList);

} // namespace
