// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/capigetsourceslist.h"

#include "catalog/cxmlnode.h"
#include "install/crunaptget.h"
#include "support/ctracer.h"
#include "util/diagnostics.h"
#include "util/output.h"

#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <fstream>

namespace
{

struct Entry {
    std::string text;
    std::string timestamp;
};

std::string WithoutTrailingBlanks(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(" \t\r\n\v\f") + 1);
}

std::vector<Entry> ReadEntries(const std::string& path)
{
    std::vector<Entry> entries;
    std::ifstream file(path);
    if (file)
        WriteLine("CAPIGetSourcesList::UpdateSourcesList('" + path + "')");
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const auto hash = std::min(line.find('#'), line.size());
        entries.push_back({ WithoutTrailingBlanks(line.substr(0, hash)),
                            line.substr(std::min(hash + 1, line.size())) });
    }
    return entries;
}

// Whether an entry stays what it is as a line of a sources file: on one line, no
// comment in it but ours, and no option block, which could tell the package
// tools to trust or to fetch by other means than theirs.
bool IsOneLine(const Entry& entry)
{
    const auto plain = [](const std::string& text, const char* refused) {
        return std::none_of(text.begin(), text.end(), [refused](unsigned char c) {
            return c < ' ' || c == 0x7F || std::string(refused).find(char(c)) != std::string::npos;
        });
    };
    return !entry.text.empty() && plain(entry.text, "#[") && plain(entry.timestamp, "");
}

std::vector<Entry> AcceptedEntries(const std::vector<CXMLNode*>& nodes)
{
    CTracer tracer("CAPIGetSourcesList::UpdateSourcesList");
    std::vector<Entry> entries;
    for (const CXMLNode* node : nodes) {
        const Entry entry{ node->Value(), node->Attribute("timestamp", "") };
        if (IsOneLine(entry))
            entries.push_back(entry);
        else
            tracer.trace_out("refused the entry '" + entry.text + '\'');
    }
    return entries;
}

// Whether the new entries differ from those that were there. An entry is found
// by its text, which may be the beginning of the older one's.
bool Differ(std::vector<Entry> before, const std::vector<Entry>& now)
{
    bool changed = false;
    for (const Entry& entry : now) {
        const auto found = std::find_if(before.begin(), before.end(), [&entry](const Entry& old) {
            return old.text.compare(0, entry.text.size(), entry.text) == 0;
        });
        if (found == before.end()) {
            changed = true;
            continue;
        }
        if (found->timestamp != entry.timestamp) {
            WriteLine("\n" + entry.text + " - timestamp modified [" + found->timestamp + "] != ["
                      + entry.timestamp + "]\n");
            changed = true;
        }
        before.erase(found);
    }
    return changed || !before.empty();
}

bool WriteEntries(const std::string& path, const std::vector<Entry>& entries)
{
    QSaveFile file(QFile::decodeName(path.c_str()));
    file.setDirectWriteFallback(true);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    for (const Entry& entry : entries)
        file.write(QByteArray::fromStdString(entry.text + "  #" + entry.timestamp + '\n'));
    return file.commit();
}

} // namespace

CAPIGetSourcesList::CAPIGetSourcesList(bool bSilent, bool bWait) : CAPI(bSilent, false, bWait) { }

void CAPIGetSourcesList::onSuccessfulTransfer(QDomElement* pElement)
{
    CXMLNode body(nullptr);
    if (!body.ReadNode(*pElement))
        return;
    for (CXMLNode* list : body.ChildArray("list"))
        ProcessSourcesListEntry(list);
}

void CAPIGetSourcesList::ProcessSourcesListEntry(CXMLNode* list)
{
    CTracer tracer("CAPIGetSourcesList::ProcessSourcesListEntry");
    std::vector<CXMLNode*> entries = list->ChildArray("entry");
    const bool deps = list->Attribute("type", "") == "dep";
    if (!UpdateSourcesList(CRunAptGet::SourcesFile(deps), entries))
        return;
    tracer.trace_out("sources list file modified...emitting signalSourcesListModified");
    emit signalSourcesListModified(deps);
}

bool CAPIGetSourcesList::UpdateSourcesList(const std::string& path, std::vector<CXMLNode*>& entries)
{
    CTracer tracer("CAPIGetSourcesList::UpdateSourcesList");
    const std::vector<Entry> accepted = AcceptedEntries(entries);
    const bool changed = Differ(ReadEntries(path), accepted);
    CRunAptGet::CreateAptGetDirs();
    const bool written = WriteEntries(path, accepted);
    qCDebug(logInstall, "%s has %zu entries, %s, %s", path.c_str(), accepted.size(),
            changed ? "changed" : "unchanged", written ? "written" : "not written");
    tracer.trace_out(written ? "successfully created sources list file"
                             : "failed to create sources list file");
    return changed && written;
}
