// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The verbs of the command line. Each returns the exit status.

#pragma once

#include <QStringList>

class BoxWatcher;
class Display;

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
    bool json = false; // tell the result for programs; there is no asking then
};

int InstallCommand(Display& display, const BoxWatcher& boxes, const QStringList& arguments,
                   const InstallOptions& options);
int RemoveCommand(Display& display, const QStringList& names, bool yes);
int UpdateSourcesCommand(Display& display, const BoxWatcher& boxes);

int UpdateCommand(Display& display, const BoxWatcher& boxes, bool json);
int CategoriesCommand(Display& display, bool json);
int ListCommand(Display& display, const QString& category, bool json);
int ShowCommand(Display& display, const QStringList& serials, bool json);
int SearchCommand(Display& display, const QStringList& words, bool json);
// The packages whose names are like `pattern`, all for an empty one.
int InstalledCommand(Display& display, const QString& pattern, bool json);

int AislesCommand(Display& display, const BoxWatcher& boxes, bool json);
int SyncCommand(Display& display, const BoxWatcher& boxes, bool json);

int OSUpdateCommand(Display& display, const BoxWatcher& boxes, const UpdateOptions& options);
int StatusCommand(Display& display, bool json);
int RegisterCommand(Display& display, bool json);

// `run` is the place in the list of the application to start; 0 shows the list.
int RecentCommand(Display& display, int run);
int ForgetCommand(Display& display, const QStringList& serials);
