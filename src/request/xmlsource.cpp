// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/xmlsource.h"

#include <algorithm>
#include <cstring>

namespace Agent
{

namespace
{

constexpr int pieceSize = 32 * 1024;

const char* Find(const char* p, const char* end, char c)
{
    const void* found = std::memchr(p, c, std::size_t(end - p));
    return found ? static_cast<const char*>(found) : end;
}

bool IsSpace(char c)
{
    return c == '\t' || c == '\n' || c == '\r';
}

} // namespace

// Follows the markup just closely enough to know which bytes are in an attribute value. Text
// is passed on in one piece up to a value that contains a tab or line end; such values are
// rare, and only they are rewritten byte by byte.
void SpaceKeeper::Feed(const char* data, qsizetype size, QByteArray& out)
{
    const char* const end = data + size;
    const char* begin = data; // of the bytes that are passed on unchanged
    for (const char* p = data; p != end;) {
        if (m_state != State::Value) {
            p = Step(p, end);
            continue;
        }
        const char* const close = Find(p, end, m_quote);
        if (m_attributes && (m_return || std::any_of(p, close, IsSpace))) {
            out.append(begin, int(p - begin));
            AppendValue(p, close, out);
            begin = close;
        }
        p = close;
        if (close != end) {
            m_state = State::Tag;
            m_return = false;
            ++p;
        }
    }
    out.append(begin, int(end - begin));
}

// A carriage return followed by a line feed is one line end, and so is each of them alone.
void SpaceKeeper::AppendValue(const char* p, const char* end, QByteArray& out)
{
    for (; p != end; ++p) {
        if (*p == '\t')
            out += "&#9;";
        else if (*p == '\r' || (*p == '\n' && !m_return))
            out += "&#10;";
        else if (*p != '\n')
            out += *p;
        m_return = *p == '\r';
    }
}

const char* SpaceKeeper::Step(const char* p, const char* end)
{
    switch (m_state) {
    case State::Text:
        p = Find(p, end, '<');
        if (p == end)
            return end;
        m_state = State::Open;
        return p + 1;
    case State::Open:
        return AtOpen(p);
    case State::Declaration:
        return InDeclaration(p);
    case State::Until:
        return InUntil(p);
    case State::Tag:
    case State::Value:
        break;
    }
    return InTag(p, end);
}

const char* SpaceKeeper::AtOpen(const char* p)
{
    m_attributes = *p != '!' && *p != '?';
    m_word.clear();
    m_before[0] = m_before[1] = 0;
    m_last = "?";
    m_state = *p == '!' ? State::Declaration : *p == '?' ? State::Until : State::Tag;
    return p + 1;
}

// After "<!": a comment, CDATA, or a document type.
const char* SpaceKeeper::InDeclaration(const char* p)
{
    m_word += *p;
    if (m_word == "--" || m_word == "[CDATA[") {
        m_state = State::Until;
        m_last = m_word == "--" ? "--" : "]]";
    } else if (m_word == "DOCTYPE") {
        m_state = State::Tag;
    }
    return p + 1;
}

// In a comment, CDATA or an instruction, until its last bytes.
const char* SpaceKeeper::InUntil(const char* p)
{
    const bool two = m_last[1] != 0;
    if (*p == '>' && m_before[1] == m_last[0] && (!two || m_before[0] == m_last[0]))
        m_state = State::Text;
    m_before[0] = m_before[1];
    m_before[1] = *p;
    return p + 1;
}

const char* SpaceKeeper::InTag(const char* p, const char* end)
{
    for (; p != end; ++p) {
        if (*p == '>') {
            m_state = State::Text;
            return p + 1;
        }
        if (*p == '"' || *p == '\'') {
            m_quote = *p;
            m_state = State::Value;
            return p + 1;
        }
    }
    return end;
}

XmlSource::XmlSource(QIODevice& source) : m_source(source), m_piece(pieceSize, Qt::Uninitialized)
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 XmlSource::readData(char* data, qint64 maxSize)
{
    while (m_given == m_ready.size()) {
        const qint64 got = m_source.read(m_piece.data(), m_piece.size());
        if (got <= 0)
            return -1;
        m_ready.resize(0);
        m_given = 0;
        m_keeper.Feed(m_piece.constData(), qsizetype(got), m_ready);
    }
    const qsizetype size = std::min(qsizetype(maxSize), qsizetype(m_ready.size()) - m_given);
    std::memcpy(data, m_ready.constData() + m_given, std::size_t(size));
    m_given += size;
    return size;
}

} // namespace Agent
