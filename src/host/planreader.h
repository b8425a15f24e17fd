// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reads the plan that the package front end prints (docs/front-end.md, "Plans"). The text
// is not trusted: a line that is not as described makes the whole plan invalid, so that a
// part is never taken for the whole.

#pragma once

#include "host/plan.h"

#include <QStringList>
#include <optional>

namespace Pakmart
{

class PlanReader
{
public:
    // One line of the output, without its line end.
    void take(const QString& line);

    // The rows, sorted, after the last line; nothing if the plan is missing, incomplete or
    // invalid.
    std::optional<QList<PlanRow>> rows() const;

    // The lines before the plan: errors and warnings.
    const QStringList& messages() const { return m_messages; }

private:
    void takePlanLine(const QString& line);
    void beginField(const QString& field, const QString& value);
    bool setField(const QString& field, const QString& value);
    void endRow();

    enum class State { Messages, Rows, Ended, Invalid };

    State m_state = State::Messages;
    QStringList m_messages;
    QList<PlanRow> m_rows;
    QStringList m_fields; // of the current row, which has been read so far
    PlanRow m_row;
};

} // namespace Pakmart
