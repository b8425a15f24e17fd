// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/cxmlnode.h"

#include "support/ctracer.h"
#include "util/text.h"
#include "util/urlcodec.h"
#include "util/urltext.h"

#include <QDomElement>
#include <QDomNamedNodeMap>
#include <algorithm>
#include <iostream>
#include <memory>

using namespace Agent;

namespace
{

bool IsText(const QDomNode& node)
{
    return node.nodeType() == QDomNode::TextNode
        || node.nodeName().compare(QLatin1String("#text"), Qt::CaseInsensitive) == 0;
}

QString TextOf(const QDomNode& node)
{
    return node.isElement() ? node.toElement().text() : node.nodeValue();
}

void Indent(std::string& line, int level)
{
    if (level > 0)
        line.append(std::size_t(level), ' ');
}

void Write(std::ostream& out, const std::string& text)
{
    out.write(text.data(), std::streamsize(text.size()));
}

} // namespace

CXMLNode::CXMLNode(CXMLNode* parent) : m_parent(parent) { }

CXMLNode::CXMLNode(CXMLNode& other)
{
    *this = other;
}

// A shallow copy: both nodes then refer to the same children. ShareNothing gives them up, so
// that they are not deleted twice.
CXMLNode& CXMLNode::operator=(CXMLNode& other)
{
    if (&other == this)
        return *this;
    CleanUp();
    Name(other.Name());
    Value(other.Value());
    m_attributes = other.m_attributes;
    m_children = other.m_children;
    return *this;
}

CXMLNode::~CXMLNode()
{
    CleanUp();
}

void CXMLNode::CleanUp()
{
    // A child's destructor must not meet half-deleted groups through its parent.
    std::map<std::string, Group> children;
    children.swap(m_children);
    for (const auto& group : children) {
        for (CXMLNode* child : group.second)
            delete child;
    }
    m_attributes.clear();
    m_name.clear();
    m_value.clear();
}

void CXMLNode::ShareNothing()
{
    m_children.clear();
}

// The children are stored by name, so they are written in the order of their names, and those
// with equal names in the order of the document.
void CXMLNode::SaveNode(std::ostream& out, int level)
{
    SaveStart(out, level);
    for (const auto& group : m_children) {
        for (CXMLNode* child : group.second)
            child->SaveNode(out, level < 0 ? -1 : level + 1);
    }
    SaveEnd(out, level);
}

void CXMLNode::SaveStart(std::ostream& out, int level) const
{
    std::string line;
    Indent(line, level);
    line.append("<").append(m_name);
    for (const auto& attribute : m_attributes) {
        line.append(" ").append(attribute.first).append("=\"");
        line.append(url_encode(attribute.second)).append("\"");
    }
    line.append(">").append(url_encode(m_value));
    Write(out, line);
}

void CXMLNode::SaveEnd(std::ostream& out, int level) const
{
    std::string line;
    Indent(line, level);
    line.append("</").append(m_name).append(">\n");
    Write(out, line);
    out.flush();
}

// Recursive: the gate limits the depth of a document before it gets here. Of several texts in
// an element only the last one stays.
bool CXMLNode::ReadNode(QDomNode& node)
{
    Name(url_decode_utf8(node.nodeName()));
    BuildAttributes(node);
    bool ok = true;
    for (QDomNode child = node.firstChild(); ok && !child.isNull(); child = child.nextSibling()) {
        if (IsText(child)) {
            Value(url_decode_utf8(TextOf(child)));
            continue;
        }
        auto added = std::make_unique<CXMLNode>(this);
        ok = added->ReadNode(child);
        Group& group = m_children[added->m_name];
        group.push_back(added.get());
        static_cast<void>(added.release());
    }
    return ok;
}

void CXMLNode::BuildAttributes(QDomNode& node)
{
    if (!node.hasAttributes())
        return;
    const QDomNamedNodeMap attributes = node.attributes();
    const int count = attributes.count();
    for (int i = 0; i < count; ++i) {
        const QDomNode attribute = attributes.item(i);
        const std::string name = attribute.nodeName().toStdString();
        if (!name.empty())
            m_attributes[name] = url_decode_utf8(attribute.nodeValue());
    }
}

void CXMLNode::Parent(CXMLNode* parent)
{
    m_parent = parent;
}

void CXMLNode::Name(const std::string& name)
{
    m_name = name;
}

void CXMLNode::Value(const std::string& value)
{
    m_value = value;
}

void CXMLNode::AddAttribute(const std::string& name, const std::string& value)
{
    m_attributes[name] = value;
}

void CXMLNode::AddAttribute(const std::string& name, const int& value)
{
    m_attributes[name] = static_cast<char>(value);
}

void CXMLNode::AddChild(CXMLNode* child)
{
    if (!child)
        return;
    child->Parent(this);
    m_children[child->Name()].push_back(child);
}

void CXMLNode::DeleteAttribute(const std::string& name)
{
    m_attributes.erase(name);
}

void CXMLNode::DeleteChild(CXMLNode* child)
{
    const CTracer tracer("CXMLNode::DeleteChild(CXMLNode *)");
    const auto group = child ? m_children.find(child->Name()) : m_children.end();
    if (group == m_children.end())
        return;
    const auto found = std::find(group->second.begin(), group->second.end(), child);
    if (found == group->second.end())
        return;
    group->second.erase(found);
    delete child;
}

void CXMLNode::DeleteChild(const std::string& name, bool all)
{
    const CTracer tracer("CXMLNode::DeleteChild(const std::string &, bool)");
    const auto group = m_children.find(name);
    if (group == m_children.end() || group->second.empty())
        return;
    const auto last = all ? group->second.end() : group->second.begin() + 1;
    const Group removed(group->second.begin(), last);
    group->second.erase(group->second.begin(), last);
    for (CXMLNode* child : removed)
        delete child;
}

void CXMLNode::Dump(int level)
{
    SaveNode(std::cout, level);
}

std::string CXMLNode::Name() const
{
    return m_name;
}

std::string CXMLNode::Value() const
{
    return m_value;
}

CXMLNode* CXMLNode::Parent() const
{
    return m_parent;
}

std::string CXMLNode::Attribute(const std::string& name, const std::string& sDefault) const
{
    const auto found = m_attributes.find(name);
    return found == m_attributes.end() ? sDefault : found->second;
}

bool CXMLNode::AttributeExists(const std::string& name) const
{
    return m_attributes.count(name) != 0;
}

bool CXMLNode::ChildExists(const std::string& name) const
{
    return m_children.count(name) != 0;
}

std::vector<CXMLNode*> CXMLNode::ChildArray(const std::string& name)
{
    return m_children[name];
}

std::string CXMLNode::ChildValue(const std::string& name, const std::string& sDefault)
{
    const Group& group = m_children[name];
    return group.empty() ? sDefault : group.front()->Value();
}

int CXMLNode::ChildCount() const
{
    return int(m_children.size());
}

void CXMLNode::SortChildrenByAttribute(std::vector<CXMLNode*>& nodes, const std::string& attribute,
                                       bool reverse, bool ignoreCase)
{
    CXMLNodeCompare::m_sSortAttribute = attribute;
    CXMLNodeCompare::m_bReverseOrder = reverse;
    CXMLNodeCompare::m_bIgnoreCase = ignoreCase;
    // A node sorts before another one if the predicate says so, and does not say the same
    // with both exchanged. This is a strict order even if the negated predicate is not, and
    // without a strict order a sort may run out of its range.
    const CXMLNodeCompare before;
    std::stable_sort(nodes.begin(), nodes.end(), [&before](const CXMLNode* a, const CXMLNode* b) {
        return before(a, b) && !before(b, a);
    });
}

std::string CXMLNodeCompare::m_sSortAttribute;
bool CXMLNodeCompare::m_bReverseOrder = false;
bool CXMLNodeCompare::m_bIgnoreCase = false;

bool CXMLNodeCompare::operator()(const CXMLNode* a, const CXMLNode* b) const
{
    std::string first = a->Attribute(m_sSortAttribute, std::string());
    std::string second = b->Attribute(m_sSortAttribute, std::string());
    if (m_bIgnoreCase) {
        first = UpCase(first);
        second = UpCase(second);
    }
    return (first < second) != m_bReverseOrder;
}
