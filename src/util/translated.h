// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The library's texts for people in their language. The English text is the key, and what is
// shown where there is no translation.

#pragma once

#include <QCoreApplication>
#include <QString>

namespace Agent
{

inline QString Translated(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

} // namespace Agent
