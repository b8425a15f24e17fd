// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CXMLNode
/// The library's own tree of XML elements: the saved part of a server's reply, which
/// can be searched, sorted, pruned, and written to a file.
///
///     CXMLNode root(nullptr);
///     QDomNode reply = document.documentElement();
///     root.ReadNode(reply);
///     for (CXMLNode* product : root.ChildArray("product"))
///         std::cout << product->ChildValue("name", "?") << '\n';
///     root.SaveNode(file, 0);
///
/// Names and values are URL-decoded when read and values URL-encoded when
/// written. There is no other escaping, so other programs may not be able to read the
/// written form as XML. Strings are UTF-8.
///
/// Children are grouped by their name: groups in ascending byte order of the
/// name, children of one group in the order in which they came.
///
/// Ownership: a node deletes its children, so make a child with `new`, and do not use
/// pointers to it after its parent is gone. Copying a node does not copy its children:
/// both nodes then hold the same ones, and the caller must call ShareNothing on one of
/// them so that only the other deletes them.
///
/// Reading, writing and deleting descend into children by recursion through the
/// virtual functions. Code that reads replies limits their depth (512) first.

#pragma once

#include <QDomNode>
#include <iosfwd>
#include <map>
#include <string>
#include <vantrelagent/export.h>
#include <vector>

class VANTRELAGENT_EXPORT CXMLNode
{
public:
    /// An empty node; `parent` may be null, and does not get the node as a child.
    explicit CXMLNode(CXMLNode* parent);
    /// As operator=; the copy has no parent.
    CXMLNode(CXMLNode& other);
    /// Deletes this node's children, then takes name, value and attributes of
    /// `other` and shares its children. The parent stays. `other` must not be
    /// below this node. Assigning a node to itself does nothing.
    CXMLNode& operator=(CXMLNode& other);
    virtual ~CXMLNode();

    /// Writes the node and everything below it, each element on its own line, which
    /// begins with `level` blanks, one more for each level below; a level of -1 writes
    /// no blanks at all. The stream is flushed after each element.
    virtual void SaveNode(std::ostream& out, int level);
    /// What SaveNode writes before the children: the start tag, and the value.
    void SaveStart(std::ostream& out, int level) const;
    /// What it writes after them: the end tag.
    void SaveEnd(std::ostream& out, int level) const;

    /// Takes name, attributes, text and children of a DOM node, in addition to the
    /// present ones. Of several pieces of text, the last one becomes the value.
    /// Children of other kinds (comments, CDATA) also become nodes, under their DOM
    /// names. Reading stops after a child whose ReadNode returns false, and then
    /// returns false; this class itself never fails.
    virtual bool ReadNode(QDomNode& node);
    /// Reads the attributes only.
    virtual void BuildAttributes(QDomNode& node);

    virtual void Parent(CXMLNode* parent); ///< sets the parent, which is not changed
    virtual void Name(const std::string& name); ///< sets the name
    virtual void Value(const std::string& value); ///< sets the text

    /// Sets or replaces an attribute. The form for a number stores the one
    /// character whose code is its low 8 bits, not its digits.
    /// @{
    virtual void AddAttribute(const std::string& name, const std::string& value);
    virtual void AddAttribute(const std::string& name, const int& value);
    /// @}

    /// Takes ownership of `child`, as the last of the group of its current name;
    /// changing the name later does not move it. Null is ignored.
    virtual void AddChild(CXMLNode* child);

    /// Removes an attribute, if it exists.
    virtual void DeleteAttribute(const std::string& name);

    /// Removes and deletes a child. Does nothing when it is null, or not in the group
    /// of its name in this node.
    virtual void DeleteChild(CXMLNode* child);

    /// Removes and deletes the first child of a group, or with `all` every one.
    /// The group itself stays, maybe empty. The first child of an empty group
    /// must not be asked for (nothing happens).
    virtual void DeleteChild(const std::string& name, bool all);

    /// SaveNode to standard output.
    virtual void Dump(int level);

    /// Deletes all children and empties the node; the parent stays.
    void CleanUp();

    /// Forgets the children without deleting them: for one of two nodes that hold the
    /// same children.
    void ShareNothing();

    std::string Name() const; ///< the name
    std::string Value() const; ///< the text; empty without one
    CXMLNode* Parent() const; ///< the parent, or null

    /// The attribute's value, even if it is empty; the default if there is no such
    /// attribute.
    std::string Attribute(const std::string& name, const std::string& sDefault) const;
    /// Whether there is such an attribute.
    bool AttributeExists(const std::string& name) const;

    /// True also for a group that is present but empty.
    bool ChildExists(const std::string& name) const;

    /// The children named `name`; borrowed. The call creates a missing group, empty:
    /// ChildExists and ChildCount see it from then on.
    std::vector<CXMLNode*> ChildArray(const std::string& name);

    /// The value of the first child named `name`, or the default without one.
    /// Creates a missing group as ChildArray does.
    std::string ChildValue(const std::string& name, const std::string& sDefault);

    /// The number of groups, which is the number of different names of children.
    int ChildCount() const;

    /// Sorts `nodes` (not the group they came from) by the text of an attribute,
    /// absent ones as empty. Sets CXMLNodeCompare's settings for the process:
    /// one sort at a time. The order of equal nodes is not promised.
    static void SortChildrenByAttribute(std::vector<CXMLNode*>& nodes, const std::string& attribute,
                                        bool reverse, bool ignoreCase);

private:
    using Group = std::vector<CXMLNode*>;

    std::string m_name;
    std::string m_value;
    CXMLNode* m_parent = nullptr;
    std::map<std::string, Group> m_children;
    std::map<std::string, std::string> m_attributes;
};

/// The order of nodes by one attribute, compared byte by byte. The reverse order is the
/// plain negation, so it is true for equal nodes as well, and must not be passed to
/// std::sort.
class VANTRELAGENT_EXPORT CXMLNodeCompare
{
public:
    /// Whether `a` comes before `b`.
    bool operator()(const CXMLNode* a, const CXMLNode* b) const;

    static std::string m_sSortAttribute; ///< the attribute; absent ones count as empty
    static bool m_bReverseOrder; ///< negate the order
    static bool m_bIgnoreCase; ///< compare without regard to letter case
};
