// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/xmlgate.h"

#include "base/text.h"

#include <QRegularExpression>
#include <algorithm>
#include <cstring>
#include <iterator>
#include <strings.h>

namespace Agent
{

namespace
{

// The gate is a state machine. Feed() calls the function of the current state with the rest
// of the piece; that function consumes as many bytes as it understands, updates the state and
// returns where it stopped. A piece may end anywhere, also inside "]]>" or a character, so
// everything that has to be remembered is in members and not on the stack.
//
// Long stretches (text, values, comments) are skipped with memchr, so that the gate costs a
// small part of the parse.

// More than any XML declaration needs; for other instructions only the name matters.
constexpr std::size_t maxDeclaration = 1024;

// The bytes that the nodes of a document take, measured with glibc's allocator and
// rounded up, with the Qt version that needs more; each of their letters takes two.
constexpr std::uint64_t costOfNode = 224; // any node but an attribute
constexpr std::uint64_t costOfElement = 72; // and this, if it is an element
constexpr std::uint64_t costOfAttribute = 464; // with its value, which is a node too
constexpr std::uint64_t costOfAttributes = 192; // once for each tag that has any
constexpr std::uint64_t costOfTable = VANTREL_ATTRIBUTE_TABLE; // and this, with some Qt
constexpr std::uint64_t costOfByte = 2;
constexpr std::uint64_t costOfName = 4; // a byte of a start tag: prefixes are kept apart
// The same for a CXMLNode of the document, which has no nodes for its texts.
constexpr std::uint64_t costOfCopy = 272; // between one of many of a name and one alone
constexpr std::uint64_t costOfCopiedAttribute = 112;
constexpr std::uint64_t costOfCopiedByte = 2;

const char* Find(const char* p, const char* end, char c)
{
    const void* found = std::memchr(p, c, std::size_t(end - p));
    return found ? static_cast<const char*>(found) : end;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool AllBlank(const char* p, const char* end)
{
    return std::all_of(p, end, IsBlank);
}

// The bytes that can begin a name, as far as a single byte can show it.
bool IsNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' || (c & 0x80);
}

// Whether a reference, by its beginning, refers to a character and not an entity.
bool IsCharacter(const std::string& reference)
{
    static const char* const predefined[] = { "amp", "lt", "gt", "quot", "apos" };
    return reference[0] == '#'
        || std::find(std::begin(predefined), std::end(predefined), reference)
        != std::end(predefined);
}

// Whether an instruction, by its beginning, is (or would be) an XML declaration.
bool IsDeclaration(const std::string& instruction)
{
    return instruction.size() > 3 && strncasecmp(instruction.c_str(), "xml", 3) == 0
        && (IsBlank(instruction[3]) || instruction[3] == '?');
}

} // namespace

const std::uint64_t XmlGate::maxTableGrowth = costOfTable ? maxGrowth : 0;
const char XmlGate::tooMuchMemory[] = "it would take too much memory";

XmlGate::XmlGate(std::uint64_t maxBytes, unsigned length, Use use)
    : m_maxBytes(maxBytes > UINT64_MAX / length ? UINT64_MAX : maxBytes * length),
      m_maxNodes(use == Use::Pieces ? UINT64_MAX : std::max(maxNodes, maxBytes / bytesForNode)),
      m_maxTag(maxTag * length), m_use(use)
{
}

bool XmlGate::Feed(const char* data, std::size_t size)
{
    m_bytes += size;
    if (m_bytes > m_maxBytes)
        Refuse("it is too long");
    if (std::memchr(data, '\0', size))
        Refuse("it holds a zero byte");
    const char* const end = data + size;
    if (!m_refusal && m_utf8)
        CheckUtf8(data, end);
    const char* p = m_started ? data : SkipByteOrderMark(data, end);
    while (p != end && !m_refusal)
        p = Step(p, end);
    return !m_refusal;
}

bool XmlGate::Finish()
{
    if (!m_rootSeen)
        Refuse("it has no element");
    if (m_state != State::Text || m_depth != 0)
        Refuse("it ends in the middle");
    if (m_use != Use::Pieces && TakesTooMuch())
        Refuse(tooMuchMemory);
    if (m_utf8 && (!m_validUtf8 || !m_characters.IsWhole()))
        Refuse("it is not valid UTF-8");
    if (m_ascii && m_beyondAscii)
        Refuse("it is not the ASCII that it says");
    return !m_refusal;
}

// The tables have a separate limit, so that the limit for everything else is the same with
// every version of Qt.
bool XmlGate::TakesTooMuch() const
{
    const std::uint64_t letters = costOfByte + (m_use == Use::Copy ? costOfCopiedByte : 0);
    const std::uint64_t rest = m_cost + letters * m_bytes;
    const std::uint64_t may = maxGrowth * m_bytes + freeMemory;
    return rest > may || rest + costOfTable * m_tables > may + maxTableGrowth * m_bytes;
}

// The first reason counts.
void XmlGate::Refuse(const char* why)
{
    if (!m_refusal)
        m_refusal = why;
}

const char* XmlGate::SkipByteOrderMark(const char* p, const char* end)
{
    static const char mark[] = "\xEF\xBB\xBF";
    while (p != end && m_mark < 3 && *p == mark[m_mark]) {
        ++p;
        ++m_mark;
    }
    if (p == end)
        return p;
    // A document cannot begin with a part of the mark.
    if (m_mark == 1 || m_mark == 2)
        Refuse("its byte order mark is cut short");
    m_started = true;
    m_atStart = true;
    return p;
}

const char* XmlGate::Step(const char* p, const char* end)
{
    switch (m_state) {
    case State::Text:
        return InText(p, end);
    case State::Open:
        return AtOpen(p);
    case State::Declaration:
        return InDeclaration(p);
    case State::Comment:
        return InComment(p, end);
    case State::CData:
        return InCData(p, end);
    case State::Instruction:
        return InInstruction(p, end);
    case State::StartTag:
        return InStartTag(p, end);
    case State::StartTagValue:
    case State::DoctypeLiteral:
        return InValue(p, end);
    case State::EndTag:
        return InEndTag(p, end);
    case State::Doctype:
        return InDoctype(p, end);
    case State::DoctypeSubset:
        return InDoctypeSubset(p);
    }
    return end;
}

const char* XmlGate::InText(const char* p, const char* end)
{
    const char* const open = Find(p, end, '<');
    if (open != p)
        m_atStart = false;
    CountReferences(p, open);
    // Blanks alone make no node.
    if (!m_letters && !AllBlank(p, open)) {
        m_letters = true;
        m_cost += costOfNode;
    }
    if (open == end)
        return end;
    m_letters = false;
    m_state = State::Open;
    m_tag = 1;
    m_reference = false;
    m_word.clear();
    return open + 1;
}

// An undeclared entity becomes a node, and takes only a few bytes of text.
void XmlGate::CountReferences(const char* p, const char* end)
{
    constexpr std::size_t longest = 8; // of what IsCharacter looks at
    while (p != end) {
        if (!m_reference) {
            p = Find(p, end, '&');
            if (p == end)
                return;
            m_reference = true;
            m_word.clear();
        } else if (*p == ';') {
            m_reference = false;
            if (!IsCharacter(m_word)) {
                Node(); // the text before it
                Node();
                m_cost += costOfNode;
                CountNode();
            }
        } else if (m_word.size() < longest) {
            m_word += *p;
        }
        ++p;
    }
}

const char* XmlGate::AtOpen(const char* p)
{
    m_run = 0;
    Node(); // the text before it
    CountTag(1);
    if (*p != '?')
        m_atStart = false;
    if (*p == '/') {
        m_state = State::EndTag;
    } else if (*p == '!') {
        m_state = State::Declaration;
    } else if (*p == '?') {
        m_state = State::Instruction;
    } else if (IsNameStart(*p)) {
        m_state = State::StartTag;
        m_slash = false;
        m_attributes = 0;
    } else {
        Refuse("a tag begins with no name");
    }
    return p + 1;
}

// After "<!": decides which of the three constructs it is.
const char* XmlGate::InDeclaration(const char* p)
{
    CountTag(1);
    m_word += *p;
    if (m_word == "--") {
        m_state = State::Comment;
        CountNode();
        Node();
    } else if (m_word == "[CDATA[") {
        m_state = State::CData;
        CountNode();
        Node();
    } else if (m_word == "DOCTYPE") {
        m_state = State::Doctype;
        if (m_doctypeSeen || m_rootSeen)
            Refuse("its document type declaration is out of place");
        m_doctypeSeen = true;
    } else if (!BeginsWith("--", m_word) && !BeginsWith("[CDATA[", m_word)
               && !BeginsWith("DOCTYPE", m_word)) {
        Refuse("it has an unknown declaration");
    }
    return p + 1;
}

const char* XmlGate::InComment(const char* p, const char* end)
{
    if (m_run == 2) {
        if (*p != '>')
            Refuse("a comment holds two dashes");
        m_state = State::Text;
        return p + 1;
    }
    if (*p == '-') {
        ++m_run;
        return p + 1;
    }
    m_run = 0;
    return Find(p, end, '-');
}

const char* XmlGate::InCData(const char* p, const char* end)
{
    if (*p == ']') {
        m_run = m_run < 2 ? m_run + 1 : 2;
        return p + 1;
    }
    if (*p == '>' && m_run == 2) {
        m_state = State::Text;
        return p + 1;
    }
    m_run = 0;
    return Find(p, end, ']');
}

const char* XmlGate::InInstruction(const char* p, const char* end)
{
    if (*p == '>' && m_run == 1) {
        EndInstruction();
        return p + 1;
    }
    m_run = *p == '?' ? 1 : 0;
    const char* const next = m_run ? p + 1 : Find(p, end, '?');
    const std::size_t room = maxDeclaration - m_word.size();
    m_word.append(p, std::size_t(next - p) < room ? std::size_t(next - p) : room);
    return next;
}

void XmlGate::EndInstruction()
{
    m_state = State::Text;
    CountNode();
    Node();
    if (IsDeclaration(m_word) && (!m_atStart || !EncodingIsPlain(m_word)))
        Refuse("its XML declaration is out of place, or names a refused encoding");
    m_atStart = false;
}

const char* XmlGate::InStartTag(const char* p, const char* end)
{
    const char* const begin = p;
    while (p != end) {
        const char c = *p++;
        if (c == '"' || c == '\'') {
            m_quote = c;
            m_state = State::StartTagValue;
            break;
        }
        if (c == '>') {
            m_state = State::Text;
            break;
        }
        if (c == '<')
            Refuse("a tag holds a '<'");
        if (c == '=' && ++m_attributes > maxAttributes)
            Refuse("a tag has too many attributes");
        m_slash = c == '/';
    }
    CountTag(p - begin);
    if (m_state == State::Text)
        OpenElement();
    return p;
}

// A quoted part of a tag or a document type declaration. A '<' is invalid in an
// attribute's value, and is refused in the declaration as well.
const char* XmlGate::InValue(const char* p, const char* end)
{
    const char* const close = Find(p, end, m_quote);
    if (Find(p, close, '<') != close)
        Refuse("a quoted text holds a '<'");
    CountTag(close - p + (close != end));
    if (close == end)
        return end;
    m_slash = false;
    m_state = m_state == State::StartTagValue ? State::StartTag : State::Doctype;
    return close + 1;
}

const char* XmlGate::InEndTag(const char* p, const char* end)
{
    const char* const close = Find(p, end, '>');
    if (Find(p, close, '<') != close)
        Refuse("a tag holds a '<'");
    CountTag(close - p + (close != end));
    if (close == end)
        return end;
    m_state = State::Text;
    CloseElement();
    return close + 1;
}

const char* XmlGate::InDoctype(const char* p, const char* end)
{
    const char* const begin = p;
    while (p != end && m_state == State::Doctype) {
        const char c = *p++;
        if (c == '"' || c == '\'') {
            m_quote = c;
            m_state = State::DoctypeLiteral;
        } else if (c == '[') {
            m_state = State::DoctypeSubset;
        } else if (c == '>') {
            m_state = State::Text;
        } else if (c == '<') {
            Refuse("its document type declaration holds a '<'");
        }
    }
    CountTag(p - begin);
    return p;
}

// The brackets of a document type declaration must be empty.
const char* XmlGate::InDoctypeSubset(const char* p)
{
    CountTag(1);
    if (*p == ']')
        m_state = State::Doctype;
    else if (!IsBlank(*p))
        Refuse("its document type declaration holds declarations");
    return p + 1;
}

// At the '>' of a start tag, when the number of attributes and the length of the tag are
// known. An empty element ("<a/>") is closed at once.
void XmlGate::OpenElement()
{
    m_rootSeen = true;
    const auto attributes = std::uint64_t(m_attributes);
    m_nodes += attributes;
    m_cost += attributes ? costOfAttributes + attributes * costOfAttribute : 0;
    m_tables += attributes ? 1 : 0;
    m_cost += m_use == Use::Copy ? attributes * costOfCopiedAttribute : 0;
    m_cost += costOfName * m_tag + costOfElement;
    CountNode();
    Node();
    if (++m_depth > maxDepth)
        Refuse("its elements are nested too deep");
    if (m_slash)
        CloseElement();
}

void XmlGate::CloseElement()
{
    if (--m_depth < 0)
        Refuse("it closes an element that is not open");
}

// Counts the cost of a node that is not a text.
void XmlGate::CountNode()
{
    m_cost += costOfNode + (m_use == Use::Copy ? costOfCopy : 0);
}

void XmlGate::Node()
{
    if (++m_nodes > m_maxNodes)
        Refuse("it has too many nodes");
}

void XmlGate::CountTag(std::ptrdiff_t bytes)
{
    m_tag += std::size_t(bytes);
    if (m_tag > m_maxTag)
        Refuse("a tag is too long");
}

// Whether an XML declaration is well formed and names an encoding whose markup
// is plain ASCII bytes. UTF-8 without a declared name.
bool XmlGate::EncodingIsPlain(const std::string& declaration)
{
    static const QRegularExpression form(QStringLiteral(
        "\\Axml[ \\t\\r\\n]+version[ \\t\\r\\n]*=[ \\t\\r\\n]*(\"[^\"<&]*\"|'[^'<&]*')"
        "([ \\t\\r\\n]+encoding[ \\t\\r\\n]*=[ \\t\\r\\n]*(\"(?<n>[^\"]*)\"|'(?<m>[^']*)'))?"
        "([ \\t\\r\\n]+standalone[ \\t\\r\\n]*=[ \\t\\r\\n]*(\"[a-z]*\"|'[a-z]*'))?[ "
        "\\t\\r\\n]*\\?\\z"));
    static const QRegularExpression plain(
        QStringLiteral("\\A((US-)?ASCII|ISO[-_]8859-([1-9]|1[0-6])|ISO-8859-8-I|latin1"
                       "|windows-(874|125[0-8])|cp(866|125[0-8])|KOI8-[RU]|TIS-620|macintosh"
                       "|IBM(437|850|852|855|857|858|86[0-6]))\\z"),
        QRegularExpression::CaseInsensitiveOption);
    const auto match = form.match(QString::fromLatin1(declaration.c_str()));
    if (!match.hasMatch())
        return false;
    const QString name = match.captured(QStringLiteral("n")) + match.captured(QStringLiteral("m"));
    const bool named = match.capturedLength(2) > 0;
    if (!named || name.compare(QLatin1String("UTF-8"), Qt::CaseInsensitive) == 0)
        return true;
    // After a byte order mark the text is UTF-8, whatever it declares.
    m_ascii = name.endsWith(QLatin1String("ASCII"), Qt::CaseInsensitive);
    m_utf8 = m_mark == 3 || m_ascii;
    return plain.match(name).hasMatch();
}

// Looks for invalid UTF-8, skipping ASCII eight bytes at a time.
void XmlGate::CheckUtf8(const char* p, const char* end)
{
    while (p != end && m_validUtf8) {
        if (m_characters.IsWhole()) {
            std::uint64_t eight;
            while (end - p >= 8 && (std::memcpy(&eight, p, 8), (eight & 0x8080808080808080u) == 0))
                p += 8;
            if (p == end)
                return;
        }
        const auto c = static_cast<unsigned char>(*p++);
        m_beyondAscii = m_beyondAscii || c >= 0x80;
        m_validUtf8 = m_characters.Take(c);
    }
}

} // namespace Agent
