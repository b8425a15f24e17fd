// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The aisles of the store: CAPIGetAisles, without parameters.

#include "agentfunction.h"

namespace
{

void WriteAisle(const Aisle& aisle, const Categories& categories, Reply& reply)
{
    reply.open("aisle", { { "name", aisle.name } });
    if (!aisle.description.empty())
        reply.text("description", aisle.description);
    for (const std::string& name : aisle.categories) {
        // One that the catalog does not have is of no use here either.
        const auto category = categories.find(name);
        if (category != categories.end())
            reply.text("category", name,
                       { { "serialnumber", std::to_string(category->second.serial) } });
    }
    reply.close();
}

void AnswerAisles(const AgentRequest& request, Reply& reply)
{
    Shelves& shelves = request.store.shelves();
    const auto aisles = shelves.aisles();
    const Categories categories = CategoriesOf(*request.store.products(), *shelves.categories());
    reply.open("aisles");
    for (const Aisle& aisle : *aisles)
        WriteAisle(aisle, categories, reply);
    reply.close();
}

const AgentFunction function("CAPIGetAisles", AnswerAisles);

} // namespace
