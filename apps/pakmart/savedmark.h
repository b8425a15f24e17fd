// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Detects whether a file of the agent's data folder was written: the library does not
// report whether it could save a reply.

#pragma once

#include <QByteArray>
#include <QString>

class SavedMark
{
public:
    // Remembers the current state of the file `name`.
    explicit SavedMark(const char* name);

    // Whether it has been written since.
    bool isNew() const { return Mark() != m_before; }

    // Its path without the private root.
    QString path() const { return m_path; }

private:
    QByteArray Mark() const;

    const QString m_path;
    const QByteArray m_before;
};
