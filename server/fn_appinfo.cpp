// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The programs of products: CAPIDownloadAppInfo, ?app_id[]=SERIAL&app_id[]=...

#include "agentfunction.h"
#include "storeerror.h"
#include "text.h"

namespace
{

void WriteProduct(const Product& product, Reply& reply)
{
    reply.open("package");
    reply.text("name", product.name);
    // Before the programs: the agent gives each the number it knows by then.
    reply.text("serialnumber", std::to_string(product.serial));
    reply.text("packagename", product.package);
    for (const Program& program : product.programs) {
        reply.open("binary");
        reply.text("name", program.name);
        reply.text("path", program.path);
        reply.text("smallicon", program.smallIcon);
        reply.text("largeicon", program.largeIcon);
        reply.text("menu", program.menu);
        reply.close();
    }
    reply.close();
}

void AnswerAppInfo(const AgentRequest& request, Reply& reply)
{
    const auto ids = request.query.values("app_id[]");
    if (ids.empty())
        throw RequestError("The request names no product.");
    const auto products = request.store.products();
    for (const Query::Value& id : ids) {
        const auto product = products->find(PositiveNumber(id.decoded));
        if (product == products->end())
            throw RequestError("There is no product with the number " + Quoted(id.decoded)
                               + " in this store.");
        WriteProduct(product->second, reply);
    }
}

const AgentFunction function("CAPIDownloadAppInfo", AnswerAppInfo);

} // namespace
