// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/savedtree.h"

#include "base/wholefile.h"
#include "catalog/cxmlnode.h"
#include "catalog/savedpieces.h"
#include "catalog/treereader.h"
#include "request/replydocument.h"
#include "request/replynode.h"
#include "util/eventwait.h"
#include "util/logcatalog.h"
#include "util/paths.h"
#include "util/urltext.h"

#include <QDomDocument>
#include <QFile>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <sys/stat.h>
#include <typeinfo>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace Agent;

namespace
{

// Writes a stream into a file, a block at a time. A tree flushes after each of its elements,
// which is ignored.
class FileBuffer : public std::streambuf
{
public:
    explicit FileBuffer(FileReplacement& file) : m_file(file) { Start(); }

    // Writes the last block.
    bool Finish() { return Empty(); }

protected:
    int_type overflow(int_type c) override
    {
        if (!Empty())
            return traits_type::eof();
        return traits_type::eq_int_type(c, traits_type::eof()) ? traits_type::not_eof(c)
                                                               : sputc(char(c));
    }

private:
    void Start() { setp(m_block.data(), m_block.data() + m_block.size()); }
    bool Empty()
    {
        const bool written = m_file.Write({ pbase(), std::size_t(pptr() - pbase()) });
        Start();
        return written;
    }

    FileReplacement& m_file;
    std::array<char, 16384> m_block;
};

// What is private to the account is for its owner only; anything else may be read by all,
// as far as the process's umask allows.
mode_t ModeOfNew(bool secret)
{
    return secret ? 0600 : 0644;
}

// The file replaces an older one: it gets the same permissions, and the same owner if this
// process may change owners.
void TakeAfter(int fd, const struct stat& before, bool secret)
{
    fchmod(fd, secret ? 0600 : before.st_mode & 0777);
    if (fchown(fd, before.st_uid, before.st_gid) != 0)
        return;
}

bool IsText(const QDomNode& node)
{
    return node.nodeType() == QDomNode::TextNode;
}

// Reads a node without its children, but with its text: of several the last one counts.
void ReadAlone(QDomNode node, CXMLNode& tree)
{
    tree.Name(url_decode_utf8(node.nodeName()));
    tree.BuildAttributes(node);
    QDomNode text;
    for (QDomNode child = node.firstChild(); !child.isNull(); child = child.nextSibling())
        if (IsText(child))
            text = child;
    tree.Value(url_decode_utf8(text.nodeValue()));
}

void ReadAlone(const ReplyNode* node, CXMLNode& tree)
{
    tree.Name(url_decode_utf8(node->Name()));
    for (const auto& [key, value] : node->attributes)
        tree.AddAttribute(key.toStdString(), url_decode_utf8(value));
    const auto text
        = std::find_if(node->children.rbegin(), node->children.rend(),
                       [](const ReplyNode& child) { return child.kind == ReplyNode::Kind::Text; });
    if (text != node->children.rend())
        tree.Value(url_decode_utf8(text->words));
}

std::string NameOf(const QDomNode& node)
{
    return url_decode_utf8(node.nodeName());
}

std::string NameOf(const ReplyNode* node)
{
    return url_decode_utf8(node->Name());
}

std::vector<QDomNode> Children(const QDomNode& node)
{
    std::vector<QDomNode> children;
    for (QDomNode child = node.firstChild(); !child.isNull(); child = child.nextSibling())
        if (!IsText(child))
            children.push_back(child);
    return children;
}

std::vector<const ReplyNode*> Children(const ReplyNode* node)
{
    std::vector<const ReplyNode*> children;
    for (const ReplyNode& child : node->children)
        if (child.kind != ReplyNode::Kind::Text)
            children.push_back(&child);
    return children;
}

// Sorts by name; with equal names the order stays. The names of many nodes would take more
// memory than may be spent, so they are made for each comparison then.
template <typename Node> void SortByName(std::vector<Node>& nodes, Pacer& pacer)
{
    constexpr std::size_t many = 1000;
    if (nodes.size() >= many) {
        std::stable_sort(nodes.begin(), nodes.end(), [&pacer](const Node& a, const Node& b) {
            pacer.Breathe();
            return NameOf(a) < NameOf(b);
        });
        return;
    }
    std::vector<std::pair<std::string, Node>> named;
    named.reserve(nodes.size());
    for (const Node& node : nodes)
        named.emplace_back(NameOf(node), node);
    std::stable_sort(named.begin(), named.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::transform(named.begin(), named.end(), nodes.begin(),
                   [](const auto& one) { return one.second; });
}

template <typename Node> bool IsSortedByName(const std::vector<Node>& nodes)
{
    std::string last;
    for (const Node& node : nodes) {
        std::string name = NameOf(node);
        if (name < last)
            return false;
        last = std::move(name);
    }
    return true;
}

// Writes the same as the tree of a node would, an element at a time: the whole tree of a
// catalog takes as much memory as its document, and most of the time goes into making it.
// Children are in the order of a tree: by name, and with equal names as in the document.
// Events are processed between the elements.
template <typename Node> void WriteTree(const Node& node, std::ostream& out, Pacer& pacer)
{
    pacer.Breathe();
    CXMLNode tree(nullptr);
    ReadAlone(node, tree);
    tree.SaveStart(out, -1);
    auto children = Children(node);
    if (!IsSortedByName(children))
        SortByName(children, pacer);
    for (const auto& child : children)
        WriteTree(child, out, pacer);
    tree.SaveEnd(out, -1);
}

// Syncs most of the file while events are processed; the rest is synced when the file
// replaces the old one. The system reports an error only once, so it counts here.
bool WriteOut(int descriptor)
{
    constexpr off_t large = 1024 * 1024;
    struct stat info = {};
    if (fstat(descriptor, &info) == 0 && info.st_size < large)
        return true;
    bool written = false;
    PassEventsBeside(
        [&written, descriptor] { written = fdatasync(descriptor) == 0 || errno == EINVAL; });
    return written;
}

enum class Meanwhile { Nothing, Events };

// Replaces a file by the text that is written into the stream, unless the writer gives up.
// `own` gets the status of the new file.
bool Save(FileReplacement& file, const std::string& path, Meanwhile meanwhile,
          const std::function<bool(std::ostream&)>& write, struct stat* own = nullptr)
{
    FileBuffer buffer(file);
    std::ostream out(&buffer);
    if (!write(out))
        return false;
    const bool written = out && buffer.Finish()
        && (meanwhile == Meanwhile::Nothing || WriteOut(file.Get()))
        && (!own || fstat(file.Get(), own) == 0) && file.Commit();
    if (written)
        qCDebug(logCatalog, "wrote %s", path.c_str());
    else
        qCInfo(logCatalog, "cannot replace %s: %s", path.c_str(), std::strerror(errno));
    return written;
}

bool IsSecret(const char* name)
{
    return std::strcmp(name, ".profile") == 0;
}

std::string PathOf(const char* name)
{
    return QFile::encodeName(SavedTreePath(name)).toStdString();
}

bool SaveFile(const char* name, Meanwhile meanwhile,
              const std::function<void(std::ostream&)>& write)
{
    const std::string path = PathOf(name);
    struct stat before = {};
    const bool isNew = stat(path.c_str(), &before) != 0;
    FileReplacement file = FileReplacement::Following(path, ModeOfNew(IsSecret(name)));
    if (!file) {
        qCInfo(logCatalog, "cannot write %s: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    if (!isNew)
        TakeAfter(file.Get(), before, IsSecret(name));
    return Save(file, path, meanwhile, [&write](std::ostream& out) { return write(out), true; });
}

bool Refused(const QString& path)
{
    qCInfo(logCatalog, "cannot take %s for a saved reply", qUtf8Printable(path));
    return false;
}

bool ReadTokens(const QString& path, CXMLNode& tree)
{
    TreeReader nodes;
    if (!ReadSavedTokens(path, [&nodes](const QXmlStreamReader& reader) { nodes.Take(reader); }))
        return Refused(path);
    nodes.GiveTo(tree);
    return true;
}

bool ReadDocument(const QString& path, CXMLNode& tree)
{
    QDomDocument document;
    if (!ReadSavedDocument(path, document))
        return Refused(path);
    QDomNode root = document.documentElement();
    return tree.ReadNode(root);
}

} // namespace

QString Agent::SavedTreePath(const char* name)
{
    return SystemPath(GetRootPath() + QLatin1String(name));
}

bool Agent::ReadFirstElement(const QDomElement& body, CXMLNode& tree)
{
    QDomNode first = body.firstChildElement();
    return !first.isNull() && tree.ReadNode(first);
}

bool Agent::SaveTree(CXMLNode& tree, const char* name)
{
    return SaveFile(name, Meanwhile::Nothing,
                    [&tree](std::ostream& out) { tree.SaveNode(out, -1); });
}

void Agent::SaveFirstElement(const QDomElement& body, const char* name)
{
    const QDomElement first = body.firstChildElement();
    if (!first.isNull())
        SaveFile(name, Meanwhile::Events, [&first](std::ostream& out) {
            Pacer pacer;
            WriteTree(QDomNode(first), out, pacer);
        });
}

void Agent::SaveStart(const ReplyNode& element, std::ostream& out)
{
    CXMLNode tree(nullptr);
    ReadAlone(&element, tree);
    tree.SaveStart(out, -1);
}

void Agent::SavePiece(const ReplyNode& element, std::ostream& out)
{
    Pacer pacer;
    WriteTree(&element, out, pacer);
}

void Agent::SaveEnd(const ReplyNode& element, std::ostream& out)
{
    CXMLNode tree(nullptr);
    tree.Name(url_decode_utf8(element.words));
    tree.SaveEnd(out, -1);
}

Saving Agent::SavePieces(const char* name, struct stat& own,
                         const std::function<bool(std::ostream&)>& write)
{
    const std::string path = PathOf(name), target = FinalPath(path);
    struct stat before = {};
    const bool isNew = stat(path.c_str(), &before) != 0;
    if (!isNew && access(target.c_str(), W_OK) != 0)
        return Saving::NotInPieces;
    FileReplacement file(target, ModeOfNew(IsSecret(name)));
    if (!file)
        return Saving::NotInPieces;
    if (!isNew)
        TakeAfter(file.Get(), before, IsSecret(name));
    bool whole = true;
    const bool saved = Save(
        file, path, Meanwhile::Events, [&](std::ostream& out) { return whole = write(out); }, &own);
    return saved ? Saving::Done : whole ? Saving::Failed : Saving::NotInPieces;
}

// A class derived from CXMLNode sees the nodes of a document in its ReadNode. The children of a
// CXMLNode are all CXMLNodes, which nobody can tell from those that are made without one.
bool Agent::ReadSavedTree(const char* name, CXMLNode& tree)
{
    const QString path = SavedTreePath(name);
    return typeid(tree) == typeid(CXMLNode) ? ReadTokens(path, tree) : ReadDocument(path, tree);
}
