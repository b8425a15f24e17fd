// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packageindex.h"

#include "stanza.h"
#include "text.h"

namespace
{

// A Filename leads to a file below the repository's own folder.
bool IsInside(const std::string& fileName)
{
    const std::string path = '/' + fileName + '/';
    return fileName[0] != '/' && path.find("/../") == std::string::npos
        && fileName.find('\n') == std::string::npos && fileName.back() != '/';
}

} // namespace

PackageIndex ParsePackageIndex(const std::string& text, const std::string& path)
{
    PackageIndex index;
    StanzaReader reader(text, path);
    Stanza stanza;
    while (reader.next(stanza)) {
        Required(stanza, "Package", path);
        Required(stanza, "Version", path);
        const std::string& file = Required(stanza, "Filename", path);
        const int line = stanza.find("Filename")->line;
        if (!IsInside(file))
            FailAt(path, line, "this file is not in the repository: " + Quoted(file));
        if (!index.emplace(file.substr(file.rfind('/') + 1), stanza.text).second)
            FailAt(path, line, "a second package with the file " + Quoted(file));
    }
    return index;
}
