// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The whole catalog: CAPIUpdateCatalog, without parameters.

#include "agentfunction.h"

namespace
{

using Packages = std::map<std::string, const IndexedPackage*>;

// The packages by name. Of several the first repository's counts, and there the
// one whose archive comes last.
Packages
PackagesByName(const std::map<std::string, std::shared_ptr<const PackageIndex>>& repositories)
{
    Packages packages;
    for (const auto& [repository, index] : repositories) {
        Packages here;
        for (const auto& [file, package] : *index)
            here[package.name] = &package;
        packages.merge(here);
    }
    return packages;
}

// What the index of the repository says, so that it is said in one place.
void WritePackage(const IndexedPackage& package, const Product& product, Reply& reply)
{
    reply.text("version", package.version);
    if (package.size != 0)
        reply.plainText("filesize", std::to_string(package.size));
    if (!package.homePage.empty() && !product.detail("applicationdetailURL"))
        reply.text("applicationdetailURL", package.homePage);
    reply.open("dependencies");
    for (const std::string& name : package.dependencies)
        reply.text("dependency", "", { { "name", name } });
    reply.close();
}

void WriteProduct(const Product& product, const Packages& packages, Reply& reply)
{
    reply.open("product", { { "name", product.name } });
    reply.plainText("serialnumber", std::to_string(product.serial));
    reply.text("packagename", product.package);
    reply.text("briefdescription", product.description);
    for (const auto& [element, value] : product.details)
        reply.text(element, value);
    const auto package = packages.find(product.package);
    if (package != packages.end())
        WritePackage(*package->second, product, reply);
    reply.close();
}

void AnswerCatalog(const AgentRequest& request, Reply& reply)
{
    const auto products = request.store.products();
    std::map<std::string, std::vector<const Product*>> byCategory;
    for (const auto& [serial, product] : *products)
        byCategory[product.category].push_back(&product);
    const auto repositories = request.store.repositories();
    const Packages packages = PackagesByName(repositories);
    reply.open("catalog");
    for (const auto& [name, category] :
         CategoriesOf(*products, *request.store.shelves().categories())) {
        reply.open("category",
                   { { "name", name },
                     { "serialnumber", std::to_string(category.serial) },
                     { "home_page", category.homePage } });
        for (const Product* product : byCategory[name])
            WriteProduct(*product, packages, reply);
        reply.close();
    }
    reply.close();
}

const AgentFunction function("CAPIUpdateCatalog", AnswerCatalog);

} // namespace
