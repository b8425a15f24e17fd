// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a terminal would show: rows of any length, so that a line that is too long is
// noticed. It understands the line end, the carriage return, erasing the rest of a
// line, and colours, which it does not keep; anything else that moves the cursor is an error.

#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <cwchar>

class Screen
{
public:
    void write(const QByteArray& bytes)
    {
        m_pending += bytes;
        // A character may arrive in pieces.
        int end = m_pending.size();
        while (end > 0 && (m_pending[end - 1] & 0xC0) == 0x80)
            --end;
        if (end > 0 && (m_pending[end - 1] & 0x80))
            --end;
        for (const char32_t character : QString::fromUtf8(m_pending.left(end)).toUcs4())
            take(character);
        m_pending.remove(0, end);
    }

    // The current rows, without blanks at their ends.
    QStringList rows() const
    {
        QStringList rows = m_done;
        rows << text();
        return rows;
    }
    // The maximum number of cells that any row ever had, including an erased bar.
    int widest() const { return m_widest; }
    // Each state of the last row that was overwritten.
    const QStringList& drawn() const { return m_drawn; }
    int column() const { return m_column; }
    bool isSound() const { return m_sound; }

private:
    void take(char32_t character)
    {
        if (m_escape)
            return takeEscape(character);
        if (character == 0x1B) {
            m_escape = true;
        } else if (character == '\r') {
            if (!m_row.isEmpty())
                m_drawn << text();
            m_column = 0;
        } else if (character == '\n') {
            m_done << text();
            m_row.clear();
            m_column = 0;
        } else if (character < ' ') {
            m_sound = false;
        } else {
            put(character);
        }
    }
    void takeEscape(char32_t character)
    {
        const bool isNumber = character >= '0' && character <= '9';
        if (character == '[' || character == ';' || isNumber)
            return;
        m_sound = m_sound && (character == 'K' || character == 'm');
        if (character != 'm')
            m_row.resize(std::min(int(m_row.size()), m_column));
        m_escape = false;
    }
    void put(char32_t character)
    {
        const int cells = wcwidth(wchar_t(character));
        m_sound = m_sound && cells >= 0;
        for (int i = 0; i < cells; ++i, ++m_column) {
            if (m_column >= m_row.size())
                m_row.resize(m_column + 1);
            m_row[m_column] = i == 0 ? character : 0; // the second half of a wide one
        }
        m_widest = std::max(m_widest, m_column);
    }
    QString text() const
    {
        QVector<char32_t> shown = m_row;
        shown.removeAll(0);
        QString text = QString::fromUcs4(shown.constData(), shown.size());
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        return text;
    }

    QByteArray m_pending;
    QStringList m_done, m_drawn;
    QVector<char32_t> m_row;
    int m_column = 0, m_widest = 0;
    bool m_escape = false, m_sound = true;
};
