// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replypieces.h"

#include "request/xmlsource.h"
#include "util/urltext.h"

#include <QXmlStreamReader>
#include <array>
#include <utility>
#include <vector>

namespace Agent
{

namespace
{

// What the reader is in: the envelope, its first element, and a child of this.
constexpr int inEnvelope = 1;
constexpr int inFirst = 2;
constexpr int inChild = 3;

class PieceReader
{
public:
    PieceReader(QIODevice& device, PieceTaker& taker) : m_source(device), m_taker(taker)
    {
        m_reader.setDevice(&m_source);
        m_reader.setNamespaceProcessing(false);
    }

    bool Read(const GoOn& goOn)
    {
        bool goesOn = true;
        while (goesOn && !m_reader.atEnd()) {
            m_reader.readNext();
            goesOn = m_skipped > 0 ? Skip() : m_open.empty() ? Between() : InPiece(goOn);
        }
        return goesOn && !m_reader.hasError() && m_found;
    }

private:
    // The elements after the first one do not count.
    bool Skip()
    {
        m_skipped += m_reader.isStartElement() ? 1 : m_reader.isEndElement() ? -1 : 0;
        return true;
    }

    // Outside of the pieces.
    bool Between()
    {
        if (m_reader.isStartElement())
            return Open();
        if (m_reader.isEndElement()) {
            if (m_depth-- > inEnvelope)
                m_taker.End();
            return true;
        }
        const bool isNode = m_reader.isComment() || m_reader.isEntityReference()
            || m_reader.isProcessingInstruction()
            || (m_reader.isCharacters() && (m_reader.isCDATA() || !m_reader.isWhitespace()));
        return !isNode || m_depth < inFirst;
    }

    bool Open()
    {
        if (m_depth == 0)
            return OpenEnvelope();
        if (m_depth == inEnvelope && m_found) {
            m_skipped = 1;
            return true;
        }
        ReplyNode element = ReadElement(m_reader);
        if (m_depth >= inFirst && !IsInOrder(element))
            return false;
        if (m_depth == inEnvelope || (m_depth == inFirst && m_taker.Divides(element))) {
            m_found = true;
            m_last[std::size_t(m_depth++)].clear();
            m_taker.Start(element);
        } else {
            m_nodes = 1 + element.attributes.size();
            m_piece = std::move(element);
            m_open.push_back(&m_piece);
        }
        return true;
    }

    bool OpenEnvelope()
    {
        m_depth = inEnvelope;
        return m_reader.qualifiedName() == QLatin1String("agentfunction")
            && m_reader.attributes().value(QLatin1String("resultcode")) == QLatin1String("OK");
    }

    // Whether its name is not below that of the child before.
    bool IsInOrder(const ReplyNode& element)
    {
        std::string name = url_decode_utf8(element.words);
        std::string& last = m_last[std::size_t(m_depth - 1)];
        const bool inOrder = last <= name;
        last = std::move(name);
        return inOrder;
    }

    bool InPiece(const GoOn& goOn)
    {
        if (!m_reader.isEndElement())
            m_nodes += 1 + std::size_t(m_reader.attributes().size());
        if (m_nodes > mostPieceNodes)
            return false;
        AddNode(m_reader, m_open);
        if (!m_open.empty())
            return true;
        m_taker.Take(m_piece);
        return !goOn || goOn();
    }

    XmlSource m_source;
    QXmlStreamReader m_reader;
    PieceTaker& m_taker;
    ReplyNode m_piece;
    std::size_t m_nodes = 0; // of the piece
    std::vector<ReplyNode*> m_open; // in the piece, itself first; empty: between the pieces
    std::array<std::string, inChild> m_last; // the child before, of the divided elements
    int m_depth = 0;
    int m_skipped = 0; // elements that are open and do not count
    bool m_found = false; // the first element
};

} // namespace

bool ReadPieces(QIODevice& device, PieceTaker& taker, const GoOn& goOn)
{
    return device.seek(0) && PieceReader(device, taker).Read(goOn);
}

} // namespace Agent
