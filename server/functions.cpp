// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "server/functions.h"

#include "server/pool.h"
#include "server/storetext.h"

#include <algorithm>

namespace
{

constexpr std::size_t MaxParameters = 1000;

const char xmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// An element whose text the agent decodes.
std::string Element(const char* name, const std::string& text)
{
    return std::string("<") + name + '>' + EncodeForAgent(text) + "</" + name + ">\n";
}

// The values of a repeated parameter, such as "app_id[]".
std::vector<std::string> Values(const std::string& target, const char* name)
{
    std::vector<std::string> values;
    for (const auto& parameter : QueryParameters(target)) {
        if (parameter.first == name)
            values.push_back(parameter.second);
    }
    if (values.empty())
        throw FunctionError(std::string("The request does not say what it is about: it has no ")
                            + name + '.');
    if (values.size() > MaxParameters)
        throw FunctionError("The request asks for too much at once.");
    return values;
}

std::string ProgramElements(const Program& program)
{
    return "<binary>\n" + Element("name", program.name) + Element("path", program.path)
        + Element("smallicon", program.smallIcon) + Element("largeicon", program.largeIcon)
        + Element("menu", program.menu) + "</binary>\n";
}

// The serial number stands before the programs: they get it from there.
std::string AppInfo(const Store& store, const std::string& target, const std::string&)
{
    const std::vector<Product> products = store.Products();
    std::string content;
    for (const std::string& id : Values(target, "app_id[]")) {
        const auto product
            = std::find_if(products.begin(), products.end(),
                           [&id](const Product& p) { return std::to_string(p.serial) == id; });
        if (product == products.end())
            throw FunctionError("There is no product number " + id + " in this store.");
        content += "<package>\n" + Element("name", product->name) + Element("serialnumber", id)
            + Element("packagename", product->package);
        for (const Program& program : product->programs)
            content += ProgramElements(program);
        content += "</package>\n";
    }
    return content;
}

// All packages come from one repository, so there is one element, with the index
// of what was asked for.
std::string PackageInfo(const Store& store, const std::string& target, const std::string& address)
{
    const auto index = Pool(store.Folder() + "/pool").Index();
    std::string data;
    for (const std::string& file : Values(target, "filename[]")) {
        const auto stanza = index.find(file);
        if (stanza == index.end())
            throw FunctionError("There is no package file " + file + " in this store.");
        data += stanza->second + '\n';
    }
    return "<package_info>\n<package>\n" + Element("package_url", address + "/repo")
        + Element("package_data", data) + "</package>\n</package_info>\n";
}

std::string SourcesList(const Store& store, const std::string&, const std::string& address)
{
    std::string lists[2];
    for (const Source& source : store.Sources()) {
        std::string entry = source.entry;
        const auto at = entry.find("@URL@");
        if (at != entry.npos)
            entry.replace(at, 5, address);
        lists[source.deps ? 1 : 0] += "<entry timestamp=\"" + EncodeForAgent(source.timestamp)
            + "\">" + EncodeForAgent(entry) + "</entry>\n";
    }
    return "<list type=\"dep\">\n" + lists[1] + "</list>\n<list>\n" + lists[0] + "</list>\n";
}

} // namespace

const std::vector<Function>& Functions()
{
    static const std::vector<Function> functions = {
        { "CAPIDownloadAppInfo", "/appinfo.php", AppInfo },
        { "CAPIGetPackageInfo", "/packageinfo.php", PackageInfo },
        { "CAPIGetSourcesList", "/sourceslist.php", SourcesList },
    };
    return functions;
}

std::string Directory(const std::string& address)
{
    std::string content = "<getagentapi>\n";
    for (const Function& function : Functions())
        content += std::string("<api><name>") + function.name + "</name><url>"
            + EscapeXml(address + function.path) + "</url></api>\n";
    return content + "</getagentapi>\n";
}

std::string OkReply(const std::string& content)
{
    return xmlHead + ("<agentfunction resultcode=\"OK\">\n" + content) + "</agentfunction>\n";
}

std::string FailedReply(const std::string& text)
{
    // What a client sent may stand in the text, as any bytes.
    std::string plain = text;
    std::replace_if(
        plain.begin(), plain.end(), [](unsigned char c) { return c >= 0x7F; }, '?');
    return xmlHead + ("<agentfunction resultcode=\"FAILED\" msg=\"" + EscapeXml(plain)) + "\"/>\n";
}
