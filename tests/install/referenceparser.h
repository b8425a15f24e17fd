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
        for (const std::string& line : lines(output))
            parse(line);
    }

    std::vector<std::string> events; // the signals, as RunnerEvents writes them
    std::vector<std::string> messages, errors, files;
    std::map<std::string, std::string> packages;
    std::string total;
    bool inList = false, inError = false;

private:
    // A line ends at a line end, at the end of the output, or at a character with 2047
    // before it, which is lost. Control characters are not part of it.
    static std::vector<std::string> lines(const std::string& output)
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
    static bool begins(const std::string& text, const std::string& beginning)
    {
        return text.substr(0, beginning.size()) == beginning;
    }
    // The text after the first `count` characters.
    static std::string after(const std::string& text, std::size_t count)
    {
        return text.size() > count ? text.substr(count) : std::string();
    }
    // A word between the blanks; empty after the last one.
    static std::string word(const std::string& text, int which)
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

    void parse(std::string line)
    {
        messages.push_back(line);
        const bool blank = begins(line, " ");
        const std::string text = after(line, 3); // of an error or a warning

        if (begins(line, "The following") && !begins(line, "The following information")) {
            inList = true;
        } else if (!inList && begins(line, "E:") && begins(text, "Couldn't find package")
                   && !m_retry) {
            m_retry = true;
        } else if (!inList && (begins(line, "E:") || begins(line, "W:"))) {
            inError = true;
            errors.push_back(text);
        } else if (!inList && inError && blank) {
            errors.push_back(line);
        } else if (!inList && inError) {
            inError = false;
        } else if (inList && blank) {
            line = names(line);
        } else if (inList) {
            inList = false;
        }

        if (!inError && progress(line))
            inList = false;
    }
    bool progress(const std::string& line)
    {
        const auto contains
            = [&line](const char* text) { return line.find(text) != std::string::npos; };
        if (begins(line, "Need to get "))
            readTotal(line);
        else if (begins(line, "Get:"))
            get(line);
        else if (begins(line, "Setting up"))
            events.insert(events.end(),
                          { "got " + m_current, "setup " + word(after(line, 10), 0) });
        else if (begins(line, "Sorry,"))
            events.insert(events.end(), { namesEvent(), "get |", "got ", "setup " });
        else if (begins(line, "'"))
            file(line);
        else if (contains("%]") || contains("% ["))
            pulse(line);
        else
            return false;
        return true;
    }

    // Each word is a name, still without a size. The text after the first name is
    // consumed: the rest of the grammar does not see it.
    std::string names(const std::string& line)
    {
        for (int i = 0; !word(line, i).empty(); ++i)
            packages[word(line, i)] = "0";
        const std::string first = word(line, 0);
        return line.substr(0, line.find(first) + first.size());
    }
    std::string namesEvent() const
    {
        std::string event;
        for (const auto& [name, size] : packages)
            event += (event.empty() ? "" : ",") + name + '=' + size;
        return "names " + event;
    }
    void readTotal(const std::string& line)
    {
        events.push_back(namesEvent());
        const std::string size = word(after(line, 12), 0);
        if (!size.empty())
            total = size;
        events.push_back("total " + total);
    }
    // Get:3 SITE SECTION NAME VERSION [SIZE]
    void get(const std::string& line)
    {
        if (!m_current.empty())
            events.push_back("got " + m_current);
        m_current = word(line, 3);
        std::string size = word(line, 5);
        if (begins(size, "["))
            size.erase(0, 1);
        size = size.substr(0, size.find(']'));
        if (!m_current.empty() && !size.empty())
            packages[m_current] = size;
        events.push_back("get " + m_current + '|' + size);
    }
    // The name at the end of the quoted address.
    void file(const std::string& line)
    {
        std::string name = line;
        if (name.find('/') != std::string::npos)
            name = name.substr(name.rfind('/') + 1);
        files.push_back(name.substr(0, name.find('\'')));
    }
    // 45% [2 libfoo 12345/67890 18%]
    void pulse(const std::string& line)
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
