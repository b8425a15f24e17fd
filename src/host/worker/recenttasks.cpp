// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The user's recently used list: noting a use, and mending the list.

#include "host/worker/tasks.h"

#include <QDateTime>
#include <algorithm>
#include <cstdint>
#include <vantrelagent/db/crufile.h>
#include <vantrelagent/store/indexfile.h>

namespace
{

bool Note(CRUFile& list, int serial)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    if (!list.OpenOrRepair() || !list.FindServerSerialNumber(serial))
        return false;
    list.SetLastAccessed(std::int32_t(std::min<qint64>(now, INT32_MAX)));
    return list.Update() && list.Close();
}

} // namespace

// The product with the number words[0] has been started.
Outcome NoteUse(const QStringList& words, Report&)
{
    Outcome outcome;
    outcome.code = AgentError::CannotWrite;
    const int serial = words.value(0).toInt();
    if (serial <= 0 || InitIndex() != 0)
        return outcome;
    {
        CRUFile list;
        if (Note(list, serial))
            outcome.code = AgentError::NoFailure;
    }
    UnInitIndex();
    return outcome;
}

// Makes the indexes of the recently used list from its records.
Outcome RepairRecent(const QStringList&, Report&)
{
    Outcome outcome;
    outcome.code = AgentError::CannotWrite;
    if (InitIndex() != 0)
        return outcome;
    {
        CRUFile list;
        if (list.OpenOrRepair() && list.Repair() && list.Close())
            outcome.code = AgentError::NoFailure;
    }
    UnInitIndex();
    return outcome;
}
