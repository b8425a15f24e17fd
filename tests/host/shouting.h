// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A translation of the library's texts, as a host installs one: in capitals.

#pragma once

#include <QTranslator>

class Shouting : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override
    {
        return qstrcmp(context, "Pakmart") == 0 ? QString::fromLatin1(text).toUpper() : QString();
    }
};
