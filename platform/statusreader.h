// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Bytes to lines, and apt's status lines to what they say.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

// `text` without control characters (those of a terminal's second set, U+0080 to
// U+009F, too) and without bytes that are not UTF-8.
std::string PlainText(const std::string& text);

// Puts lines together from pieces of any size. They are plain text, and what is
// longer than MaxLine is cut: the reader at the other end has a buffer of that
// order.
class LineReader
{
public:
    static constexpr std::size_t MaxLine = 2000;
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
    std::string text; // may hold colons
};

// Nothing for a line of another kind, or one that is not whole.
std::optional<Status> ParseStatus(const std::string& line);
