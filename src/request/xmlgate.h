// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The gate before the XML parser: one pass over the bytes of a reply, in pieces
// of any size, that refuses any text that would harm the process once it is a tree.
//
// It refuses a document type declaration with declarations in it (entities can use
// up all memory), elements nested too deep (a tree is destroyed by recursion),
// overlong tags, too many nodes or attributes, a text over the size limit or with a
// tree many times its size, NUL bytes, text that is not valid in its declared UTF-8
// or ASCII, and encodings in which a scanner of bytes could mistake markup for text.
// It accepts UTF-8 and the 8-bit encodings that contain ASCII (US-ASCII, ISO-8859,
// windows, KOI8, IBM and a few more), as the XML declaration names them.
//
// The gate is not a parser: it passes malformed text where that is harmless and
// refuses it when in doubt. Up to the first error that a parser finds, both see the
// same markup; a parser builds nothing from the text after the error.

#pragma once

#include "base/utf8.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Agent
{

class XmlGate
{
public:
    static constexpr int maxDepth = 512;
    static constexpr std::size_t maxTag = 64 * 1024; // from '<' to '>', both counted
    static constexpr int maxAttributes = 128; // of one tag: the DOM finds the n-th one in n steps
    // Elements, attributes, comments, references to entities and the like, plus one
    // for the text before each. A catalog of 60,000 products has 1.25 million.
    static constexpr std::uint64_t maxNodes = 4'000'000;
    // Where larger texts than usual are allowed, so are more nodes: one for this many bytes.
    static constexpr std::uint64_t bytesForNode = 68;

    // The memory that the tree of an accepted text may take: maxGrowth times the
    // size of the text, plus freeMemory bytes.
    static constexpr std::uint64_t maxGrowth = 16;
    static constexpr std::uint64_t freeMemory = 100 * 1000 * 1000;
    // Qt 6 keeps an element's attributes in a table with room for many. These tables may
    // take this many times the size in addition: a catalog has one for each dependency.
    static const std::uint64_t maxTableGrowth;
    static const char tooMuchMemory[];

    // The longest form of one byte of an 8-bit encoding in a file of this library:
    // in UTF-8, and escaped (urlcodec.h).
    static constexpr unsigned escapedLength = 9;

    // What is made of an accepted text: a document only, a document and a CXMLNode with all of
    // it, or one small tree after the other (replypieces.h), so that neither the nodes nor the
    // memory of all count.
    enum class Use { Document, Copy, Pieces };

    // `length`: the bytes that a character of the reply may take in this text.
    explicit XmlGate(std::uint64_t maxBytes, unsigned length = 1, Use use = Use::Document);

    // Checks the next bytes. False once the text is refused; the rest of it need
    // not be fed then.
    bool Feed(const char* data, std::size_t size);

    // Whether the text, now complete, may be parsed.
    bool Finish();

    // The first reason why the text was refused; null while it is not.
    const char* Refusal() const { return m_refusal; }
    std::uint64_t Bytes() const { return m_bytes; } // seen so far

private:
    enum class State {
        Text,
        Open,
        Declaration,
        Comment,
        CData,
        Instruction,
        StartTag,
        StartTagValue,
        EndTag,
        Doctype,
        DoctypeLiteral,
        DoctypeSubset
    };

    const char* SkipByteOrderMark(const char* p, const char* end);
    const char* Step(const char* p, const char* end);
    const char* InText(const char* p, const char* end);
    const char* AtOpen(const char* p);
    const char* InDeclaration(const char* p);
    const char* InComment(const char* p, const char* end);
    const char* InCData(const char* p, const char* end);
    const char* InInstruction(const char* p, const char* end);
    const char* InStartTag(const char* p, const char* end);
    const char* InValue(const char* p, const char* end);
    const char* InEndTag(const char* p, const char* end);
    const char* InDoctype(const char* p, const char* end);
    const char* InDoctypeSubset(const char* p);

    void CountReferences(const char* p, const char* end);
    void OpenElement();
    void CloseElement();
    void EndInstruction();
    void CountNode();
    void Node();
    void CountTag(std::ptrdiff_t bytes);
    bool TakesTooMuch() const;
    bool EncodingIsPlain(const std::string& declaration);
    void CheckUtf8(const char* p, const char* end);
    void Refuse(const char* why);

    const std::uint64_t m_maxBytes;
    const std::uint64_t m_maxNodes;
    const std::size_t m_maxTag;
    const Use m_use;
    std::uint64_t m_cost = 0; // of the nodes, as a tree
    std::uint64_t m_tables = 0; // elements with attributes
    std::uint64_t m_bytes = 0;
    std::uint64_t m_nodes = 0;
    State m_state = State::Text;
    const char* m_refusal = nullptr;
    bool m_rootSeen = false;
    bool m_doctypeSeen = false;
    bool m_started = false; // something other than a byte order mark was seen
    bool m_atStart = false; // the instruction being read is the first thing
    bool m_slash = false; // the byte before in a tag
    bool m_reference = false; // in a text, after an '&'
    bool m_letters = false; // the current text is more than blanks
    char m_quote = '"';
    int m_mark = 0; // bytes of a byte order mark seen
    int m_run = 0; // dashes, brackets or question marks seen in a row
    int m_depth = 0;
    int m_attributes = 0;
    std::size_t m_tag = 0; // length of the tag so far
    std::string m_word; // the beginning of an instruction, a declaration or a reference

    bool m_utf8 = true; // the text must be UTF-8
    bool m_ascii = false;
    bool m_beyondAscii = false;
    bool m_validUtf8 = true;
    Utf8Reader m_characters;
};

} // namespace Agent
