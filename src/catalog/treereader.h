// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Makes CXMLNodes of what an XML parser reads, without a document in between: that would take
// four times the memory of the nodes, and more than half of the time.
//
// The nodes are those that CXMLNode::ReadNode makes. They are shown to nobody before the text
// has been read whole, so that a text which is not well-formed changes no tree.

#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

class CXMLNode;
class QXmlStreamReader;

namespace Agent
{

class TreeReader
{
public:
    TreeReader();
    ~TreeReader();
    TreeReader(const TreeReader&) = delete;
    TreeReader& operator=(const TreeReader&) = delete;

    // Takes what was read last. What is outside the root element is skipped.
    void Take(const QXmlStreamReader& reader);

    // Gives the root's name, attributes, text and children to `tree`, in addition to its own.
    void GiveTo(CXMLNode& tree);

private:
    void Open(const QXmlStreamReader& reader);
    void OpenRoot(const QXmlStreamReader& reader);
    void Add(std::unique_ptr<CXMLNode> child);
    void AddNamed(const std::string& name);
    void SetValue(const QXmlStreamReader& reader);

    // The root is the caller's tree, and gets what is kept here at the end.
    std::string m_name;
    std::vector<std::pair<std::string, std::string>> m_attributes;
    std::unique_ptr<std::string> m_value; // null without a text
    std::vector<std::unique_ptr<CXMLNode>> m_children;

    std::vector<CXMLNode*> m_open; // the elements that are open; null for the root
};

} // namespace Agent
