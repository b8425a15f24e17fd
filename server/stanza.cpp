// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stanza.h"

#include "storeerror.h"
#include "text.h"

namespace
{

using Size = std::string::size_type;

std::string Trimmed(const std::string& text)
{
    const Size first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsKey(const std::string& text)
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
    return !text.empty() && text.find_first_not_of(letters) == std::string::npos;
}

Field ParseField(const std::string& line, const std::string& path, int number)
{
    const Size colon = line.find(':');
    if (colon == std::string::npos || !IsKey(line.substr(0, colon)))
        FailAt(path, number, "this is no `Key: value` line: " + Quoted(line));
    return { line.substr(0, colon), Trimmed(line.substr(colon + 1)), number };
}

// Adds one line, which is not blank and no comment, to the stanza.
void AddLine(Stanza& stanza, const std::string& line, const std::string& path, int number)
{
    if (line[0] != ' ' && line[0] != '\t') {
        stanza.fields.push_back(ParseField(line, path, number));
    } else if (stanza.fields.empty()) {
        FailAt(path, number, "this line continues a value, but there is none before it");
    } else {
        std::string& value = stanza.fields.back().value;
        value += (value.empty() ? "" : "\n") + line.substr(1);
    }
    stanza.text += line + '\n';
}

} // namespace

void FailAt(const std::string& path, int line, const std::string& message)
{
    throw StoreError(path + ':' + std::to_string(line) + ": " + message);
}

const Field* Stanza::find(const std::string& key) const
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
            if (!many && stanza.find(field.key) != &field)
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
    const Field* field = stanza.find(key);
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
    return SerialOf(*stanza.find("Serial"), path);
}

const std::string& Required(const Stanza& stanza, const std::string& key, const std::string& path)
{
    const Field* field = stanza.find(key);
    if (!field || field->value.empty())
        FailAt(path, field ? field->line : stanza.line, "there is no " + key + " here");
    return field->value;
}

std::vector<Stanza> ParseStanzas(const std::string& text, const std::string& path)
{
    std::vector<Stanza> stanzas;
    bool open = false; // the last stanza takes more lines
    int number = 0;
    for (Size start = 0; start < text.size();) {
        Size end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        ++number;
        if (const char* fault = TextFault(line))
            FailAt(path, number, std::string("there is ") + fault + " in this line");
        if (line.find_first_not_of(" \t") == std::string::npos) {
            open = false;
        } else if (line[0] != '#') {
            if (!open)
                stanzas.push_back({ {}, {}, number });
            open = true;
            AddLine(stanzas.back(), line, path, number);
        }
    }
    return stanzas;
}
