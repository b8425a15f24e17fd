// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The nodes of a reply, made from what the parser reads: the same in a document as in pieces
// of it.

#pragma once

class QDomDocument;
class QDomElement;
class QDomNode;
class QXmlStreamReader;

namespace Agent
{

// The element whose start tag was read last.
QDomElement MakeElement(const QXmlStreamReader& reader, QDomDocument& document);

// Adds what was read last to the node that is open, or opens or closes one: `parent`.
void AddNode(const QXmlStreamReader& reader, QDomDocument& document, QDomNode& parent);

} // namespace Agent
