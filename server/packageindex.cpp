// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packageindex.h"

#include "stanza.h"
#include "text.h"

#include <algorithm>

namespace
{

// A Filename leads to a file below the repository's own folder.
bool IsInside(const std::string& fileName)
{
    const std::string path = '/' + fileName + '/';
    return fileName[0] != '/' && path.find("/../") == std::string::npos
        && fileName.find('\n') == std::string::npos && fileName.back() != '/';
}

// The names in a list of relations: "a (>= 1), b | c, d:any" has a, b and d.
void AddNames(const std::string& relations, std::vector<std::string>& names)
{
    for (std::string::size_type start = 0; start < relations.size();) {
        const auto end = std::min(relations.find(',', start), relations.size());
        const auto first = relations.find_first_not_of(" \t\n", start);
        start = end + 1;
        if (first >= end)
            continue;
        const auto last = std::min(relations.find_first_of(" \t\n(:|[<,", first), end);
        names.push_back(relations.substr(first, last - first));
    }
}

IndexedPackage IndexPackage(const Stanza& stanza, const std::string& path)
{
    IndexedPackage package{ stanza.text,
                            Required(stanza, "Package", path),
                            Required(stanza, "Version", path),
                            Optional(stanza, "Homepage"),
                            PositiveNumber(Optional(stanza, "Size")),
                            {} };
    for (const char* key : { "Pre-Depends", "Depends" })
        AddNames(Optional(stanza, key), package.dependencies);
    return package;
}

} // namespace

PackageIndex ParsePackageIndex(const std::string& text, const std::string& path)
{
    PackageIndex index;
    StanzaReader reader(text, path);
    Stanza stanza;
    while (reader.next(stanza)) {
        IndexedPackage package = IndexPackage(stanza, path);
        const std::string& file = Required(stanza, "Filename", path);
        const int line = stanza.find("Filename")->line;
        if (!IsInside(file))
            FailAt(path, line, "this file is not in the repository: " + Quoted(file));
        if (!index.emplace(file.substr(file.rfind('/') + 1), std::move(package)).second)
            FailAt(path, line, "a second package with the file " + Quoted(file));
    }
    return index;
}
