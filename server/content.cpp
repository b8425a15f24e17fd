// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "content.h"

#include "gzip.h"
#include "sha256.h"

const std::string& Content::Packed() const
{
    std::call_once(m_isPacked, [this] { m_packed = Gzip(m_plain); });
    return m_packed;
}

const std::string& Content::Sha256() const
{
    std::call_once(m_isSummed, [this] { m_sha256 = Sha256Of(m_plain); });
    return m_sha256;
}

std::string Sha256Of(const std::string& text)
{
    Sha256 sum;
    sum.Add(text.data(), text.size());
    return sum.Digits();
}
