// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stanza.h"

#include "base/text.h"
#include "base/utf8.h"
#include "storefile.h"

#include <algorithm>

using namespace Agent;

namespace
{

std::string_view Trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsBlank(std::string_view line)
{
    return line.find_first_not_of(" \t") == std::string_view::npos;
}

bool IsKey(std::string_view text)
{
    return IsMadeOf(text, IsLetterOrDigit, "-");
}

Field ParseField(std::string_view line, const std::string& path, int number)
{
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || !IsKey(line.substr(0, colon)))
        FailAt(path, number, "this is not a `Key: value` line: " + Quoted(std::string(line)));
    return { std::string(line.substr(0, colon)), std::string(Trimmed(line.substr(colon + 1))),
             number };
}

} // namespace

void FailAt(const std::string& path, int line, const std::string& message)
{
    throw StoreError(path + ':' + std::to_string(line) + ": " + message);
}

const Field* Stanza::Find(const std::string& key) const
{
    for (const Field& field : fields) {
        if (field.key == key)
            return &field;
    }
    return nullptr;
}

void CheckKeys(const Stanza& stanza, const char* what, std::initializer_list<const char*> keys,
               const std::string& path)
{
    for (const Field& field : stanza.fields) {
        bool known = false;
        for (const std::string key : keys) {
            const bool many = key.back() == '*';
            if (field.key != key.substr(0, key.size() - (many ? 1 : 0)))
                continue;
            known = true;
            if (!many && stanza.Find(field.key) != &field)
                FailAt(path, field.line, "a second " + field.key + " for the same thing");
        }
        if (!known)
            FailAt(path, field.line, std::string(what) + " has no field " + field.key);
        if (field.value.empty())
            FailAt(path, field.line, field.key + " has no value");
    }
}

std::string Optional(const Stanza& stanza, const std::string& key)
{
    const Field* field = stanza.Find(key);
    return field ? field->value : std::string();
}

long SerialOf(const Field& field, const std::string& path)
{
    const long serial = PositiveNumber(field.value);
    if (serial == 0)
        FailAt(path, field.line,
               "a serial number is a number from 1 to 2147483647, not " + Quoted(field.value));
    return serial;
}

long RequiredSerial(const Stanza& stanza, const std::string& path)
{
    Required(stanza, "Serial", path);
    return SerialOf(*stanza.Find("Serial"), path);
}

const std::string& Required(const Stanza& stanza, const char* key, const std::string& path)
{
    const Field* field = stanza.Find(key);
    if (!field || field->value.empty())
        FailAt(path, field ? field->line : stanza.line, std::string(key) + " is missing here");
    return field->value;
}

bool StanzaReader::NextLine(std::string_view& line)
{
    if (m_at >= m_text.size())
        return false;
    const auto end = std::min(m_text.find('\n', m_at), m_text.size());
    line = m_text.substr(m_at, end - m_at);
    m_at = end + 1;
    ++m_line;
    return true;
}

// Adds one line, which is neither blank nor a comment.
void StanzaReader::AddLine(Stanza& stanza, std::string_view line) const
{
    if (line[0] != ' ' && line[0] != '\t') {
        stanza.fields.push_back(ParseField(line, m_path, m_line));
    } else if (stanza.fields.empty()) {
        FailAt(m_path, m_line, "this line continues a value, but no value precedes it");
    } else {
        std::string& value = stanza.fields.back().value;
        value += value.empty() ? "" : "\n";
        value += line.substr(1);
    }
    stanza.text += line;
    stanza.text += '\n';
}

// After a malformed line the rest of its stanza is skipped, so that the caller can continue
// with the next stanza.
bool StanzaReader::Next(Stanza& stanza)
{
    stanza = Stanza();
    std::string_view line;
    try {
        while (NextLine(line)) {
            if (const char* fault = TextFault(line))
                FailAt(m_path, m_line, std::string("there is ") + fault + " in this line");
            if (IsBlank(line) && stanza.line != 0)
                return true;
            if (IsBlank(line) || line[0] == '#')
                continue;
            if (stanza.line == 0)
                stanza.line = m_line;
            AddLine(stanza, line);
        }
    } catch (const StoreError&) {
        while (!IsBlank(line) && NextLine(line)) { }
        throw;
    }
    return stanza.line != 0;
}

std::vector<Stanza> ParseStanzas(const std::string& text, const std::string& path)
{
    std::vector<Stanza> stanzas;
    StanzaReader reader(text, path);
    Stanza stanza;
    while (reader.Next(stanza))
        stanzas.push_back(std::move(stanza));
    return stanzas;
}

std::string Continued(std::string value)
{
    for (auto at = value.find('\n'); at != std::string::npos; at = value.find('\n', at + 1))
        value.insert(at + 1, " ");
    return value;
}

const char* TextFault(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const auto c = static_cast<unsigned char>(text[at]);
        if ((c < 32 && c != '\t' && c != '\n') || c == 127)
            return "a control character";
        const std::size_t length = Utf8Length(text, at);
        if (length == 0)
            return "a byte that is not UTF-8";
        at += length;
    }
    return nullptr;
}
