// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands of the command line. Each returns the exit status.

#pragma once

#include "transaction.h"

#include <QStringList>

class Console;

enum ExitStatus {
    ExitDone = 0,
    ExitFailed = 1,
    ExitUsage = 2,
    ExitDeclined = 3,
    ExitInterrupted = 130
};

// ---- changes of packages

// `byPackage`: the names are those of packages only.
int InstallCommand(Console& console, const QStringList& names, bool byPackage,
                   const Consent& consent);
int RemoveCommand(Console& console, const QStringList& names, const Consent& consent);
int ReinstallCommand(Console& console, const QStringList& names, const Consent& consent);
int UpgradeCommand(Console& console, const QStringList& names, const Consent& consent);
int OSUpdateCommand(Console& console, const Consent& consent);
// `check`: only shows what is broken, and fails if anything is.
int RepairCommand(Console& console, bool check, const Consent& consent);
// Removes what came for other packages and is not needed any more.
int AutoremoveCommand(Console& console, const Consent& consent);
// Undoes the change at this place of the history, 1 for the newest.
int UndoCommand(Console& console, int place, const Consent& consent);
int HoldCommand(Console& console, const QStringList& names, bool hold);

// ---- the catalog

int UpdateCommand(Console& console);
int CategoriesCommand(Console& display);
int ListCommand(Console& display, const QString& category);
// The products that are installed, or of which a newer version is in the catalog.
int ListInstalledCommand(Console& display, bool onlyUpgradable);
int ShowCommand(Console& display, const QStringList& names);
int SearchCommand(Console& display, const QStringList& words);

// ---- this machine

// Shows the packages with names that match `pattern`, or all for an empty pattern.
int InstalledCommand(Console& display, const QString& pattern);
int DependsCommand(Console& console, const QStringList& names);
int WhyCommand(Console& console, const QStringList& names);
int HistoryCommand(Console& console);
// `run` is the place in the list of the application to start; 0 shows the list.
int RecentCommand(Console& display, int run);
int ForgetCommand(Console& display, const QStringList& serials);
int StatusCommand(Console& display);
QString BuilderOfThisMachine();

// ---- the store

int UpdateSourcesCommand(Console& console);
int AislesCommand(Console& console);
int SyncCommand(Console& console);
int RegisterCommand(Console& console);

// ---- with the library's dialogs

// How the dialogs are treated.
struct DialogStyle {
    bool shown = false; // on the display; otherwise their texts are printed
    QString pictures; // a folder for pictures of them; may be empty
};

int InstallWithDialogs(Console& console, const QStringList& names, bool byPackage, bool yes,
                       const DialogStyle& style);
int UpdateSourcesWithDialogs(Console& console, const DialogStyle& style);
