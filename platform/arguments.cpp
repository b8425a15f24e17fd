// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/arguments.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string_view>

namespace
{

bool IsCluster(const std::string& word)
{
    return word.size() > 1 && word[0] == '-' && word[1] != '-';
}

// Whether a short option takes the next word for its value.
bool TakesValue(const std::string& word)
{
    return IsCluster(word) && std::string_view("oct").find(word.back()) != std::string_view::npos
        && word.find('=') == std::string::npos;
}

// "-yp" as apt-get knows it: "-y". Empty when nothing is left.
std::string WithoutP(const std::string& word)
{
    if (!IsCluster(word) || word.find_first_of("=oct") != std::string::npos)
        return word;
    std::string rest = word;
    rest.erase(std::remove(rest.begin(), rest.end(), 'p'), rest.end());
    return rest == "-" ? std::string() : rest;
}

bool IsMadeOf(const std::string& text, std::string_view others)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [others](unsigned char c) {
        return c < 128 && (std::isalnum(c) || others.find(char(c)) != others.npos);
    });
}

} // namespace

Arguments SortArguments(const std::vector<std::string>& words)
{
    Arguments sorted;
    bool options = true;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string word = options ? WithoutP(words[i]) : words[i];
        if (word.empty())
            continue;
        sorted.words.push_back(word);
        if (!options || word[0] != '-') {
            if (sorted.command.empty())
                sorted.command = word;
            else
                sorted.names.push_back(word);
            continue;
        }
        options = word != "--";
        sorted.printUris = sorted.printUris || word == "--print-uris";
        if (TakesValue(word) && i + 1 < words.size()) {
            sorted.words.push_back(words[++i]);
            sorted.ownSources
                = sorted.ownSources || words[i].compare(0, 20, "Dir::Etc::Sourcelist") == 0;
        }
    }
    return sorted;
}

bool IsPlainName(const std::string& name)
{
    if (name.empty() || !std::isalnum(static_cast<unsigned char>(name[0])) || name.back() == '-')
        return false;
    const auto end = std::min(name.find_first_of(":="), name.size());
    if (!IsMadeOf(name.substr(0, end), "+-."))
        return false;
    if (end == name.size())
        return true;
    return IsMadeOf(name.substr(end + 1), name[end] == ':' ? "-" : ".+-~:");
}

bool IsKnownPackage(const std::string& statusFile, const std::string& name)
{
    std::ifstream status(statusFile);
    const std::string wanted = "Package: " + name.substr(0, name.find(':'));
    for (std::string line; std::getline(status, line);) {
        if (line == wanted)
            return true;
    }
    return false;
}
