// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the worker can do. A task runs to its end and says what it has done; it processes events
// meanwhile, so that the host can stop it.

#pragma once

#include "host/worker/report.h"

#include <QStringList>

// Whether the host wants the task to end, or is gone.
bool IsStopped();
// Comes back when that is so.
void WaitForStop();
// Reads a line of JSON from the host. Tasks that need one cannot be stopped.
QJsonObject ReadInput();

class CAPI;

// Starts a request, and comes back when it has ended. True if it succeeded: the outcome has no
// failure.
bool RunToItsEnd(CAPI* request, Outcome& outcome);

// Whether a file of the data folder was replaced: the requests do not report whether they could
// save their reply.
class SavedMark
{
public:
    explicit SavedMark(const char* name);
    bool isNew() const { return mark() != m_before; }
    // The failure of a reply that was not saved.
    Outcome failure() const;

private:
    QByteArray mark() const;

    const QString m_path;
    const QByteArray m_before;
};

// The tasks; `words` are those that follow the name of the task.
Outcome RefreshCatalog(const QStringList& words, Report& report);
Outcome RefreshSources(const QStringList& words, Report& report);
Outcome CheckSources(const QStringList& words, Report& report);
Outcome FetchAisles(const QStringList& words, Report& report);
Outcome FetchPictures(const QStringList& words, Report& report);
Outcome SyncMachine(const QStringList& words, Report& report);
Outcome RegisterMachine(const QStringList& words, Report& report);
Outcome FetchPackagesOf(const QStringList& words, Report& report);
Outcome FetchProducts(const QStringList& words, Report& report);
Outcome RecordProducts(const QStringList& words, Report& report);
Outcome NoteUse(const QStringList& words, Report& report);
Outcome FetchUpdates(const QStringList& words, Report& report);
Outcome NoteUpdate(const QStringList& words, Report& report);
Outcome RebuildCatalog(const QStringList& words, Report& report);
Outcome RepairRecent(const QStringList& words, Report& report);
Outcome InhibitShutdown(const QStringList& words, Report& report);

// Brings the package sources up to date: the lists of the store, and then the package lists of
// the tree that plans are made with; those always, or only if the sources have changed.
enum class Refresh { Always, IfChanged };
Outcome BringSourcesUpToDate(Refresh refresh, Report& report);
