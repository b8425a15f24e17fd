// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whether a file of the agent's data folder is written: the library does not tell
// whether it could save what came.

#pragma once

#include <QByteArray>
#include <QString>

class SavedMark
{
public:
    // Remembers the file `name` as it is now.
    explicit SavedMark(const char* name);

    // Whether it has been written since.
    bool isNew() const { return Mark() != m_before; }

    // Its path as a person knows it.
    QString path() const { return m_path; }

private:
    QByteArray Mark() const;

    const QString m_path;
    const QByteArray m_before;
};
