// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands of the command line. Each returns the exit status.

#pragma once

#include <QStringList>

class BoxWatcher;
class Console;

enum ExitStatus {
    ExitDone = 0,
    ExitFailed = 1,
    ExitUsage = 2,
    ExitDeclined = 3,
    ExitInterrupted = 130
};

struct InstallOptions {
    bool byPackage = false; // the arguments are package names, not serial numbers
    bool yes = false; // do not ask
};

struct UpdateOptions {
    bool yes = false; // do not ask
    bool json = false; // print the result for programs; no questions are asked then
};

int InstallCommand(Console& display, const BoxWatcher& boxes, const QStringList& arguments,
                   const InstallOptions& options);
int RemoveCommand(Console& display, const QStringList& names, bool yes);
int UpdateSourcesCommand(Console& display, const BoxWatcher& boxes);

int UpdateCommand(Console& display, const BoxWatcher& boxes, bool json);
int CategoriesCommand(Console& display, bool json);
int ListCommand(Console& display, const QString& category, bool json);
int ShowCommand(Console& display, const QStringList& serials, bool json);
int SearchCommand(Console& display, const QStringList& words, bool json);
// Shows the packages with names that match `pattern`, or all for an empty pattern.
int InstalledCommand(Console& display, const QString& pattern, bool json);

int AislesCommand(Console& display, const BoxWatcher& boxes, bool json);
int SyncCommand(Console& display, const BoxWatcher& boxes, bool json);

int OSUpdateCommand(Console& display, const BoxWatcher& boxes, const UpdateOptions& options);
int StatusCommand(Console& display, bool json);
int RegisterCommand(Console& display, bool json);

// `run` is the place in the list of the application to start; 0 shows the list.
int RecentCommand(Console& display, int run);
int ForgetCommand(Console& display, const QStringList& serials);

// Fetches the store's package sources, and the lists of packages from each of them.
// Returns an error message for the user, or an empty text if the lists are current. If
// there is a console, prints what it waits for.
QString RefreshSources(Console* console);
