// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Feeds a text to the parser, which would turn the tabs and line ends in attribute
// values into blanks.

#pragma once

#include <QByteArray>
#include <QIODevice>

namespace Agent
{

// Writes those tabs and line ends as character references, which the parser keeps. The
// text, fed in pieces of any size, must have passed the gate.
class SpaceKeeper
{
public:
    // Appends to `out` what the parser will see of the next bytes.
    void Feed(const char* data, qsizetype size, QByteArray& out);

private:
    enum class State { Text, Open, Declaration, Until, Tag, Value };

    const char* Step(const char* p, const char* end);
    const char* AtOpen(const char* p);
    const char* InDeclaration(const char* p);
    const char* InUntil(const char* p);
    const char* InTag(const char* p, const char* end);
    void AppendValue(const char* p, const char* end, QByteArray& out);

    State m_state = State::Text;
    QByteArray m_word; // of a declaration, so far
    const char* m_last = ""; // the two bytes before the '>' that ends a comment or the like
    char m_quote = '"';
    char m_before[2] = {};
    bool m_attributes = false; // whether the tag is one that has them
    bool m_return = false; // a carriage return was the byte before
};

// A device with that text, to be read once from beginning to end. `source` is read
// from its current position, and outlives this.
class XmlSource : public QIODevice
{
public:
    explicit XmlSource(QIODevice& source);

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QIODevice& m_source;
    SpaceKeeper m_keeper;
    QByteArray m_piece; // of the source
    QByteArray m_ready; // the text made of it for the parser
    qsizetype m_given = 0;
};

} // namespace Agent
