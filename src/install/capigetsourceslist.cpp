// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/capigetsourceslist.h"

#include "base/wholefile.h"
#include "catalog/cxmlnode.h"
#include "install/crunaptget.h"
#include "install/privatetree.h"
#include "support/ctracer.h"
#include "util/loginstall.h"
#include "util/standardoutput.h"
#include "util/translated.h"

#include <algorithm>
#include <fstream>
#include <numeric>
#include <sys/stat.h>

using namespace Agent;

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

// Whether an entry is safe as a line of a sources file: it fits on one line, has no
// comment except ours, and no option block, which could make the package tools trust a
// repository or fetch it by other means.
bool IsOneLine(const Entry& entry)
{
    const auto plain = [](const std::string& text, const char* refused) {
        return std::none_of(text.begin(), text.end(), [refused](unsigned char c) {
            return c < ' ' || c == 0x7F || std::string(refused).find(char(c)) != std::string::npos;
        });
    };
    return !entry.text.empty() && plain(entry.text, "#[") && plain(entry.timestamp, "");
}

std::vector<Entry> AcceptedEntries(const std::vector<CXMLNode*>& nodes, CTracer& tracer)
{
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

// The older entries, each to be found once, by the beginning of its text.
//
// They are sorted by their texts, so that those with a common beginning are
// neighbours. Of several matches the first one in the file counts: a tree over the sorted
// entries holds the smallest file position of each range.
class OlderEntries
{
public:
    explicit OlderEntries(const std::vector<Entry>& entries)
        : m_entries(entries), m_left(entries.size()), m_size(entries.size()), m_order(m_size),
          m_first(2 * m_size, taken)
    {
        std::iota(m_order.begin(), m_order.end(), std::size_t(0));
        std::stable_sort(m_order.begin(), m_order.end(), [&entries](std::size_t a, std::size_t b) {
            return entries[a].text < entries[b].text;
        });
        std::copy(m_order.begin(), m_order.end(), m_first.begin() + std::ptrdiff_t(m_size));
        for (std::size_t node = m_size; node-- > 1;)
            m_first[node] = std::min(m_first[2 * node], m_first[2 * node + 1]);
    }

    // Removes and returns the first entry that begins with `text`, or null.
    const Entry* Take(const std::string& text)
    {
        const auto begins
            = [&](std::size_t at) { return m_entries[at].text.compare(0, text.size(), text); };
        const auto from = std::partition_point(m_order.begin(), m_order.end(),
                                               [&](std::size_t at) { return begins(at) < 0; });
        const auto to = std::partition_point(from, m_order.end(),
                                             [&](std::size_t at) { return begins(at) == 0; });
        const std::size_t place
            = Smallest(std::size_t(from - m_order.begin()), std::size_t(to - m_order.begin()));
        if (place == taken)
            return nullptr;
        Remove(place);
        return &m_entries[place];
    }

    bool IsEmpty() const { return m_left == 0; }

private:
    static constexpr std::size_t taken = std::size_t(-1);

    std::size_t Smallest(std::size_t from, std::size_t to) const
    {
        std::size_t place = taken;
        for (from += m_size, to += m_size; from < to; from /= 2, to /= 2) {
            if (from % 2 == 1)
                place = std::min(place, m_first[from++]);
            if (to % 2 == 1)
                place = std::min(place, m_first[--to]);
        }
        return place;
    }

    void Remove(std::size_t place)
    {
        const std::string& text = m_entries[place].text;
        auto at = std::lower_bound(m_order.begin(), m_order.end(), place,
                                   [&](std::size_t a, std::size_t b) {
                                       const int order = m_entries[a].text.compare(text);
                                       return order < 0 || (order == 0 && a < b);
                                   });
        std::size_t node = std::size_t(at - m_order.begin()) + m_size;
        m_first[node] = taken;
        while ((node /= 2) > 0)
            m_first[node] = std::min(m_first[2 * node], m_first[2 * node + 1]);
        --m_left;
    }

    const std::vector<Entry>& m_entries;
    std::size_t m_left; // entries not taken out
    const std::size_t m_size;
    std::vector<std::size_t> m_order; // places in the file, sorted by text
    std::vector<std::size_t> m_first; // the tree; its leaves are from m_size on
};

// Whether the new entries differ from the older ones. An entry is found by its text,
// which may be the beginning of the older one's.
bool Differ(const std::vector<Entry>& before, const std::vector<Entry>& now)
{
    OlderEntries older(before);
    bool changed = false;
    for (const Entry& entry : now) {
        const Entry* found = older.Take(entry.text);
        if (!found) {
            changed = true;
        } else if (found->timestamp != entry.timestamp) {
            WriteLine("\n" + entry.text + " - timestamp modified [" + found->timestamp + "] != ["
                      + entry.timestamp + "]\n");
            changed = true;
        }
    }
    return changed || !older.IsEmpty();
}

bool WriteEntries(const std::string& path, const std::vector<Entry>& entries)
{
    std::string text;
    for (const Entry& entry : entries)
        text += entry.text + "  #" + entry.timestamp + '\n';
    struct stat before = {};
    const bool isNew = stat(path.c_str(), &before) != 0;
    FileReplacement file = FileReplacement::Following(path, 0666);
    if (file && !isNew)
        fchmod(file.Get(), before.st_mode & 0777);
    return file && file.Write(text) && file.Commit();
}

} // namespace

class CAPIGetSourcesList::Private
{
public:
    bool m_bHasTree = false; // part of a run that has the private tree
};

CAPIGetSourcesList::CAPIGetSourcesList(bool bSilent, bool bWait)
    : CAPI(bSilent, false, bWait), d(std::make_unique<Private>())
{
    CTracer tracer("CAPIGetSourcesList::CAPIGetSourcesList");
    CopiesReply();
}

CAPIGetSourcesList::~CAPIGetSourcesList() = default;

void CAPIGetSourcesList::SetHasTree(bool hasTree)
{
    d->m_bHasTree = hasTree;
}

void CAPIGetSourcesList::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetSourcesList::onSuccessfulTransfer");
    CXMLNode body(nullptr);
    if (!body.ReadNode(*pElement))
        return;
    const std::vector<CXMLNode*> lists = body.ChildArray("list");
    if (lists.empty()) {
        m_bSucceeded = false;
        SetFailure(AgentError::ReplyNotUnderstood,
                   Translated("The store server sent no list of package sources."));
    }
    TreeLock tree(CRunAptGet::m_sAptGetDir);
    if (lists.empty() || d->m_bHasTree)
        ProcessLists(lists);
    else if (TakeTree(tree))
        ProcessLists(lists);
}

void CAPIGetSourcesList::ProcessLists(const std::vector<CXMLNode*>& lists)
{
    const TreeLock::Work work;
    for (CXMLNode* list : lists)
        ProcessSourcesListEntry(list);
}

bool CAPIGetSourcesList::TakeTree(TreeLock& tree)
{
    const unsigned aborts = AbortCount();
    const auto isAborted = [aborts] { return AbortCount() != aborts; };
    if (tree.Take([this](const std::string& text) { emit signalWaitingFor(text); }, isAborted))
        return true;
    m_bSucceeded = false;
    if (isAborted())
        SetFailure(AgentError::Cancelled);
    else
        SetFailure(AgentError::LockHeld, QString::fromStdString(tree.BusyText()));
    return false;
}

// The tree is marked before its file changes: if the refresh does not complete, for any
// reason, the next list requests it again.
void CAPIGetSourcesList::ProcessSourcesListEntry(CXMLNode* list)
{
    CTracer tracer("CAPIGetSourcesList::ProcessSourcesListEntry");
    std::vector<CXMLNode*> entries = list->ChildArray("entry");
    const bool deps = list->Attribute("type", "") == "dep";
    const bool pending = CRunAptGet::IsRefreshPending(deps);
    CRunAptGet::SetRefreshPending(deps, true);
    const bool changed = UpdateSourcesList(CRunAptGet::SourcesFile(deps), entries);
    if (!changed && !pending) {
        CRunAptGet::SetRefreshPending(deps, false);
        return;
    }
    tracer.trace_out(changed ? "sources list file modified...emitting signalSourcesListModified"
                             : "the last refresh has failed...emitting signalSourcesListModified");
    const TreeLock::Loan loan(!d->m_bHasTree);
    emit signalSourcesListModified(deps);
}

bool CAPIGetSourcesList::UpdateSourcesList(const std::string& path, std::vector<CXMLNode*>& entries)
{
    CTracer tracer("CAPIGetSourcesList::UpdateSourcesList");
    const std::vector<Entry> accepted = AcceptedEntries(entries, tracer);
    const bool changed = Differ(ReadEntries(path), accepted);
    CRunAptGet::CreateAptGetDirs();
    const bool written = WriteEntries(path, accepted);
    qCDebug(logInstall, "%s has %zu entries, %s, %s", path.c_str(), accepted.size(),
            changed ? "changed" : "unchanged", written ? "written" : "not written");
    tracer.trace_out(written ? "successfully created sources list file"
                             : "failed to create sources list file");
    return changed && written;
}
