// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "functions.h"

#include "base/text.h"
#include "stanza.h"

#include <algorithm>
#include <iostream>

using namespace Agent;

namespace
{

const char functionFolder[] = "/agent/";
const std::string::size_type kLongestId = 64; // of a system builder

void WriteAisle(const Aisle& aisle, const Categories& categories, Reply& reply)
{
    reply.open("aisle", { { "name", aisle.name } });
    if (!aisle.description.empty())
        reply.text("description", aisle.description);
    for (const std::string& name : aisle.categories) {
        // A category that is not in the catalog would be useless here.
        const auto category = categories.find(name);
        if (category != categories.end())
            reply.text("category", name,
                       { { "serialnumber", std::to_string(category->second.serial) } });
    }
    reply.close();
}

// CAPIGetAisles, without parameters: the aisles of the store.
void AnswerAisles(const AgentRequest& request, Reply& reply)
{
    const auto aisles = request.store.aisles();
    const Categories categories
        = CategoriesOf(*request.store.products(), *request.store.categories());
    reply.open("aisles");
    for (const Aisle& aisle : *aisles)
        WriteAisle(aisle, categories, reply);
    reply.close();
}

void WritePrograms(const Product& product, Reply& reply)
{
    reply.open("package");
    reply.text("name", product.name);
    // Before the programs: the agent gives each the last serial number it has read.
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

// CAPIDownloadAppInfo, ?app_id[]=SERIAL&app_id[]=...: the programs of products.
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
        WritePrograms(product->second, reply);
    }
}

using Packages = std::map<std::string, const IndexedPackage*>;

// The packages by name. Of several with one name, the first repository's counts, and within
// a repository the one with the last archive name.
Packages PackagesByName(const Repositories& repositories)
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

// Writes the fields that come from the repository's index, so that the store's files need
// not repeat them.
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

// CAPIUpdateCatalog, without parameters: the whole catalog.
void AnswerCatalog(const AgentRequest& request, Reply& reply)
{
    const auto products = request.store.products();
    std::map<std::string, std::vector<const Product*>> byCategory;
    for (const auto& [serial, product] : *products)
        byCategory[product.category].push_back(&product);
    const auto repositories = request.store.repositories();
    const Packages packages = PackagesByName(repositories);
    reply.open("catalog");
    for (const auto& [name, category] : CategoriesOf(*products, *request.store.categories())) {
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

// CAPISetOEMInfo, ?id=IDENTIFIER: which system builder a machine comes from.
void AnswerOEMInfo(const AgentRequest& request, Reply&)
{
    const auto ids = request.query.values("id");
    if (ids.size() != 1 || ids.front().decoded.empty())
        throw RequestError("The request names no system builder.");
    const std::string& id = ids.front().decoded;
    if (id.size() > kLongestId || TextFault(id) || id.find_first_of("\t\n") != std::string::npos)
        throw RequestError("Not an identifier of a system builder: " + Quoted(id));
    request.store.addRegistration(id);
}

// CAPIGetOSVer, without parameters: the packages of the operating system that have
// updates. A client's package tools skip what is already up to date.
void AnswerOSVer(const AgentRequest& request, Reply& reply)
{
    const auto updates = request.store.updates();
    for (const std::string& name : *updates) {
        reply.open("package");
        reply.text("name", name);
        reply.close();
    }
}

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

// The address of the archives of a repository.
std::string AddressOf(const std::string& repository, const AgentRequest& request)
{
    const std::string elsewhere = request.store.archivesOf(repository);
    return elsewhere.empty() ? request.address + "/pool/" + repository : elsewhere;
}

// The stanzas of the requested files, combined into one index per address, as the agent
// stores them.
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
        // The last stanza gets a blank line, too: the agent ends its index with a zero byte,
        // which apt would otherwise take for a broken field of that stanza.
        indexes[AddressOf(wanted.repository, request)] += *stanza + '\n';
    }
    return indexes;
}

// CAPIGetPackageInfo, ?filename[]=FILE&filename[]=...: where package files are.
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

// CAPISyncMyMachine, without parameters: the applications of a machine's account.
void AnswerProfile(const AgentRequest& request, Reply& reply)
{
    const auto profile = request.store.profile();
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

std::string WithAddress(std::string entry, const std::string& address)
{
    const std::string mark = "@SERVER@";
    for (auto at = entry.find(mark); at != std::string::npos;
         at = entry.find(mark, at + address.size()))
        entry.replace(at, mark.size(), address);
    return entry;
}

// CAPIGetSourcesList, without parameters: the package sources of clients.
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

// The API directory, which has its own address: the address of each function.
void AnswerDirectory(const AgentRequest& request, Reply& reply)
{
    reply.open("getagentapi");
    for (const auto& [name, handler] : Functions()) {
        reply.open("api");
        reply.plainText("name", name);
        reply.plainText("url", request.address + functionFolder + name);
        reply.close();
    }
    reply.close();
}

} // namespace

std::map<std::string, Handler>& Functions()
{
    static std::map<std::string, Handler> functions{
        { "CAPIDownloadAppInfo", AnswerAppInfo },
        { "CAPIGetAisles", AnswerAisles },
        { "CAPIGetOSVer", AnswerOSVer },
        { "CAPIGetPackageInfo", AnswerPackageInfo },
        { "CAPIGetSourcesList", AnswerSourcesList },
        { "CAPISetOEMInfo", AnswerOEMInfo },
        { "CAPISyncMyMachine", AnswerProfile },
        { "CAPIUpdateCatalog", AnswerCatalog },
    };
    return functions;
}

Handler FindFunction(const std::string& path)
{
    if (path == "/getagentapi.php")
        return AnswerDirectory;
    const std::string folder = functionFolder;
    if (path.rfind(folder, 0) != 0)
        return nullptr;
    const auto function = Functions().find(path.substr(folder.size()));
    return function == Functions().end() ? nullptr : function->second;
}

std::string Answer(Handler handler, const AgentRequest& request)
{
    try {
        Reply reply;
        handler(request, reply);
        return reply.take();
    } catch (const RequestError& error) {
        return FailedReply(error.what());
    } catch (const StoreError& error) {
        // The client must not learn paths of the server.
        std::cerr << std::string("pakmart-storeserver: ") + error.what() + '\n';
        return FailedReply("The store is being repaired. Please try again later.");
    }
}
