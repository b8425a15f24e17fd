// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A text that is sent, also to many clients at once, its packed form and its sum.

#pragma once

#include <mutex>
#include <string>

class Content
{
public:
    explicit Content(std::string text) : m_plain(std::move(text)) { }

    const std::string& Plain() const { return m_plain; }
    // In the format of gzip. It is made when it is first wanted; others wait meanwhile.
    const std::string& Packed() const;
    // The SHA-256 sum of the text, in hexadecimal digits; made once as well.
    const std::string& Sha256() const;

private:
    const std::string m_plain;
    mutable std::once_flag m_isPacked, m_isSummed;
    mutable std::string m_packed, m_sha256;
};

std::string Sha256Of(const std::string& text);
