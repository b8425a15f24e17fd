// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A node of a reply, for what reads a reply a piece at a time. A document would have the same
// nodes, but takes several times as long to make them and to look into them.

#pragma once

#include <QString>
#include <list>
#include <utility>
#include <vector>

class QXmlStreamReader;

namespace Agent
{

struct ReplyNode {
    enum class Kind { Element, Text, CData, Other };

    Kind kind = Kind::Element;
    QString words; // the value of texts and CDATA, the name of the others
    std::vector<std::pair<QString, QString>> attributes;
    std::list<ReplyNode> children; // a vector takes three times the memory while it grows

    bool IsElement() const { return kind == Kind::Element; }
    QString Name() const; // as a document calls it
    QString Attribute(QLatin1String wanted) const; // empty without it
    QString Text() const; // all below it
};

// The element whose start tag was read last.
ReplyNode ReadElement(const QXmlStreamReader& reader);

// Adds what was read last to the element that is open, the last one of `open`, or opens or
// closes one.
void AddNode(const QXmlStreamReader& reader, std::vector<ReplyNode*>& open);

} // namespace Agent
