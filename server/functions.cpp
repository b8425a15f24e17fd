// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "functions.h"

#include "base/text.h"
#include "pictures.h"
#include "stanza.h"

#include <algorithm>
#include <ctime>
#include <iostream>

using namespace Agent;

namespace
{

const char functionFolder[] = "/agent/";
const std::string::size_type longestId = 64; // of a system builder

void WriteAisle(const Aisle& aisle, const Categories& categories, Reply& reply)
{
    reply.Open("aisle", { { "name", aisle.name } });
    if (!aisle.description.empty())
        reply.Text("description", aisle.description);
    for (const std::string& name : aisle.categories) {
        // A category that is not in the catalog would be useless here.
        const auto category = categories.find(name);
        if (category != categories.end())
            reply.Text("category", name,
                       { { "serialnumber", std::to_string(category->second.serial) } });
    }
    reply.Close();
}

// CAPIGetAisles, without parameters: the aisles of the store.
void AnswerAisles(const AgentRequest& request, Reply& reply)
{
    const auto aisles = request.store.GetAisles();
    const Categories categories
        = CategoriesOf(*request.store.GetProducts(), *request.store.GetCategories());
    reply.Open("aisles");
    for (const Aisle& aisle : *aisles)
        WriteAisle(aisle, categories, reply);
    reply.Close();
}

void WritePrograms(const Product& product, Reply& reply)
{
    reply.Open("package");
    reply.Text("name", product.name);
    // Before the programs: the agent gives each the last serial number it has read.
    reply.Text("serialnumber", std::to_string(product.serial));
    reply.Text("packagename", product.package);
    for (const Program& program : product.programs) {
        reply.Open("binary");
        reply.Text("name", program.name);
        reply.Text("path", program.path);
        reply.Text("smallicon", program.smallIcon);
        reply.Text("largeicon", program.largeIcon);
        reply.Text("menu", program.menu);
        reply.Close();
    }
    reply.Close();
}

// CAPIDownloadAppInfo, ?app_id[]=SERIAL&app_id[]=...: the programs of products.
void AnswerAppInfo(const AgentRequest& request, Reply& reply)
{
    const auto ids = request.query.Values("app_id[]");
    if (ids.empty())
        throw RequestError("The request names no product.");
    const auto products = request.store.GetProducts();
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
    reply.Text("version", package.version);
    if (package.size != 0)
        reply.PlainText("filesize", std::to_string(package.size));
    if (!package.homePage.empty() && !product.Detail("applicationdetailURL"))
        reply.Text("applicationdetailURL", package.homePage);
    reply.Open("dependencies");
    for (const std::string& name : package.dependencies)
        reply.Text("dependency", "", { { "name", name } });
    reply.Close();
}

void WriteProduct(const Product& product, const Packages& packages, Reply& reply)
{
    reply.Open("product", { { "name", product.name } });
    reply.PlainText("serialnumber", std::to_string(product.serial));
    reply.Text("packagename", product.package);
    reply.Text("briefdescription", product.description);
    for (const auto& [element, value] : product.details)
        reply.Text(element, value);
    const auto package = packages.find(product.package);
    if (package != packages.end())
        WritePackage(*package->second, product, reply);
    reply.Close();
}

// CAPIUpdateCatalog, without parameters: the whole catalog.
void AnswerCatalog(const AgentRequest& request, Reply& reply)
{
    const auto products = request.store.GetProducts();
    std::map<std::string, std::vector<const Product*>> byCategory;
    for (const auto& [serial, product] : *products)
        byCategory[product.category].push_back(&product);
    const auto repositories = request.store.GetRepositories();
    const Packages packages = PackagesByName(repositories);
    reply.Open("catalog");
    for (const auto& [name, category] : CategoriesOf(*products, *request.store.GetCategories())) {
        reply.Open("category",
                   { { "name", name },
                     { "serialnumber", std::to_string(category.serial) },
                     { "home_page", category.homePage } });
        for (const Product* product : byCategory[name])
            WriteProduct(*product, packages, reply);
        reply.Close();
    }
    reply.Close();
}

void Require(const PersonalFault& fault)
{
    if (fault.kind == PersonalFault::Kind::Away)
        throw AwayError(fault.text);
    if (fault)
        throw StoreError(fault.text);
}

// CAPISetOEMInfo, ?id=IDENTIFIER: which system builder a machine comes from.
void AnswerOEMInfo(const AgentRequest& request, Reply&)
{
    const auto ids = request.query.Values("id");
    if (ids.size() != 1 || ids.front().decoded.empty())
        throw RequestError("The request names no system builder.");
    const std::string& id = ids.front().decoded;
    if (id.size() > longestId || TextFault(id) || id.find_first_of("\t\n") != std::string::npos)
        throw RequestError("Not an identifier of a system builder: " + Quoted(id));
    Require(request.personal.AddRegistration({ std::time(nullptr), id }));
}

// CAPIGetOSVer, without parameters: the packages of the operating system that have
// updates. A client's package tools skip what is already up to date.
void AnswerOSVer(const AgentRequest& request, Reply& reply)
{
    const auto updates = request.store.GetUpdates();
    for (const std::string& name : *updates) {
        reply.Open("package");
        reply.Text("name", name);
        reply.Close();
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

// The address of the archives of a repository. A signed index is fetched from here, so its
// archives are too; requests for archives on another server are redirected.
std::string AddressOf(const std::string& repository, const AgentRequest& request)
{
    const std::string elsewhere
        = request.isSigned ? std::string() : request.store.ArchivesOf(repository);
    return elsewhere.empty() ? request.address + "/pool/" + repository : elsewhere;
}

// The stanzas of the requested files, combined into one index per address, as the agent
// stores them.
std::map<std::string, std::string> CollectIndexes(const AgentRequest& request,
                                                  const std::vector<Query::Value>& files)
{
    const Repositories repositories = request.store.GetRepositories();
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
    const auto files = request.query.Values("filename[]");
    if (files.empty())
        throw RequestError("The request names no package file.");
    reply.Open("package_info");
    for (const auto& [address, index] : CollectIndexes(request, files)) {
        reply.Open("package");
        reply.Text("package_url", address);
        reply.Text("package_data", index);
        reply.Close();
    }
    reply.Close();
}

// CAPISyncMyMachine, without parameters: the applications of a machine's account.
void AnswerProfile(const AgentRequest& request, Reply& reply)
{
    Profile profile;
    Require(request.personal.ReadProfile(theAccount, profile));
    reply.Open("profile");
    for (const Application& application : profile) {
        reply.Open("application");
        reply.Text("name", application.name);
        reply.Text("packagename", application.package);
        reply.Text("serialnumber", std::to_string(application.serial));
        reply.Close();
    }
    reply.Close();
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
    const auto lists = request.store.GetSources();
    for (const SourcesList& list : *lists) {
        reply.Open("list", { { "type", list.type } });
        for (const SourceEntry& entry : list.entries)
            reply.Text("entry", WithAddress(entry.entry, request.address),
                       { { "timestamp", entry.timestamp } });
        reply.Close();
    }
}

// The API directory, which has its own address: the address of each function.
void AnswerDirectory(const AgentRequest& request, Reply& reply)
{
    reply.Open("getagentapi");
    for (const auto& [name, function] : Functions()) {
        if (!function.IsIn(request.store))
            continue;
        reply.Open("api");
        reply.PlainText("name", name);
        reply.PlainText("url", request.address + functionFolder + name);
        reply.Close();
    }
    reply.Close();
}

} // namespace

std::map<std::string, Function>& Functions()
{
    static std::map<std::string, Function> functions{
        { "CAPIDownloadAppInfo", { AnswerAppInfo } },
        { "CAPIGetAisles", { AnswerAisles, true } },
        { "CAPIGetOSVer", { AnswerOSVer, true } },
        { "CAPIGetPackageInfo", { AnswerPackageInfo } },
        { "CAPIGetPictures", { AnswerPictures, true, false, HasPictures } },
        { "CAPIGetSourcesList", { AnswerSourcesList } },
        { "CAPISetOEMInfo", { AnswerOEMInfo, false, true } },
        { "CAPISyncMyMachine", { AnswerProfile, false, true } },
        { "CAPIUpdateCatalog", { AnswerCatalog, true } },
    };
    return functions;
}

Function FindFunction(const std::string& path)
{
    if (path == "/getagentapi.php")
        return { AnswerDirectory };
    const std::string folder = functionFolder;
    if (path.rfind(folder, 0) != 0)
        return {};
    const auto function = Functions().find(path.substr(folder.size()));
    return function == Functions().end() ? Function{} : function->second;
}

std::string Answer(Handler handler, const AgentRequest& request)
{
    try {
        Reply reply;
        handler(request, reply);
        return reply.Take();
    } catch (const RequestError& error) {
        return FailedReply(error.what());
    } catch (const StoreError& error) {
        // The client must not learn paths of the server.
        std::cerr << std::string("pakmart-storeserver: ") + error.what() + '\n';
        return FailedReply("The store is being repaired. Please try again later.");
    }
}
