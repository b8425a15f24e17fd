// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which system builder a machine comes from: CAPISetOEMInfo, ?id=IDENTIFIER

#include "agentfunction.h"
#include "registrations.h"
#include "storeerror.h"
#include "text.h"

namespace
{

const std::string::size_type kLongestId = 64;

void AnswerOEMInfo(const AgentRequest& request, Reply&)
{
    const auto ids = request.query.values("id");
    if (ids.size() != 1 || ids.front().decoded.empty())
        throw RequestError("The request names no system builder.");
    const std::string& id = ids.front().decoded;
    if (id.size() > kLongestId || TextFault(id) || id.find_first_of("\t\n") != std::string::npos)
        throw RequestError("This is no identifier of a system builder: " + Quoted(id));
    AddRegistration(request.store.folder(), id);
}

const AgentFunction function("CAPISetOEMInfo", AnswerOEMInfo);

} // namespace
