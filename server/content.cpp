// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "content.h"

#include "gzip.h"

const std::string& Content::Packed() const
{
    std::call_once(m_isPacked, [this] { m_packed = Gzip(m_plain); });
    return m_packed;
}
