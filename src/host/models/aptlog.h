// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The log that apt keeps of changes, with the older ones that were rotated away and compressed.

#pragma once

#include "host/plan.h"

#include <QDateTime>
#include <QMap>
#include <QString>
#include <QStringList>
#include <vector>

namespace Pakmart
{

struct LogEntry {
    qint64 key = 0; // of its own
    QDateTime date;
    QMap<QString, QString> fields;

    bool operator==(const LogEntry& other) const { return fields == other.fields; }
    // The packages of "Install" and other fields: "name:architecture version".
    QStringList packages(const char* field) const;
    // What undoes it. Without packages and removals there is nothing to undo.
    Request undoing() const;
};

struct AptLog {
    bool isReadable = true;
    std::vector<LogEntry> entries; // the last first
};

AptLog ReadAptLog(const QString& folder);

} // namespace Pakmart
