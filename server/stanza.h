// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Files of stanzas: `Key: value` lines, blank lines between the stanzas.
//
// A line that begins with a blank or a tab continues the value of the line
// before it; a line whose first character is '#' is a comment. Keys consist of
// letters, digits and '-', and are compared exactly. A Debian package index is
// such a file.

#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

struct Field {
    std::string key;
    std::string value; // its lines, joined by line ends, without their first blank
    int line = 0;
};

struct Stanza {
    std::vector<Field> fields;
    std::string text; // as in the file, with its last line end
    int line = 0;

    // The first field with that key, or null.
    const Field* Find(const std::string& key) const;
};

// Parses such a text a stanza at a time: the files of a whole distribution are large.
// `text` must outlive the reader.
class StanzaReader
{
public:
    StanzaReader(std::string_view text, const std::string& path) : m_text(text), m_path(path) { }

    // False at the end. Throws StoreError, naming the path and the line, for a
    // malformed stanza; the next call continues after it.
    bool Next(Stanza& stanza);

private:
    bool NextLine(std::string_view& line);
    void AddLine(Stanza& stanza, std::string_view line) const;

    const std::string_view m_text;
    const std::string m_path;
    std::string_view::size_type m_at = 0;
    int m_line = 0; // the number of the line read last
};

// All stanzas of a text at once; throws what StanzaReader throws.
std::vector<Stanza> ParseStanzas(const std::string& text, const std::string& path);

// Throws StoreError with the text "PATH:LINE: MESSAGE".
[[noreturn]] void FailAt(const std::string& path, int line, const std::string& message);

// Fails for a key that is not in `keys`, and for a repeated key, unless `keys` has it with
// a trailing '*'. `what` names the thing: "an aisle".
void CheckKeys(const Stanza& stanza, const char* what, std::initializer_list<const char*> keys,
               const std::string& path);

// The value of a field; empty when there is none.
std::string Optional(const Stanza& stanza, const std::string& key);

// Parse the serial number in a field, or in the field `Serial`.
long SerialOf(const Field& field, const std::string& path);
long RequiredSerial(const Stanza& stanza, const std::string& path);

// The value of a required field, which must not be empty.
const std::string& Required(const Stanza& stanza, const char* key, const std::string& path);

// A value, possibly of several lines, as it is written after its key.
std::string Continued(std::string value);

// The fault of `text` as a store's text (invalid UTF-8, a control character other than
// tab and line end), or null.
const char* TextFault(std::string_view text);
