// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A second implementation of the grammar of the front end's output: as simple as
// possible, and slow. The library's parser is compared with it.

#pragma once

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

class ReferenceParser
{
public:
    explicit ReferenceParser(const std::string& output)
    {
        for (const std::string& line : Lines(output))
            Parse(line);
    }

    std::vector<std::string> events; // the signals, as RunnerEvents writes them
    std::vector<std::string> messages, errors, files;
    std::map<std::string, std::string> packages;
    std::string total;
    bool inList = false, inError = false;

private:
    // A line ends at a line end, at the end of the output, or at a character with 2047
    // before it, which is lost. Control characters are not part of it.
    static std::vector<std::string> Lines(const std::string& output)
    {
        std::vector<std::string> lines;
        std::string line;
        for (const char c : output) {
            if (c == '\n' || line.size() == 2047) {
                lines.push_back(line);
                line.clear();
            } else if (static_cast<unsigned char>(c) >= ' ') {
                line += c;
            }
        }
        if (!line.empty())
            lines.push_back(line);
        return lines;
    }
    static bool Begins(const std::string& text, const std::string& beginning)
    {
        return text.substr(0, beginning.size()) == beginning;
    }
    // The text after the first `count` characters.
    static std::string After(const std::string& text, std::size_t count)
    {
        return text.size() > count ? text.substr(count) : std::string();
    }
    // A word between the blanks; empty after the last one.
    static std::string Word(const std::string& text, int which)
    {
        std::vector<std::string> words(1);
        for (const char c : text) {
            if (c != ' ')
                words.back() += c;
            else if (!words.back().empty())
                words.emplace_back();
        }
        return which < int(words.size()) ? words[std::size_t(which)] : std::string();
    }

    void Parse(std::string line)
    {
        messages.push_back(line);
        const bool blank = Begins(line, " ");
        const std::string text = After(line, 3); // of an error or a warning

        if (Begins(line, "The following") && !Begins(line, "The following information")) {
            inList = true;
        } else if (!inList && Begins(line, "E:") && Begins(text, "Couldn't find package")
                   && !m_retry) {
            m_retry = true;
        } else if (!inList && (Begins(line, "E:") || Begins(line, "W:"))) {
            inError = true;
            errors.push_back(text);
        } else if (!inList && inError && blank) {
            errors.push_back(line);
        } else if (!inList && inError) {
            inError = false;
        } else if (inList && blank) {
            line = Names(line);
        } else if (inList) {
            inList = false;
        }

        if (!inError && Progress(line))
            inList = false;
    }
    bool Progress(const std::string& line)
    {
        const auto contains
            = [&line](const char* text) { return line.find(text) != std::string::npos; };
        if (Begins(line, "Need to get "))
            Total(line);
        else if (Begins(line, "Get:"))
            Get(line);
        else if (Begins(line, "Setting up"))
            events.insert(events.end(),
                          { "got " + m_current, "setup " + Word(After(line, 10), 0) });
        else if (Begins(line, "Sorry,"))
            events.insert(events.end(), { NamesEvent(), "get |", "got ", "setup " });
        else if (Begins(line, "'"))
            File(line);
        else if (contains("%]") || contains("% ["))
            Pulse(line);
        else
            return false;
        return true;
    }

    // Each word is a name, still without a size. The text after the first name is
    // consumed: the rest of the grammar does not see it.
    std::string Names(const std::string& line)
    {
        for (int i = 0; !Word(line, i).empty(); ++i)
            packages[Word(line, i)] = "0";
        const std::string first = Word(line, 0);
        return line.substr(0, line.find(first) + first.size());
    }
    std::string NamesEvent() const
    {
        std::string event;
        for (const auto& [name, size] : packages)
            event += (event.empty() ? "" : ",") + name + '=' + size;
        return "names " + event;
    }
    void Total(const std::string& line)
    {
        events.push_back(NamesEvent());
        const std::string size = Word(After(line, 12), 0);
        if (!size.empty())
            total = size;
        events.push_back("total " + total);
    }
    // Get:3 SITE SECTION NAME VERSION [SIZE]
    void Get(const std::string& line)
    {
        if (!m_current.empty())
            events.push_back("got " + m_current);
        m_current = Word(line, 3);
        std::string size = Word(line, 5);
        if (Begins(size, "["))
            size.erase(0, 1);
        size = size.substr(0, size.find(']'));
        if (!m_current.empty() && !size.empty())
            packages[m_current] = size;
        events.push_back("get " + m_current + '|' + size);
    }
    // The name at the end of the quoted address.
    void File(const std::string& line)
    {
        std::string name = line;
        if (name.find('/') != std::string::npos)
            name = name.substr(name.rfind('/') + 1);
        files.push_back(name.substr(0, name.find('\'')));
    }
    // 45% [2 libfoo 12345/67890 18%]
    void Pulse(const std::string& line)
    {
        const int overall = std::atoi(line.c_str());
        int item = 0;
        const auto bracket = line.find(']');
        if (bracket != std::string::npos) {
            const auto blank = line.substr(0, bracket).rfind(' ');
            item = blank == std::string::npos ? overall : std::atoi(line.substr(blank + 1).c_str());
        }
        events.push_back("pulse " + std::to_string(item) + ' ' + std::to_string(overall));
    }

    std::string m_current;
    bool m_retry = false;
};
