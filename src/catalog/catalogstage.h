// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where a new catalog database is made while the old one can still be read: a
// folder beside it, ".VACatalog.new". Its files take the place of the old ones,
// one after the other, when all of them are whole. A process that is killed while
// it fills them leaves the old database; one that is killed while it puts them in
// place leaves some old files and some new ones, each of which opens.
//
// One process at a time: a second one waits for the first, and then replaces what
// that one made. What a killed process left in the folder is written over.
//
// In a data folder that cannot be written there is no such folder, and the files
// themselves are made anew where that is allowed.

#pragma once

#include "catalog/heldfiles.h"

#include <string>
#include <vector>

// For its life, the names of the database's classes lead into the folder. At
// least one CCatalogFile must have been made before.
class CatalogStage
{
public:
    CatalogStage();
    ~CatalogStage();
    CatalogStage(const CatalogStage&) = delete;
    CatalogStage& operator=(const CatalogStage&) = delete;

    // Whether the files that are there may be replaced.
    bool canReplace() const;

    // Puts the new files, which are closed, in place. False, with the old ones as
    // they were, when anything failed while they were made.
    bool Publish();

private:
    // One of the database classes' names, and what it is without the folder.
    struct Name {
        std::string* name;
        std::string real;
    };
    // Where a file is made, and where it goes.
    struct Move {
        std::string from;
        std::string to;
    };

    void Lock();
    bool IsStill() const;

    std::string m_folder; // with a slash
    int m_lock = -1; // the folder, open; -1 where there is none
    std::vector<Name> m_names;
    std::vector<Move> m_moves;
    HeldFiles m_files;
};
