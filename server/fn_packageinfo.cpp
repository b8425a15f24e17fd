// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where package files are: CAPIGetPackageInfo, ?filename[]=FILE&filename[]=...

#include "agentfunction.h"
#include "storeerror.h"
#include "text.h"

#include <algorithm>

namespace
{

using Repositories = std::map<std::string, std::shared_ptr<const PackageIndex>>;

struct Wanted {
    std::string repository;
    PackageIndex::const_iterator package;
};

bool Find(const Repositories& repositories, const std::string& file, Wanted& found)
{
    for (const auto& [name, index] : repositories) {
        found = { name, index->find(file) };
        if (found.package != index->end())
            return true;
    }
    return false;
}

// The address that the archives of a repository are fetched from.
std::string AddressOf(const std::string& repository, const AgentRequest& request)
{
    const std::string elsewhere = request.store.archivesOf(repository);
    return elsewhere.empty() ? request.address + "/pool/" + repository : elsewhere;
}

// The stanzas of the files asked for, as one index for each address: the agent
// keeps one index file for each.
std::map<std::string, std::string> CollectIndexes(const AgentRequest& request,
                                                  const std::vector<Query::Value>& files)
{
    const Repositories repositories = request.store.repositories();
    std::map<std::string, std::string> indexes;
    std::vector<const std::string*> taken;
    for (const Query::Value& file : files) {
        Wanted wanted;
        // The agent sends a name as apt printed it, escaped or not.
        if (!Find(repositories, file.decoded, wanted) && !Find(repositories, file.raw, wanted))
            throw RequestError("There is no package file " + Quoted(file.decoded)
                               + " in this store.");
        const std::string* stanza = &wanted.package->second.stanza;
        if (std::find(taken.begin(), taken.end(), stanza) != taken.end())
            continue;
        taken.push_back(stanza);
        // The blank line is for the last stanza, too: the agent ends its index
        // with a zero byte, which apt would take for a broken field of it.
        indexes[AddressOf(wanted.repository, request)] += *stanza + '\n';
    }
    return indexes;
}

void AnswerPackageInfo(const AgentRequest& request, Reply& reply)
{
    const auto files = request.query.values("filename[]");
    if (files.empty())
        throw RequestError("The request names no package file.");
    reply.open("package_info");
    for (const auto& [address, index] : CollectIndexes(request, files)) {
        reply.open("package");
        reply.text("package_url", address);
        reply.text("package_data", index);
        reply.close();
    }
    reply.close();
}

const AgentFunction function("CAPIGetPackageInfo", AnswerPackageInfo);

} // namespace
