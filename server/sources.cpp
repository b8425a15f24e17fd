// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sources.h"

#include "stanza.h"
#include "text.h"

#include <algorithm>

namespace
{

// The client keeps the line, two blanks, '#' and the timestamp in one line of
// at most 1023 bytes, of which the server's address has its share, and takes
// it apart at its first '#'. Options in brackets, which could switch checks of
// apt off, it does not take from a server.
const std::size_t kLongestEntry = 512;
const std::size_t kLongestTimestamp = 20;

SourceEntry ParseEntry(const Stanza& stanza, const std::string& path)
{
    SourceEntry entry{ Required(stanza, "Entry", path), Required(stanza, "Timestamp", path) };
    const int line = stanza.find("Entry")->line;
    if (entry.entry.find_first_of("#[\n\t") != std::string::npos)
        FailAt(path, line, "an entry is one line without '#', '[' and tabs");
    if (entry.entry.size() > kLongestEntry)
        FailAt(path, line, "the entry is longer than 512 bytes");
    if (entry.timestamp.find_first_not_of("0123456789") != std::string::npos
        || entry.timestamp.size() > kLongestTimestamp)
        FailAt(path, stanza.find("Timestamp")->line,
               "a timestamp is at most 20 digits, not " + Quoted(entry.timestamp));
    return entry;
}

std::string ParseType(const Stanza& stanza, const std::string& path)
{
    const std::string& type = Required(stanza, "Type", path);
    if (type != "dep" && type != "plain")
        FailAt(path, stanza.find("Type")->line, "a type is dep or plain, not " + Quoted(type));
    return type;
}

} // namespace

std::vector<SourcesList> ParseSources(const std::string& text, const std::string& path)
{
    std::vector<SourcesList> lists;
    for (const Stanza& stanza : ParseStanzas(text, path)) {
        for (const Field& field : stanza.fields) {
            if (field.key != "Type" && field.key != "Entry" && field.key != "Timestamp")
                FailAt(path, field.line, "a source has no field " + field.key);
        }
        const std::string type = ParseType(stanza, path);
        auto list = std::find_if(lists.begin(), lists.end(),
                                 [&](const SourcesList& one) { return one.type == type; });
        if (list == lists.end())
            list = lists.insert(lists.end(), { type, {} });
        list->entries.push_back(ParseEntry(stanza, path));
    }
    return lists;
}
