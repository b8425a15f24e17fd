// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Splits bytes into lines, and parses apt's status lines.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

// `text` without control characters (those of a terminal's second set, U+0080 to
// U+009F, too) and without bytes that are not UTF-8.
std::string PlainText(const std::string& text);

// Assembles lines from pieces of any size. They are plain text, and cut at MaxLine bytes:
// the buffer of the reader at the other end is about that long.
class LineReader
{
public:
    static constexpr std::size_t maxLine = 2000;
    using Handler = std::function<void(const std::string& line)>;

    void Feed(const char* data, std::size_t size, const Handler& handler);
    void Finish(const Handler& handler); // a last line without a line end

private:
    std::string m_line;
};

// A line of the status descriptor: "dlstatus:1:20.5:Retrieving file 1 of 3",
// "pmstatus:libfoo:40.0:Unpacking libfoo (amd64)".
struct Status {
    enum class Phase { Download, Install };
    Phase phase;
    std::string item; // a number while downloading, then the package
    double percent; // of the phase
    std::string text; // may contain colons
};

// Nothing for any other line, or an incomplete one.
std::optional<Status> ParseStatus(const std::string& line);
