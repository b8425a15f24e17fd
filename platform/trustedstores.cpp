// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/trustedstores.h"

#include "base/administered.h"
#include "base/descriptor.h"
#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <sstream>
#include <unistd.h>

using namespace Agent;

namespace
{

const char storesFolder[] = "/etc/pakmart/stores.d";
constexpr off_t largestFile = 1024 * 1024;

std::string WithoutSlash(std::string uri)
{
    while (!uri.empty() && uri.back() == '/')
        uri.pop_back();
    return uri;
}

using Fields = std::map<std::string, std::string>; // by names in small letters

std::string SmallLetters(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
    return text;
}

// The stanzas of a text. Lines that continue a field are joined to it.
std::vector<Fields> Stanzas(const std::string& text)
{
    std::vector<Fields> stanzas(1);
    std::string* value = nullptr;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto colon = line.find(':');
        if (!line.empty() && line[0] == '#')
            continue;
        if (Trimmed(line).empty()) {
            stanzas.emplace_back();
            value = nullptr;
        } else if (line[0] == ' ' || line[0] == '\t') {
            if (value)
                *value += ' ' + Trimmed(line);
        } else if (colon != std::string::npos) {
            value = &stanzas.back()[SmallLetters(line.substr(0, colon))];
            *value = Trimmed(line.substr(colon + 1));
        }
    }
    return stanzas;
}

bool IsAddress(const std::string& uri)
{
    return (BeginsWith(uri, "http://") || BeginsWith(uri, "https://"))
        && IsMadeOf(uri, IsLetterOrDigit, "-._~/:+@=&[]");
}

// A store from its stanza; `fault` says what is wrong with it.
TrustedStore StoreFrom(const Fields& fields, const std::string& root, std::string& fault)
{
    const auto field = [&fields](const char* name) {
        const auto found = fields.find(name);
        return found == fields.end() ? std::string() : found->second;
    };
    const std::string key = field("signed-by");
    TrustedStore store{ WithoutSlash(field("uris")),
                        field("suites"),
                        field("components"),
                        root + key,
                        { field("release-origin"), field("release-suite"), 0 },
                        WithoutSlash(field("replies")) };
    if (store.replies.empty())
        store.replies = store.uri;
    if (field("types") != "deb")
        fault = "Types must be deb";
    else if (!IsAddress(store.uri))
        fault = "URIs must be one address, http or https";
    else if (!IsAddress(store.replies))
        fault = "Replies must be one address, http or https";
    else if (!IsMadeOf(store.suite, IsLetterOrDigit, "-._/"))
        fault = "Suites must be one word";
    else if (!store.components.empty() && !IsMadeOf(store.components, IsLetterOrDigit, "-._/ "))
        fault = "Components must be words";
    else if (!IsMadeOf(key, IsLetterOrDigit, "-._/+") || key[0] != '/')
        fault = "Signed-By must be the path of a key file";
    else if (store.expected.origin.empty() || store.expected.suite.empty())
        fault = "Release-Origin and Release-Suite are missing";
    else
        fault = AdministeredFault(key, root);
    return store;
}

void ReadStores(const std::string& path, const std::string& root, StorePolicy& policy)
{
    std::string fault;
    const std::string text = ReadAdministered(path, root, fault);
    std::vector<TrustedStore> stores;
    for (const Fields& fields : Stanzas(text)) {
        const auto enabled = fields.find("enabled");
        if (!fault.empty() || fields.empty()
            || (enabled != fields.end() && SmallLetters(enabled->second) == "no"))
            continue;
        stores.push_back(StoreFrom(fields, root, fault));
        if (!fault.empty() && fault[0] != '/')
            fault = path + ": " + fault;
    }
    if (fault.empty())
        policy.stores.insert(policy.stores.end(), stores.begin(), stores.end());
    else
        policy.faults.push_back(fault);
}

std::vector<std::string> NamesIn(const std::string& folder)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
    while (const dirent* entry = opened ? readdir(opened.get()) : nullptr) {
        const std::string name = entry->d_name;
        const std::string ending = ".sources";
        if (name[0] != '.' && name.size() > ending.size()
            && name.compare(name.size() - ending.size(), ending.size(), ending) == 0)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool IsUnsignedAllowed(const std::string& uri, const StoreSettings& settings)
{
    return std::any_of(
        settings.allowUnsigned.begin(), settings.allowUnsigned.end(),
        [&uri](const std::string& one) { return one == "yes" || WithoutSlash(one) == uri; });
}

// The addresses in a sources list of the agent, each once. A line that is not one of the
// agent's has an address that no store has.
std::vector<std::string> AddressesIn(const std::string& sourcesList)
{
    std::vector<std::string> addresses;
    std::string text(std::size_t(largestFile), '\0');
    const Descriptor file(open(sourcesList.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const ssize_t count = file ? read(file.Get(), text.data(), text.size()) : 0;
    std::istringstream lines(text.substr(0, count > 0 ? std::size_t(count) : 0));
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> words = WordsIn(line.substr(0, line.find('#')));
        if (words.empty())
            continue;
        const std::string uri = words[0] == "deb" && words.size() > 2 ? words[1] : line;
        if (std::find(addresses.begin(), addresses.end(), WithoutSlash(uri)) == addresses.end())
            addresses.push_back(WithoutSlash(uri));
    }
    return addresses;
}

std::string Refusal(const std::string& uri, const StorePolicy& policy)
{
    std::string text = "E: The store " + Quoted(uri)
        + " is refused: no key for it is known to this machine. An administrator can add the store"
          " and its key to "
        + storesFolder + ", or allow it without a signature with AllowUnsigned in "
        + storeSettingsFile + '.';
    for (const std::string& fault : policy.faults)
        text += " (" + fault + ".)";
    return text;
}

// The way apt writes an address as the name of a file.
std::string AsFileName(const std::string& uri)
{
    std::string name;
    const auto scheme = uri.find("://");
    for (const char c : uri.substr(scheme == std::string::npos ? 0 : scheme + 3)) {
        const char digits[] = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte >= 0x7F || std::strchr("\\|{}[]<>\"^~_=!@#$%&*", c))
            name += { '%', digits[byte / 16], digits[byte % 16] };
        else
            name += c == '/' ? '_' : c;
    }
    return name;
}

} // namespace

std::string TrustedStore::SourceLine() const
{
    return "deb [signed-by=" + keyFile
        + " check-valid-until=yes check-date=yes valid-until-max=" + std::to_string(expected.maxAge)
        + " allow-insecure=no allow-weak=no allow-downgrade-to-insecure=no] " + uri + ' ' + suite
        + ' ' + components + '\n';
}

std::string TrustedStore::ReleaseName() const
{
    const bool isFlat = suite.back() == '/';
    return AsFileName(uri + (isFlat ? '/' + suite : "/dists/" + suite + '/') + "InRelease");
}

StorePolicy ReadStorePolicy(const std::string& root)
{
    StorePolicy policy;
    policy.settings = ReadStoreSettings(root);
    if (!policy.settings.fault.empty())
        policy.faults.push_back(policy.settings.fault);
    const std::string folder = root + storesFolder;
    const std::vector<std::string> names = NamesIn(folder);
    const std::string fault = names.empty() ? std::string() : AdministeredFault(storesFolder, root);
    if (!fault.empty()) {
        policy.faults.push_back(fault);
        return policy;
    }
    for (const std::string& name : names)
        ReadStores(std::string(storesFolder) + '/' + name, root, policy);
    for (TrustedStore& store : policy.stores)
        store.expected.maxAge = policy.settings.maxAge;
    return policy;
}

ChosenStores ChooseStores(const std::string& sourcesList, const StorePolicy& policy)
{
    ChosenStores chosen;
    std::string anyUnsigned;
    for (const std::string& uri : AddressesIn(sourcesList)) {
        const auto store = std::find_if(policy.stores.begin(), policy.stores.end(),
                                        [&uri](const TrustedStore& one) { return one.uri == uri; });
        if (store != policy.stores.end())
            chosen.stores.push_back(*store);
        else if (IsUnsignedAllowed(uri, policy.settings))
            anyUnsigned = uri;
        else if (chosen.refusal.empty())
            chosen.refusal = Refusal(uri, policy);
    }
    chosen.isUnsigned = !anyUnsigned.empty();
    if (chosen.refusal.empty() && chosen.isUnsigned && !chosen.stores.empty())
        chosen.refusal = "E: The store " + Quoted(anyUnsigned)
            + " is refused: it is not signed, and cannot be used together with a signed one.";
    return chosen;
}

ChosenStores AllStores(const StorePolicy& policy)
{
    ChosenStores chosen;
    chosen.stores = policy.stores;
    return chosen;
}
